#include "app/Settings.h"

#include "app/ModMain.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

namespace vibrex {
namespace {

using test::ReadFile;
using test::TempFolder;
using test::WriteFile;

TEST(Settings, SaveThenLoadReproducesEveryValue) {
    TempFolder folder;
    const Settings saved{"/data/in", 7, "/data/out", true};
    ASSERT_TRUE(SaveSettings(saved, folder / "Vibrex.ini"));
    EXPECT_EQ(ReadFile(folder / "Vibrex.ini"), "Input path=/data/in\r\nInput format=7\r\n"
                                               "Output path=/data/out\r\nStartup logo=True\r\n");
    const Settings loaded = LoadSettings(folder / "Vibrex.ini");
    EXPECT_EQ(loaded.inputPath, saved.inputPath);
    EXPECT_EQ(loaded.inputFormat, saved.inputFormat);
    EXPECT_EQ(loaded.outputPath, saved.outputPath);
    EXPECT_EQ(loaded.startupLogo, saved.startupLogo);
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
