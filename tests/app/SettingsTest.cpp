#include "app/Settings.h"

#include "app/ModMain.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

namespace vibrex {
namespace {

using test::ReadFile;
using test::TempFolder;
using test::WriteFile;

// The four keys come first, in their order; the window's options follow.
TEST(Settings, SaveThenLoadReproducesEveryValue) {
    TempFolder folder;
    const Settings saved{.inputPath = "/data/in",
                         .inputFormat = 7,
                         .outputPath = "/data/out",
                         .startupLogo = true,
                         .merge = true,
                         .applyToAll = true,
                         .originalFolder = true,
                         .wavFactor = 250,
                         .wavBitCount = 16,
                         .wavSamplingRate = 8000,
                         .windowGeometry = "10,20,1100,700",
                         .splitterSizes = "150,290",
                         .columnWidths = "321,100,84,100,160,100"};
    ASSERT_TRUE(SaveSettings(saved, folder / "Vibrex.ini"));
    const std::string text = ReadFile(folder / "Vibrex.ini");
    EXPECT_TRUE(text.starts_with("Input path=/data/in\r\nInput format=7\r\n"
                                 "Output path=/data/out\r\nStartup logo=True\r\nMerge files=True"))
        << text;
    EXPECT_NE(text.find("\r\nWAV sample rate=8000\r\nWindow geometry=10,20,1100,700\r\n"),
              std::string::npos);
    EXPECT_EQ(LoadSettings(folder / "Vibrex.ini"), saved);
}

TEST(Settings, UnknownKeysAndOddLinesAreSkipped) {
    TempFolder folder;
    WriteFile(folder / "Vibrex.ini", "Colour=blue\nno equals sign\nstartup logo=False\n"
                                     "Startup logo=True\nInput format=2.5\nOutput path=a=b\n");
    const Settings loaded = LoadSettings(folder / "Vibrex.ini");
    EXPECT_TRUE(loaded.startupLogo);
    EXPECT_EQ(loaded.inputFormat, 2); // half to even
    EXPECT_EQ(loaded.outputPath, "a=b");
    EXPECT_EQ(loaded.inputPath, "");
}

TEST(Settings, MissingFileGivesDefaultsAndNumbersCountAsBooleans) {
    TempFolder folder;
    const Settings defaults = LoadSettings(folder / "absent.ini");
    EXPECT_EQ(defaults.inputFormat, 0);
    EXPECT_FALSE(defaults.startupLogo);
    WriteFile(folder / "Vibrex.ini", "Startup logo=-1\n");
    EXPECT_TRUE(LoadSettings(folder / "Vibrex.ini").startupLogo);
    WriteFile(folder / "Vibrex.ini", "Startup logo=0\n");
    EXPECT_FALSE(LoadSettings(folder / "Vibrex.ini").startupLogo);
}

TEST(CommandLine, SplitsAtCommasTrimmedAndCapped) {
    EXPECT_EQ(SplitCommandLine(" convert , a b.sac ,b.mseed, miniseed "),
              (std::vector<std::string>{"convert", "a b.sac", "b.mseed", "miniseed"}));
    EXPECT_EQ(SplitCommandLine(""), std::vector<std::string>{""});
    EXPECT_EQ(SplitCommandLine("MERGE,,x"), (std::vector<std::string>{"MERGE", "", "x"}));
    EXPECT_EQ(SplitCommandLine(std::string(200, ',')).size(), 101u);
}

} // namespace
} // namespace vibrex
