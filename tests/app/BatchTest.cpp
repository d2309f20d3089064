#include "ProcessSupport.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace vibrex::test {
namespace {

// The lines of `text` that start with `prefix`.
std::vector<std::string> Lines(const std::string& text, const std::string& prefix = "") {
    std::vector<std::string> lines;
    std::size_t start = 0;
    for (std::size_t end; (end = text.find('\n', start)) != std::string::npos; start = end + 1) {
        if (text.compare(start, prefix.size(), prefix) == 0) {
            lines.push_back(text.substr(start, end - start));
        }
    }
    return lines;
}

class BatchTest : public ::testing::Test {
protected:
    void SetUp() override {
        WriteFile(folder / "quake.psn",
                  PsnText({"Number of Samples: 4", "SPS: 50", "Station Code: VBRX"},
                          {"1", "-2", "3", "-4"}));
        WriteFile(folder / "b.psn", PsnText({"Number of Samples: 2", "SPS: 50"}, {"5", "6"}));
        WriteFile(folder / "junk.bin", "not a recording\n");
        WriteFile(folder / "big.psn", PsnText({"Number of Samples: 40000", "SPS: 50"},
                                              std::vector<std::string>(40000, "-1234567")));
        // Limits its header shows: no rate, more samples than GSE counts, rates SU, miniSEED and
        // WAV cannot state.
        WriteFile(folder / "c.psn", PsnText({"Number of Samples: 1"}, {"1"}));
        WriteFile(folder / "long.psn", PsnText({"Number of Samples: 100000000", "SPS: 50"}, {"1"}));
        WriteFile(folder / "slow.psn", PsnText({"Number of Samples: 2", "SPS: 1"}, {"1", "2"}));
        WriteFile(folder / "odd.psn", PsnText({"Number of Samples: 1", "SPS: 0.123456789"}, {"1"}));
    }

