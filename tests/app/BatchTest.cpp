#include "ProcessSupport.h"

#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vibrex {
namespace {

using test::LeftInProgramFolder;
using test::PrivateProgramCopy;
using test::ProcessResult;
using test::PsnText;
using test::Quote;
using test::ReadFile;
using test::RunShell;
using test::StateOf;
using test::TempFolder;
using test::Vibrex;
using test::WriteFile;

std::vector<std::string> SplitLines(const std::string& text) {
    std::vector<std::string> lines;
    std::size_t start = 0;
    for (std::size_t end; (end = text.find('\n', start)) != std::string::npos; start = end + 1) {
        lines.push_back(text.substr(start, end - start));
    }
    return lines;
}

std::vector<std::string> LinesStartingWith(const std::string& text, const std::string& prefix) {
    std::vector<std::string> found;
    for (const std::string& line : SplitLines(text)) {
        if (line.starts_with(prefix)) {
            found.push_back(line);
        }
    }
    return found;
}

// `script` gives the program a pseudo-terminal and copies what it writes there, stdout and
// stderr alike.
std::string VibrexOnATerminal(const TempFolder& folder, const std::string& argument) {
    const std::string inner = Quote(VIBREX_EXECUTABLE) + " " + Quote(argument);
    return RunShell(folder, "script -qec " + Quote(inner) + " /dev/null").stdoutText;
}

class BatchTest : public ::testing::Test {
protected:
    void SetUp() override {
        WriteFile(folder / "quake.psn",
                  PsnText({"Number of Samples: 4", "SPS: 50", "Station Code: VBRX"},
                          {"1", "-2", "3", "-4"}));
        WriteFile(folder / "b.psn", PsnText({"Number of Samples: 2", "SPS: 50"}, {"5", "6"}));
        WriteFile(folder / "junk.bin", "not a recording\n");
        WriteFile(folder / "empty.psn", "");
        WriteFile(folder / "one.psn", "!");
        for (const char* name : {"c.psn", "d.psn"}) {
            WriteFile(folder / name, PsnText({"Number of Samples: 1"}, {"1"}));
        }
        // Limits its header shows: more samples than SU and GSE count, rates SU, miniSEED and
        // WAV cannot state.
        for (const auto& [name, line] : {std::pair{"long.psn", "Number of Samples: 100000000"},
                                         {"slow.psn", "SPS: 1"},
                                         {"odd.psn", "SPS: 0.123456789"}}) {
            WriteFile(folder / name,
                      PsnText({"Number of Samples: 2", "SPS: 50", line}, {"1", "2"}));
        }
    }

