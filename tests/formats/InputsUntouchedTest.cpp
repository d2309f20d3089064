#include "engine/ClsConverter.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

namespace vibrex {
namespace {

namespace fs = std::filesystem;
using test::FileState;
using test::StateOf;
using test::TempFolder;
using test::TestDataFolder;

// Every real recording the program reads, converted into each format it writes and once onto
// itself (which fails): the input keeps its bytes and its modification time.
TEST(RealRecordings, InputsAreNeverModified) {
    const fs::path testData = TestDataFolder();
    if (testData.empty()) {
        GTEST_SKIP() << "no test data folder";
    }
    TempFolder folder;
    ClsConverter engine(nullptr, folder.Path());
    engine.SetVerbose(false);
    int converted = 0;
    for (const auto& entry : fs::recursive_directory_iterator(testData)) {
        const fs::path input = folder / entry.path().filename().string();
        if (!entry.is_regular_file() || !fs::copy_file(entry.path(), input) ||
            !engine.AddFile(input.string())) {
            continue;
        }
        fs::last_write_time(input, fs::file_time_type::clock::now() - std::chrono::hours(24));
        const FileState before = StateOf(input);
        // A writer may refuse what its format cannot hold; the input must not care.
        const std::vector<std::pair<FileFormat, fs::path>> outputs = {
            {FileFormat::PSNINT, folder / "out.psn"},
            {FileFormat::SAC, folder / "out.sac"},
            {FileFormat::miniSeed, folder / "out.mseed"},
            {FileFormat::WAV, folder / "out.wav"},
            {engine.FileFormat(0), input},
        };
        for (const auto& [format, output] : outputs) {
            engine.SetFileOutputFormat(0, format);
            engine.SetFileOutputPath(0, output.string());
            engine.StartConversion();
            EXPECT_TRUE(StateOf(input) == before) << input << " to " << output;
        }
        EXPECT_EQ(engine.FileStatus(0), ConversionStatus::Failed) << input << " onto itself";
        engine.RemoveFile(0);
        ++converted;
    }
    EXPECT_GT(converted, 0);
}

} // namespace
} // namespace vibrex