    TempFolder folder;
};

// Scripts and logs get no progress: a success leaves stderr empty. A terminal of unknown width
// is taken for 80 columns; on a narrower one the name loses its beginning. A merge shows its
// output's name. Each case: the setup, the command, the first line and what the last shows
// whatever the rate.
TEST_F(BatchTest, ATerminalSeesALineForTheFileUpToItsEnd) {
    for (const auto& [setup, command, first, last] :
         {std::tuple{"", "CONVERT,quake.psn,copy.sac,SAC",
                     "\rquake.psn    0%  -- samples/s  --:-- left", "\rquake.psn  100%  "},
          {"stty cols 41; ", "CONVERT,quake.psn,copy.sac,SAC",
           "\r...e.psn    0%  -- samples/s  --:-- left", "  100%  "},
          {"", "MERGE,quake.psn,b.psn,all.seg2,SEG2", "\rall.seg2    0%  -- samples/s  --:-- left",
           "\rall.seg2  100%  "}}) {
        const std::string inner = setup + Quote(VIBREX_EXECUTABLE) + " " + command;
        const std::string shown =
            RunShell(folder, "script -qec " + Quote(inner) + " /dev/null").stdoutText;
        EXPECT_TRUE(shown.starts_with(first + std::string("\033[K"))) << shown;
        EXPECT_NE(shown.find(last), std::string::npos) << shown;
        EXPECT_TRUE(shown.ends_with(" left\033[K\r\n")) << shown; // the pseudo-terminal adds \r
    }
}

// What each command line answers: its exit code, a "vibrex: " line on stderr for each reason
// (a refused file's carries the loader's cause, as the window's text does), and the files INFO
// described on stdout. Words split by the shell are joined, and names are matched in any case,
// aliases included.
TEST_F(BatchTest, EachCommandLineEndsWithItsExitCodeAndReasons) {
    struct Case {
        std::vector<std::string> words;
        int exitCode;
        std::string says = {}; // on stderr, or on stdout for a success
        std::size_t reasons = 1;
        std::vector<std::string> described = {};
    };
    WriteFile(folder / "none.psn", PsnText({"Number of Samples: 0"}, {}));
    std::string hundred;
    for (int i = 0; i < 100; ++i) {
        hundred += ",b.psn";
    }
    WriteFile(folder / "bad.psn", PsnText({"Number of Samples: 2"}, {"1", "oops"}));
    WriteFile(folder / "cr.psn", PsnText({"Number of Samples: 1", "Station Code: A\rB"}, {"1"}));
    WriteFile(folder / "lies.psn",
              PsnText({"Start Time: 2015/03/01 12:30:45.250", "Number of Samples: 5", "SPS: 100"},
                      {"1"}));
    const std::vector<Case> cases = {
        {{"convert", ",", "quake.psn", ",", "copy.psn", ",", "psntextascii"}, 0, "", 0},
        {{"MERGE,quake.psn,one.seg2,SEG2"}, 0, "", 0},
        {{"--help"}, 0, "CONVERT", 0},
        {{"--version"}, 0, "vibrex ", 0},
        {{"COPY,quake.psn,x.psn,PSNINT"}, 1},
        {{"CONVERT,absent.psn,x.psn,PSNINT"}, 2},
        {{"MERGE,quake.psn,absent.psn,x.psn,SEG2"}, 2},
        {{"CONVERT,quake.psn,no-folder/x.psn,PSNINT"}, 3},
        {{"CONVERT,junk.bin,x.psn,PSNINT"}, 4, "Unrecognized file format: junk.bin"},
        {{"CONVERT,none.psn,x.psn,PSNINT"}, 4, "none.psn: File corrupted: unreadable samples"},
        {{"MERGE,b.psn,b.psn,all.seg2,SEG2"}, 4, "loaded: b.psn: File already loaded."},
        {{"CONVERT,quake.psn,x.wav,WAV"}, 5},
        {{"MERGE,quake.psn,b.psn,all.psn,PSNINT"}, 7},
        // Refused before reading: what the output format cannot take.
        {{"MERGE,quake.psn,b.psn,all.saf,SAF"}, 7},
        {{"CONVERT,long.psn,x.gse,GSEINT"}, 7},
        {{"CONVERT,slow.psn,x.su,SU"}, 7, "vibrex: Channel 1 of slow.psn: A rate of 1 samples"},
        {{"CONVERT,odd.psn,x.mseed,miniSeed"}, 7},
        {{"CONVERT,odd.psn,x.wav,WAV (Audio)"}, 7},
        {{"CONVERT,c.psn,x.sac,SAC"}, 7},
        // Naming an input as the output must never destroy the input.
        {{"CONVERT,quake.psn,./quake.psn,PSNINT"}, 3},
        {{"MERGE,b.psn,quake.psn,quake.psn,SEG2"}, 3},
        {{"CONVERT,quake.psn,x.psn"}, 8},
        {{"MERGE,quake.psn,x.psn"}, 8},
        {{"--json", "CONVERT,quake.psn,x.psn,PSNINT"}, 8, "--json is for INFO only"},
        // A write error names its cause. Standard output is a pipe here, written as it comes:
        // headers whose counts came out right are not revisited.
        {{"CONVERT,big.psn,/dev/full,PSNINT"}, 6, "(No space left on device)"},
        {{"MERGE,bad.psn,quake.psn,all.seg2,SEG2"}, 6, "Merge failed: bad.psn: Failed: The sample"},
        {{"CONVERT,quake.psn,/dev/stdout,WAV (Audio)"}, 0, "", 0},
        // A header whose count is wrong: counted before the first byte, as a pipe cannot be
        // written again.
        {{"CONVERT,lies.psn,/dev/stdout,PSNCM6"}, 0, "Number of Samples: 1\r\n", 0},
        {{"CONVERT,lies.psn,/dev/stdout,Ondaro"}, 0, "SAMPLES=1\r\n", 0},
        {{"CONVERT,lies.psn,/dev/stdout,GSEINT"}, 0, " INT        1 ", 0},
        {{"MERGE,quake.psn,b.psn,folder/all.seg2,SEG2"}, 3, "No such file or directory"},
        // INFO describes every file it can, so that one bad file hides none of the others, and
        // ends with the first failure's code. Files past the hundredth would go unseen, so
        // naming them is refused outright.
        {{"INFO,quake.psn,absent.psn,junk.bin"}, 2, "", 2, {"File: quake.psn"}},
        {{"INFO,junk.bin,quake.psn,quake.psn"}, 4, "", 1, {"File: quake.psn", "File: quake.psn"}},
        {{"INFO,b.psn"}, 0, "", 0, {"File: b.psn"}},
        {{"INFO,cr.psn"}, 0, "\n  Sensor Station Code: A B\n", 0, {"File: cr.psn"}}, // one line
        {{"INFO"}, 8},
        {{"INFO" + hundred}, 0, "", 0, std::vector<std::string>(100, "File: b.psn")},
        {{"INFO" + hundred + ",b.psn"}, 8, "INFO takes at most 100 files."},
    };
    const std::string input = ReadFile(folder / "quake.psn");
    for (const Case& c : cases) {
        const ProcessResult run = Vibrex(folder, c.words);
        const std::string& says = c.exitCode == 0 ? run.stdoutText : run.stderrText;
        EXPECT_EQ(run.exitCode, c.exitCode) << c.words.back();
        EXPECT_NE(says.find(c.says), std::string::npos) << c.words.back() << ": " << says;
        EXPECT_EQ(Lines(run.stderrText, "vibrex: ").size(), c.reasons) << run.stderrText;
        EXPECT_EQ(Lines(run.stderrText).size(), c.reasons) << run.stderrText;
        EXPECT_EQ(run.stderrText.empty(), c.reasons == 0) << "no progress off a terminal";
        EXPECT_EQ(Lines(run.stdoutText, "File: "), c.described) << c.words.back();
    }
    EXPECT_EQ(ReadFile(folder / "quake.psn"), input);
    const std::string copy = ReadFile(folder / "copy.psn");
    EXPECT_NE(copy.find("Station Code: VBRX\r\n"), std::string::npos);
    EXPECT_TRUE(copy.ends_with("Data: \r\n1\r\n-2\r\n3\r\n-4\r\n"));
    EXPECT_TRUE(std::filesystem::exists(folder / "one.seg2"));
}

// Text: a block of lines per file, every property on its own line. JSON: an object per file, in
// which counts and rates are numbers and empty properties null; other properties stay text.
TEST_F(BatchTest, InfoDescribesEachFileAsTextOrAsJson) {
    const auto text = Lines(Vibrex(folder, {"info , quake.psn , b.psn"}).stdoutText);
    constexpr std::size_t kLinesPerFile = 4 + 32 + 1; // file, format, count, channel; blank
    ASSERT_EQ(text.size(), 2 * kLinesPerFile);
    EXPECT_EQ(
        std::vector(text.begin(), text.begin() + 7),
        (std::vector<std::string>{"File: quake.psn", "Format: PSNINT", "Channels: 1", "Channel 1",
                                  "  Start Time: ", "  Number of Samples: 4", "  SPS: 50"}));
    EXPECT_EQ(text[4 + 24], "  Sensor Station Code: VBRX");
    EXPECT_EQ(text[kLinesPerFile - 1], "");
    EXPECT_EQ(text[kLinesPerFile], "File: b.psn");
    const auto json = Lines(Vibrex(folder, {"--json", "INFO,quake.psn,b.psn"}).stdoutText);
    ASSERT_EQ(json.size(), 2u);
    EXPECT_TRUE(json[0].starts_with("{\"file\":\"quake.psn\",\"format\":\"PSNINT\",\"channels\":1,"
                                    "\"headers\":[{\"Start Time\":null,\"Number of Samples\":4,"
                                    "\"SPS\":50,"))
        << json[0];
    EXPECT_NE(json[0].find(",\"Sensor Station Code\":\"VBRX\","), std::string::npos);
    EXPECT_TRUE(json[0].ends_with(",\"Offset\":null}]}")) << json[0];
    EXPECT_TRUE(json[1].starts_with("{\"file\":\"b.psn\",")) << json[1];
}

// Ctrl+C and kill abort the run, clean up and end with the shell's code; after a SIGKILL, which
// leaves the work folder behind, the next start removes it. Whether a run worked, failed or never
// started, batch mode leaves nothing in the program folder, not even a settings file.
TEST_F(BatchTest, InterruptionsAbortCleanlyWithTheShellsCode) {
    const std::filesystem::path program = PrivateProgramCopy(folder);
    WriteFile(folder / "big.psn",
              PsnText({"Number of Samples: 200000"}, std::vector<std::string>(200000, "-12345")));
    const FileState input = StateOf(folder / "big.psn");
    ASSERT_EQ(mkfifo((folder / "pipe.psn").c_str(), 0600), 0);
    // The signal goes once the output flows through the FIFO, which the run cannot finish
    // before it is drained. The FIFO is opened for writing too, so that opening it never waits.
    WriteFile(folder / "interrupt.sh", "\"$1\" CONVERT,big.psn,pipe.psn,PSNINT 2>/dev/null &\n"
                                       "program=$!; exec 3<>pipe.psn\n"
                                       "timeout 20 head -c 1 <&3 >/dev/null; kill -$2 $program\n"
                                       "cat <&3 >/dev/null & drain=$!\n"
                                       "wait $program; code=$?; kill $drain; exit $code\n");
    for (const auto& [signal, exitCode, workFoldersLeft] :
         {std::tuple{"INT", 130, 0u}, {"TERM", 143, 0u}, {"KILL", 128 + 9, 1u}}) {
        const std::string command = "sh interrupt.sh " + Quote(program.string()) + " " + signal;
        EXPECT_EQ(RunShell(folder, command).exitCode, exitCode) << signal;
        EXPECT_EQ(LeftInProgramFolder(program).size(), workFoldersLeft) << signal;
        EXPECT_TRUE(StateOf(folder / "big.psn") == input) << signal;
    }
    EXPECT_EQ(Vibrex(folder, {"CONVERT,quake.psn,copy.psn,PSNINT"}, program).exitCode, 0);
    for (const char* commandLine : {"CONVERT,junk.bin,x.psn,PSNINT", "INFO,quake.psn"}) {
        Vibrex(folder, {commandLine}, program);
    }
    EXPECT_EQ(LeftInProgramFolder(program), std::vector<std::string>{});
}

} // namespace
} // namespace vibrex::test
