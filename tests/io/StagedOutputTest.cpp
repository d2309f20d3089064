#include "io/StagedOutput.h"

#include "support/TestSupport.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace vibrex::test {
namespace {

namespace fs = std::filesystem;

std::string Write(const fs::path& path, const std::string& bytes, bool commit) {
    StagedOutput staged;
    try {
        OutputFile out = CreateStagedOutput(path, staged);
        out.Write(bytes.data(), bytes.size());
        out.Close();
        if (commit) {
            CommitStagedOutput(staged);
        } else {
            DiscardStagedOutput(staged);
        }
    } catch (const std::exception& error) {
        DiscardStagedOutput(staged);
        return error.what();
    }
    return {};
}

// Only the entries a test made: no temporary file may stay behind.
std::vector<std::string> Entries(const fs::path& folder) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

// Whatever stands at the output path: the check leaves it alone, a discarded output leaves it
// alone, and a committed one lands in the file the path finally names.
TEST(StagedOutput, WhatStandsAtThePathIsNeverHarmed) {
    struct Case {
        std::string name;
        std::function<void(const TempFolder&)> prepare;
        std::string landsIn; // the file that holds the output once committed
    };
    const auto target = [](const TempFolder& f) { WriteFile(f / "target", "old bytes"); };
    const std::vector<Case> cases = {
        {"absent", [](const TempFolder&) {}, "out"},
        {"file", [](const TempFolder& f) { WriteFile(f / "out", "old bytes"); }, "out"},
        {"link", [&](const TempFolder& f) { target(f), fs::create_symlink("target", f / "out"); },
         "target"},
        {"dangling link",
         [](const TempFolder& f) { fs::create_symlink("sub/../target", f / "out"); }, "target"},
        {"link to a link",
         [&](const TempFolder& f) {
             target(f), fs::create_symlink("target", f / "middle");
             fs::create_symlink(f / "middle", f / "out");
         },
         "target"},
    };
    for (const Case& c : cases) {
        for (const bool commit : {false, true}) {
            TempFolder folder;
            fs::create_directory(folder / "sub");
            c.prepare(folder);
            const auto before = Entries(folder.Path());
            const std::string oldBytes =
                fs::exists(folder / c.landsIn) ? ReadFile(folder / c.landsIn) : "";
            EXPECT_EQ(OutputProblem(folder / "out"), "") << c.name;
            EXPECT_EQ(Entries(folder.Path()), before) << c.name;
            EXPECT_EQ(Write(folder / "out", "new", commit), "") << c.name;
            const auto after = Entries(folder.Path());
            if (commit) {
                EXPECT_EQ(ReadFile(folder / c.landsIn), "new") << c.name;
                EXPECT_EQ(fs::is_symlink(folder / "out"), c.landsIn != "out") << c.name;
            } else {
                EXPECT_EQ(after, before) << c.name;
                EXPECT_EQ(fs::exists(folder / c.landsIn), !oldBytes.empty()) << c.name;
            }
            if (!oldBytes.empty() && !commit) {
                EXPECT_EQ(ReadFile(folder / c.landsIn), oldBytes) << c.name;
            }
        }
    }
}

// Devices are written in place and stay devices; a full one names the cause.
TEST(StagedOutput, DevicesAreWrittenDirectly) {
    EXPECT_EQ(OutputProblem("/dev/null"), "");
    EXPECT_EQ(Write("/dev/null", "discarded", true), "");
    EXPECT_EQ(Write("/dev/full", std::string(3 << 20, 'x'), true),
              "Can't write the file: /dev/full (No space left on device)");
    for (const char* device : {"/dev/null", "/dev/full"}) {
        struct stat status {};
        ASSERT_EQ(stat(device, &status), 0);
        EXPECT_TRUE(S_ISCHR(status.st_mode)) << device;
    }
}

TEST(StagedOutput, ProblemsNameTheirCause) {
    TempFolder folder;
    fs::create_directory(folder / "dir");
    const std::string longName(300, 'n');
    EXPECT_EQ(OutputProblem(folder / "missing" / "out"), "No such file or directory");
    EXPECT_EQ(OutputProblem(folder / longName), "File name too long");
    EXPECT_EQ(OutputProblem(folder / "dir"), (folder / "dir").string() + " is not a regular file.");
    EXPECT_EQ(OutputProblem(""), "No output file is named.");
    EXPECT_EQ(Write(folder / "missing" / "out", "x", true),
              "Can't open an output file:" + (folder / "missing" / "out").string() +
                  " (No such file or directory)");
    // The folder vanished while the output was written: nothing is put in place.
    StagedOutput staged;
    OutputFile out = CreateStagedOutput(folder / "dir" / "out", staged);
    out.Close();
    fs::remove_all(folder / "dir");
    EXPECT_THROW(CommitStagedOutput(staged), std::runtime_error);
    EXPECT_EQ(Entries(folder.Path()), std::vector<std::string>{});
}

// A replaced file keeps its permissions; a new one gets the usual ones, not the private mode of
// a temporary file.
TEST(StagedOutput, PermissionsAreThoseOfTheFinalFile) {
    TempFolder folder;
    WriteFile(folder / "kept", "old");
    fs::permissions(folder / "kept", fs::perms::owner_read | fs::perms::owner_write |
                                         fs::perms::group_read | fs::perms::others_read);
    ASSERT_EQ(Write(folder / "kept", "new", true), "");
    EXPECT_EQ(fs::status(folder / "kept").permissions(),
              fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read |
                  fs::perms::others_read);
    ASSERT_EQ(Write(folder / "fresh", "new", true), "");
    EXPECT_NE(fs::status(folder / "fresh").permissions() & fs::perms::group_read, fs::perms::none);
}

} // namespace
} // namespace vibrex::test