    TempFolder folder;
};

// Words split by the shell are joined, and names are matched in any case, aliases included.
TEST_F(BatchTest, ConvertCopiesTheRecording) {
    const ProcessResult run =
        Vibrex(folder, {"convert", ",", "quake.psn", ",", "copy.psn", ",", "psntextascii"});
    EXPECT_EQ(run.exitCode, 0) << run.stderrText;
    EXPECT_TRUE(run.stderrText.empty());
    const std::string copy = ReadFile(folder / "copy.psn");
    EXPECT_NE(copy.find("Station Code: VBRX\r\n"), std::string::npos);
    EXPECT_TRUE(copy.ends_with("Data: \r\n1\r\n-2\r\n3\r\n-4\r\n"));
}

// Scripts and logs get no progress (ConvertCopiesTheRecording: stderr stays empty).
TEST_F(BatchTest, ATerminalSeesALineForTheFileUpToItsEnd) {
    const std::string shown = VibrexOnATerminal(folder, "CONVERT,quake.psn,copy.sac,SAC");
    EXPECT_TRUE(shown.starts_with("\rquake.psn    0%  -- samples/s  --:-- left")) << shown;
    EXPECT_NE(shown.find("\rquake.psn  100%  "), std::string::npos) << shown;
    EXPECT_TRUE(shown.ends_with(" left\033[K\r\n")) << shown; // the pseudo-terminal adds \r
    EXPECT_TRUE(std::filesystem::exists(folder / "copy.sac"));
}

// A refused file's line carries the loader's cause, as the window's text does.
TEST_F(BatchTest, EveryExitCodeWithItsReason) {
    struct Case {
        std::string commandLine;
        int exitCode;
        std::string says = {};
    };
    WriteFile(folder / "none.psn", PsnText({"Number of Samples: 0"}, {}));
    const std::vector<Case> cases = {
        {"COPY,quake.psn,x.psn,PSNINT", 1},
        {"CONVERT,absent.psn,x.psn,PSNINT", 2},
        {"MERGE,quake.psn,absent.psn,x.psn,SEG2", 2},
        {"CONVERT,quake.psn,no-folder/x.psn,PSNINT", 3},
        {"CONVERT,junk.bin,x.psn,PSNINT", 4},
        {"CONVERT,empty.psn,x.psn,PSNINT", 4},
        {"CONVERT,one.psn,x.psn,PSNINT", 4},
        {"CONVERT,none.psn,x.psn,PSNINT", 4, "none.psn: File corrupted: unreadable samples count."},
        {"MERGE,b.psn,b.psn,all.seg2,SEG2", 4, "loaded: b.psn: File already loaded."},
        {"CONVERT,quake.psn,x.wav,WAV", 5},
        {"MERGE,quake.psn,b.psn,all.psn,PSNINT", 7},
        // Refused before reading: what the output format cannot take.
        {"CONVERT,quake.psn,x.saf,SAF", 7},
        {"MERGE,quake.psn,b.psn,all.saf,SAF", 7},
        {"MERGE,quake.psn,b.psn,c.psn,d.psn,all.saf,SAF", 7},
        {"CONVERT,long.psn,x.su,SU", 7},
        {"CONVERT,long.psn,x.gse,GSEINT", 7},
        {"CONVERT,slow.psn,x.su,SU", 7},
        {"CONVERT,odd.psn,x.mseed,miniSeed", 7},
        {"CONVERT,odd.psn,x.wav,WAV (Audio)", 7},
        {"CONVERT,c.psn,x.sac,SAC", 7},
        // Naming an input as the output must never destroy the input.
        {"CONVERT,quake.psn,./quake.psn,PSNINT", 3},
        {"MERGE,b.psn,quake.psn,quake.psn,SEG2", 3},
        {"CONVERT,quake.psn,x.psn", 8},
        {"MERGE,quake.psn,x.psn", 8},
        {"--json CONVERT,quake.psn,x.psn,PSNINT", 8, "--json is for INFO only"},
        {"", 1},
    };
    const std::string input = ReadFile(folder / "quake.psn");
    for (const Case& c : cases) {
        const bool json = c.commandLine.starts_with("--json ");
        const ProcessResult run = json ? Vibrex(folder, {"--json", c.commandLine.substr(7)})
                                       : Vibrex(folder, {c.commandLine});
        EXPECT_EQ(run.exitCode, c.exitCode) << c.commandLine;
        EXPECT_TRUE(run.stderrText.starts_with("vibrex: ") && run.stderrText.ends_with("\n") &&
                    run.stderrText.find('\n') == run.stderrText.size() - 1)
            << c.commandLine << ": " << run.stderrText;
        EXPECT_NE(run.stderrText.find(c.says), std::string::npos) << run.stderrText;
    }
    for (const char* output :
         {"all.psn", "all.saf", "x.saf", "x.su", "x.gse", "x.mseed", "x.wav", "x.sac"}) {
        EXPECT_FALSE(std::filesystem::exists(folder / output)) << output;
    }
    EXPECT_EQ(ReadFile(folder / "quake.psn"), input);
    const ProcessResult refused = Vibrex(folder, {"CONVERT,slow.psn,x.su,SU"});
    EXPECT_EQ(refused.stderrText, "vibrex: Channel 1 of slow.psn: A rate of 1 samples per second "
                                  "cannot be written in SU, whose sampling interval is a whole "
                                  "number of microseconds from 1 to 65535.\n");
}

TEST_F(BatchTest, HelpAndVersionGoToStdout) {
    const ProcessResult help = Vibrex(folder, {"--help"});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_NE(help.stdoutText.find("CONVERT"), std::string::npos);
    const ProcessResult version = Vibrex(folder, {"--version"});
    EXPECT_EQ(version.exitCode, 0);
    EXPECT_TRUE(version.stdoutText.starts_with("vibrex "));
}

TEST_F(BatchTest, InfoPrintsFormatChannelsAndEveryPropertyOnItsOwnLine) {
    const ProcessResult run = Vibrex(folder, {"info , quake.psn , b.psn"});
    EXPECT_EQ(run.exitCode, 0) << run.stderrText;
    const std::vector<std::string> lines = SplitLines(run.stdoutText);
    constexpr std::size_t kLinesPerFile = 4 + 32 + 1; // file, format, count, channel; blank
    ASSERT_EQ(lines.size(), 2 * kLinesPerFile) << run.stdoutText;
    EXPECT_EQ(std::vector<std::string>(lines.begin(), lines.begin() + 4),
              (std::vector<std::string>{"File: quake.psn", "Format: PSNINT", "Channels: 1",
                                        "Channel 1"}));
    EXPECT_EQ(lines[4], "  Start Time: ");
    EXPECT_EQ(lines[5], "  Number of Samples: 4");
    EXPECT_EQ(lines[6], "  SPS: 50");
    EXPECT_EQ(lines[4 + 24], "  Sensor Station Code: VBRX");
    EXPECT_EQ(lines[kLinesPerFile - 1], "");
    EXPECT_EQ(lines[kLinesPerFile], "File: b.psn");
    EXPECT_EQ(lines[kLinesPerFile + 5], "  Number of Samples: 2");
}

// Counts and rates are numbers and empty properties null; other properties stay text.
TEST_F(BatchTest, InfoAsJsonIsOneObjectPerFile) {
    const ProcessResult run = Vibrex(folder, {"--json", "INFO,quake.psn,b.psn"});
    EXPECT_EQ(run.exitCode, 0) << run.stderrText;
    const std::vector<std::string> lines = SplitLines(run.stdoutText);
    ASSERT_EQ(lines.size(), 2u) << run.stdoutText;
    EXPECT_TRUE(lines[0].starts_with("{\"file\":\"quake.psn\",\"format\":\"PSNINT\",\"channels\":1,"
                                     "\"headers\":[{\"Start Time\":null,\"Number of Samples\":4,"
                                     "\"SPS\":50,"))
        << lines[0];
    EXPECT_NE(lines[0].find(",\"Sensor Station Code\":\"VBRX\","), std::string::npos);
    EXPECT_TRUE(lines[0].ends_with(",\"Offset\":null}]}")) << lines[0];
    EXPECT_TRUE(lines[1].starts_with("{\"file\":\"b.psn\",")) << lines[1];
}

std::string Repeated(const std::string& text, int times) {
    std::string repeated;
    for (int i = 0; i < times; ++i) {
        repeated += text;
    }
    return repeated;
}

// One bad file in a list hides none of the others; the exit code is the first failure's. Files
// past the hundredth would go unseen, so naming them is refused outright.
TEST_F(BatchTest, InfoDescribesTheReadableFilesAndExitsWithTheFirstFailure) {
    struct Case {
        std::string commandLine;
        int exitCode;
        std::vector<std::string> described;
        std::size_t reasons;
    };
    const std::vector<Case> cases = {
        {"INFO,quake.psn,absent.psn,junk.bin", 2, {"File: quake.psn"}, 2},
        {"INFO,junk.bin,quake.psn,quake.psn", 4, {"File: quake.psn", "File: quake.psn"}, 1},
        {"INFO,b.psn", 0, {"File: b.psn"}, 0},
        {"INFO", 8, {}, 1},
        {"INFO" + Repeated(",b.psn", 100), 0, std::vector<std::string>(100, "File: b.psn"), 0},
        {"INFO" + Repeated(",b.psn", 101), 8, {}, 1},
    };
    for (const Case& c : cases) {
        const ProcessResult run = Vibrex(folder, {c.commandLine});
        EXPECT_EQ(run.exitCode, c.exitCode) << c.commandLine;
        EXPECT_EQ(LinesStartingWith(run.stdoutText, "File: "), c.described) << c.commandLine;
        EXPECT_EQ(LinesStartingWith(run.stderrText, "vibrex: ").size(), c.reasons)
            << c.commandLine << ": " << run.stderrText;
        EXPECT_EQ(SplitLines(run.stderrText).size(), c.reasons) << run.stderrText;
    }
}

// Batch mode leaves nothing in the program folder: no work folder, whether the conversion
// worked, failed or never started, and no settings file.
TEST_F(BatchTest, NothingIsLeftInTheProgramFolder) {
    const std::filesystem::path program = PrivateProgramCopy(folder);
    for (const char* commandLine : {"CONVERT,quake.psn,copy.psn,PSNINT",
                                    "CONVERT,quake.psn,x.saf,SAF", "CONVERT,junk.bin,x.psn,PSNINT",
                                    "INFO,quake.psn", "MERGE,quake.psn,b.psn,m.psn,PSNINT"}) {
        Vibrex(folder, {commandLine}, program);
    }
    EXPECT_EQ(LeftInProgramFolder(program), std::vector<std::string>{});
}

bool IsCharacterDevice(const std::filesystem::path& path) {
    return std::filesystem::status(path).type() == std::filesystem::file_type::character;
}

// Runs the program with "disk" a small private tmpfs holding kept.psn (read-only when asked), in
// a mount namespace of its own, so that no mount is left behind; the disk's entries and kept.psn
// are listed in disk-after.txt before it goes.
std::vector<std::string> SmallDiskLauncher(const TempFolder& folder, bool readOnly) {
    std::filesystem::create_directory(folder / "disk");
    const std::string script = std::string(readOnly ? "disk-ro.sh" : "disk.sh");
    WriteFile(folder / script,
              std::string("mount -t tmpfs -o size=64k tmpfs disk && printf old > disk/kept.psn") +
                  (readOnly ? " && mount -o remount,ro disk" : "") +
                  " || exit 99\n\"$@\"; code=$?\n"
                  "ls -A disk > disk-after.txt; cat disk/kept.psn >> disk-after.txt\n"
                  "exit $code\n");
    return {"unshare", "--map-root-user", "--mount", "sh", (folder / script).string()};
}

bool MountsAllowed() {
    return std::system("unshare --map-root-user --mount sh -c 'mount -t tmpfs tmpfs /mnt' "
                       ">/dev/null 2>&1") == 0;
}

// Nothing that stands at an output path is harmed, and a write error names its cause.
TEST_F(BatchTest, OutputPathsAreWrittenSafelyAndErrorsNamed) {
    std::vector<std::string> many(40000, "-1234567");
    WriteFile(folder / "big.psn", PsnText({"Number of Samples: 40000", "SPS: 50"}, many));
    WriteFile(folder / "target.psn", "old");
    std::filesystem::create_symlink("target.psn", folder / "link.psn");
    const bool mounts = MountsAllowed();
    struct Case {
        std::string commandLine;
        int exitCode;
        std::string cause; // in the reason on stderr
        std::vector<std::string> launcher;
    };
    const std::vector<Case> cases = {
        {"CONVERT,big.psn,/dev/full,PSNINT", 6, "(No space left on device)", {}},
        {"CONVERT,quake.psn,/dev/null,PSNINT", 0, "", {}},
        // Standard output is a pipe here: headers whose counts came out right are not revisited.
        {"CONVERT,quake.psn,/dev/stdout,SAC", 0, "", {}},
        {"CONVERT,quake.psn,/dev/stdout,WAV (Audio)", 0, "", {}},
        {"CONVERT,quake.psn,link.psn,PSNINT", 0, "", {}},
        {"CONVERT,quake.psn," + std::string(300, 'n') + ".psn,PSNINT", 3, "File name too long", {}},
        {"MERGE,quake.psn,b.psn,folder/all.seg2,SEG2", 3, "No such file or directory", {}},
        {"CONVERT,big.psn,disk/kept.psn,PSNINT", 6, "(No space left on device)",
         SmallDiskLauncher(folder, false)},
        {"CONVERT,quake.psn,disk/kept.psn,PSNINT", 3, "Read-only file system",
         SmallDiskLauncher(folder, true)},
    };
    for (const Case& c : cases) {
        if (!c.launcher.empty() && !mounts) {
            continue; // no private mounts here: the device cases still run
        }
        std::string launcher;
        for (const auto& word : c.launcher) {
            launcher += Quote(word) + " ";
        }
        const ProcessResult run =
            RunShell(folder, launcher + Quote(VIBREX_EXECUTABLE) + " " + Quote(c.commandLine));
        EXPECT_EQ(run.exitCode, c.exitCode) << c.commandLine << ": " << run.stderrText;
        EXPECT_NE(run.stderrText.find(c.cause), std::string::npos) << run.stderrText;
        if (!c.launcher.empty()) {
            EXPECT_EQ(ReadFile(folder / "disk-after.txt"), "kept.psn\nold") << c.commandLine;
        }
    }
    EXPECT_TRUE(IsCharacterDevice("/dev/null"));
    EXPECT_TRUE(IsCharacterDevice("/dev/full"));
    EXPECT_TRUE(std::filesystem::is_symlink(folder / "link.psn"));
    EXPECT_TRUE(ReadFile(folder / "target.psn").ends_with("-4\r\n"));
    EXPECT_TRUE(std::filesystem::is_empty(folder / "disk")); // the mounts were private
    if (!mounts) {
        GTEST_SKIP() << "no private tmpfs mounts here: full and read-only disks not tried";
    }
}

// Starts `program` converting `input` into the FIFO `output`, signals it once the output has
// begun to flow (the run cannot end before the FIFO is drained), then drains it. Returns the
// wait status.
int InterruptedRun(const std::filesystem::path& program, const std::filesystem::path& input,
                   const std::filesystem::path& output, int signal) {
    const int fifo = open(output.c_str(), O_RDONLY | O_NONBLOCK);
    const std::string commandLine = "CONVERT," + input.string() + "," + output.string() + ",PSNINT";
    const std::string path = program.string();
    char* const argv[] = {const_cast<char*>(path.c_str()), const_cast<char*>(commandLine.c_str()),
                          nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
    pid_t pid = 0;
    posix_spawn(&pid, path.c_str(), &actions, nullptr, argv, environ);
    posix_spawn_file_actions_destroy(&actions);
    pollfd flowing{fifo, POLLIN, 0};
    poll(&flowing, 1, 20000);
    kill(pid, signal);
    fcntl(fifo, F_SETFL, 0);
    char buffer[65536];
    while (read(fifo, buffer, sizeof buffer) > 0) {
    }
    close(fifo);
    int status = 0;
    waitpid(pid, &status, 0);
    return status;
}

// Ctrl+C and kill abort the run, clean up and end with the shell's code; after a SIGKILL, which
// leaves the work folder behind, the next start removes it.
TEST_F(BatchTest, InterruptionsAbortCleanlyWithTheShellsCode) {
    const std::filesystem::path program = PrivateProgramCopy(folder);
    WriteFile(folder / "big.psn",
              PsnText({"Number of Samples: 200000"}, std::vector<std::string>(200000, "-12345")));
    const test::FileState input = StateOf(folder / "big.psn");
    const std::filesystem::path output = folder / "pipe.psn";
    ASSERT_EQ(mkfifo(output.c_str(), 0600), 0);
    struct Case {
        int signal;
        int exitCode; // -1: killed by the signal
        std::size_t workFoldersLeft;
    };
    for (const Case& c : std::vector<Case>{{SIGINT, 130, 0}, {SIGTERM, 143, 0}, {SIGKILL, -1, 1}}) {
        const int status = InterruptedRun(program, folder / "big.psn", output, c.signal);
        if (c.exitCode < 0) {
            EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == c.signal) << c.signal;
        } else {
            EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == c.exitCode) << c.signal;
        }
        EXPECT_EQ(LeftInProgramFolder(program).size(), c.workFoldersLeft) << c.signal;
        EXPECT_TRUE(StateOf(folder / "big.psn") == input) << c.signal;
    }
    EXPECT_EQ(Vibrex(folder, {"CONVERT,quake.psn,copy.psn,PSNINT"}, program).exitCode, 0);
    EXPECT_EQ(LeftInProgramFolder(program), std::vector<std::string>{});
}

} // namespace
} // namespace vibrex
