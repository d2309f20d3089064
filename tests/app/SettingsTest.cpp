#include "app/Settings.h"

#include "app/ModMain.h"
#include "io/ProgramFolders.h"
#include "support/TestSupport.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>

namespace vibrex::test {
namespace {

// What a file holds is read and written back unchanged: every key, the four first, the window's
// options after them. With no file yet, as at a first start, the defaults are saved.
TEST(Settings, EveryKeyIsReadAndWrittenBackInItsPlace) {
    TempFolder folder;
    const std::string defaults =
        "Input path=\r\nInput format=0\r\nOutput path=\r\nStartup logo=False\r\n"
        "Merge files=False\r\nInvert signal polarity=False\r\n"
        "Apply output format to all files=False\r\nSave each file in the original folder=False\r\n"
        "WAV amplification factor=1\r\nWAV bit count=32\r\nWAV sample rate=0\r\n"
        "Window geometry=\r\nSplitter sizes=\r\nColumn widths=\r\n";
    const std::string mine =
        "Input path=/data/in\r\nInput format=7\r\nOutput path=/data/out\r\nStartup logo=True\r\n"
        "Merge files=True\r\nInvert signal polarity=False\r\n"
        "Apply output format to all files=True\r\nSave each file in the original folder=False\r\n"
        "WAV amplification factor=250\r\nWAV bit count=16\r\nWAV sample rate=8000\r\n"
        "Window geometry=10,20,1100,700\r\nSplitter sizes=150,290\r\n"
        "Column widths=321,100,84,100,160,100\r\n";
    WriteFile(folder / "mine.ini", mine);
    const std::filesystem::path saved = folder / "config/Vibrex/Vibrex.ini"; // folders made too
    for (const auto& [from, text] : {std::pair{"absent.ini", defaults}, {"mine.ini", mine}}) {
        ASSERT_TRUE(SaveSettings(LoadSettings(folder / from), saved));
        EXPECT_EQ(ReadFile(saved), text) << from;
    }
    EXPECT_FALSE(SaveSettings(Settings{}, folder / "mine.ini" / "Vibrex.ini")); // a file's "folder"
}

// Keys are matched exactly and the last one counts; unknown keys and lines without "=" are
// skipped. Numbers count as booleans, and a number that is none, or too large, reads as 0.
TEST(Settings, EachLineIsReadOnItsOwn) {
    TempFolder folder;
    // text, startup logo, input format
    const std::tuple<std::string, bool, std::int32_t> cases[] = {
        {"Colour=blue\nno equals sign\nstartup logo=False\nStartup logo=True\n", true, 0},
        {"Startup logo=-1\nInput format=2.5\n", true, 2}, // half to even
        {"Startup logo=0\nInput format=abc\n", false, 0},
        {"Startup logo=False\nInput format=1e10\n", false, 0},
    };
    for (const auto& [text, startupLogo, inputFormat] : cases) {
        WriteFile(folder / "Vibrex.ini", text + "Output path=a=b\n");
        const Settings loaded = LoadSettings(folder / "Vibrex.ini");
        EXPECT_EQ(loaded.startupLogo, startupLogo) << text;
        EXPECT_EQ(loaded.inputFormat, inputFormat) << text;
        EXPECT_EQ(loaded.outputPath, "a=b");
    }
}

// A copy in its build or unpacked folder keeps everything beside it; an installed one (in a
// "bin" folder) keeps its settings in the configuration folder and its work folders in a
// private folder under TMPDIR, never in the home folder that a cluster shares.
TEST(ProgramFolders, BesideABuildCopyInTheUsersFoldersForAnInstalledOne) {
    TempFolder folder;
    const std::string user = "vibrex-" + std::to_string(geteuid());
    const auto home = folder / "home";
    const auto temporary = folder / "tmp";
    // executable, XDG_CONFIG_HOME, settings file, parent of the work folders
    using Case = std::tuple<std::string, std::optional<std::string>, std::filesystem::path,
                            std::filesystem::path>;
    const Case cases[] = {
        {"build/vibrex", "/etc", folder / "build/Vibrex.ini", folder / "build"},
        {"usr/bin/vibrex", std::nullopt, home / ".config/Vibrex/Vibrex.ini", temporary / user},
        {"usr/bin/vibrex", (folder / "config").string(), folder / "config/Vibrex/Vibrex.ini",
         temporary / user},
        {"usr/bin/vibrex", "relative", home / ".config/Vibrex/Vibrex.ini", temporary / user},
    };
    std::filesystem::create_directories(folder / "build");
    std::filesystem::create_directories(temporary);
    setenv("HOME", home.c_str(), 1);
    setenv("TMPDIR", temporary.c_str(), 1);
    for (const auto& [executable, configHome, settingsFile, workFolderParent] : cases) {
        configHome ? setenv("XDG_CONFIG_HOME", configHome->c_str(), 1)
                   : unsetenv("XDG_CONFIG_HOME");
        const ProgramFolders found = LocateProgramFolders(folder / executable);
        EXPECT_EQ(found.settingsFile, settingsFile) << executable;
        EXPECT_EQ(found.workFolderParent, workFolderParent) << executable;
    }
    EXPECT_EQ(std::filesystem::status(temporary / user).permissions(),
              std::filesystem::perms::owner_all);
    // A folder of that name that others may enter is not used.
    chmod((temporary / user).c_str(), 0755);
    const auto fallback = LocateProgramFolders(folder / "usr/bin/vibrex").workFolderParent;
    EXPECT_NE(fallback, temporary / user);
    EXPECT_EQ(fallback.parent_path(), temporary);
    unsetenv("XDG_CONFIG_HOME");
}

TEST(CommandLine, SplitsAtCommasTrimmedAndCapped) {
    EXPECT_EQ(SplitCommandLine(" convert , a b.sac ,b.mseed, miniseed "),
              (std::vector<std::string>{"convert", "a b.sac", "b.mseed", "miniseed"}));
    EXPECT_EQ(SplitCommandLine(""), std::vector<std::string>{""});
    EXPECT_EQ(SplitCommandLine("MERGE,,x"), (std::vector<std::string>{"MERGE", "", "x"}));
    EXPECT_EQ(SplitCommandLine(std::string(200, ',')).size(), 101u);
}

} // namespace
} // namespace vibrex::test
