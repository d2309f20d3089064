#include "ProcessSupport.h"

#include <gtest/gtest.h>

namespace vibrex {
namespace {

using test::LeftInProgramFolder;
using test::PrivateProgramCopy;
using test::ProcessResult;
using test::PsnText;
using test::Quote;
using test::ReadFile;
using test::RunShell;
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
    }

    TempFolder folder;
};

TEST_F(BatchTest, ConvertCopiesTheRecording) {
    const ProcessResult run = Vibrex(folder, {"CONVERT,quake.psn,copy.psn,PSNINT"});
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

TEST_F(BatchTest, ShellSplitWordsAndAnyCaseAreJoined) {
    const ProcessResult run =
        Vibrex(folder, {"convert", ",", "quake.psn", ",", "flipped.psn", ",", "psntextascii"});
    EXPECT_EQ(run.exitCode, 0) << run.stderrText;
    EXPECT_TRUE(std::filesystem::exists(folder / "flipped.psn"));
}

TEST_F(BatchTest, EveryExitCodeWithItsReason) {
    struct Case {
        std::string commandLine;
        int exitCode;
    };
    const std::vector<Case> cases = {
        {"COPY,quake.psn,x.psn,PSNINT", 1},
        {"CONVERT,absent.psn,x.psn,PSNINT", 2},
        {"MERGE,quake.psn,absent.psn,x.psn,SEG2", 2},
        {"CONVERT,quake.psn,no-folder/x.psn,PSNINT", 3},
        {"CONVERT,junk.bin,x.psn,PSNINT", 4},
        {"CONVERT,quake.psn,x.wav,WAV", 5},
        {"CONVERT,quake.psn,x.saf,SAF", 6},
        {"MERGE,quake.psn,b.psn,all.psn,PSNINT", 7},
        {"CONVERT,quake.psn,x.psn", 8},
        {"MERGE,quake.psn,x.psn", 8},
        {"", 1},
    };
    for (const Case& c : cases) {
        const ProcessResult run = Vibrex(folder, {c.commandLine});
        EXPECT_EQ(run.exitCode, c.exitCode) << c.commandLine;
        EXPECT_TRUE(run.stderrText.starts_with("vibrex: ") && run.stderrText.ends_with("\n") &&
                    run.stderrText.find('\n') == run.stderrText.size() - 1)
            << c.commandLine << ": " << run.stderrText;
    }
    EXPECT_FALSE(std::filesystem::exists(folder / "all.psn"));
    const ProcessResult failed = Vibrex(folder, {"CONVERT,quake.psn,x.saf,SAF"});
    EXPECT_NE(
        failed.stderrText.find("Failed: SAF holds exactly three channels; this recording has 1."),
        std::string::npos)
        << failed.stderrText;
}

TEST_F(BatchTest, MergeIntoSafWithTooManyChannelsIsRefused) {
    for (const char* name : {"c.psn", "d.psn"}) {
        WriteFile(folder / name, PsnText({"Number of Samples: 1"}, {"1"}));
    }
    const ProcessResult run = Vibrex(folder, {"MERGE,quake.psn,b.psn,c.psn,d.psn,all.saf,SAF"});
    EXPECT_EQ(run.exitCode, 7);
    EXPECT_FALSE(std::filesystem::exists(folder / "all.saf"));
}

// Naming an input as the output must never destroy the input.
TEST_F(BatchTest, OutputThatIsAnInputIsRefusedAndKept) {
    const std::string before = ReadFile(folder / "quake.psn");
    EXPECT_EQ(Vibrex(folder, {"CONVERT,quake.psn,./quake.psn,PSNINT"}).exitCode, 3);
    EXPECT_EQ(Vibrex(folder, {"MERGE,b.psn,quake.psn,quake.psn,SEG2"}).exitCode, 3);
    EXPECT_EQ(ReadFile(folder / "quake.psn"), before);
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

TEST_F(BatchTest, InfoAsJsonIsOneObjectPerFile) {
    const ProcessResult run = Vibrex(folder, {"--json", "INFO,quake.psn,b.psn"});
    EXPECT_EQ(run.exitCode, 0) << run.stderrText;
    const std::vector<std::string> lines = SplitLines(run.stdoutText);
    ASSERT_EQ(lines.size(), 2u) << run.stdoutText;
    EXPECT_TRUE(
        lines[0].starts_with("{\"file\":\"quake.psn\",\"format\":\"PSNINT\",\"channels\":1,"
                             "\"headers\":[{\"Start Time\":\"\",\"Number of Samples\":\"4\","
                             "\"SPS\":\"50\","))
        << lines[0];
    EXPECT_NE(lines[0].find(",\"Sensor Station Code\":\"VBRX\","), std::string::npos);
    EXPECT_TRUE(lines[0].ends_with(",\"Offset\":\"\"}]}")) << lines[0];
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

} // namespace
} // namespace vibrex
