#include "engine/ClsConverter.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

namespace vibrex {
namespace {

using test::PsnText;
using test::ReadLines;
using test::RecordingHost;
using test::TempFolder;
using test::WriteFile;

std::vector<std::string> SamplesOf(const std::filesystem::path& file) {
    const auto lines = ReadLines(file);
    std::vector<std::string> samples;
    bool inData = false;
    for (const auto& line : lines) {
        if (inData) {
            samples.push_back(line);
        } else if (line.rfind("Data:", 0) == 0 || line.rfind("data:", 0) == 0) {
            inData = true;
        }
    }
    return samples;
}

class PsnTest : public ::testing::Test {
protected:
    ConversionStatus Convert(const std::string& text, bool invert = false) {
        WriteFile(folder / "in.psn", text);
        if (!engine.AddFile((folder / "in.psn").string())) {
            return ConversionStatus::Idle;
        }
        engine.SetFileOutputFormat(0, FileFormat::PSNINT);
        engine.SetFileOutputPath(0, (folder / "out.psn").string());
        engine.SetDataInversion(invert);
        engine.StartConversion();
        return engine.FileStatus(0);
    }

    TempFolder folder;
    RecordingHost host;
    ClsConverter engine{&host, folder.Path()};
};

TEST_F(PsnTest, SamplesCopyTextually) {
    const std::vector<std::string> samples = {"12",       "-3.5",        "0",          "1e3",
                                              "0.000001", "-2147483648", "99999999999"};
    ASSERT_EQ(Convert(PsnText({"Number of Samples: 7", "SPS: 20.5", "Comment: a, b"}, samples)),
              ConversionStatus::Success);
    EXPECT_EQ(SamplesOf(folder / "out.psn"), samples);
    const auto lines = ReadLines(folder / "out.psn");
    EXPECT_EQ(lines[0], "! PSN ASCII Event File Format 2.0");
    EXPECT_EQ(lines[3], "SPS: 20.5");
    EXPECT_EQ(lines[6], "Comment: a, b");
    EXPECT_EQ(lines[34], "File Format: PSNINT");
    EXPECT_EQ(ClsConverter::GuessFileFormat(folder / "out.psn"), FileFormat::PSNINT);
}

TEST_F(PsnTest, InversionNegatesEachSampleOnce) {
    ASSERT_EQ(
        Convert(PsnText({"Number of Samples: 5"}, {"12", "-3.5", "0", "-2147483648", "2.5e-7"}),
                true),
        ConversionStatus::Success);
    EXPECT_EQ(SamplesOf(folder / "out.psn"),
              (std::vector<std::string>{"-12", "3.5", "0", "2147483648", "-2.5e-07"}));
}

TEST_F(PsnTest, LowerCaseDataLineAndLfLineEnds) {
    ASSERT_EQ(Convert("! PSN ASCII Event File Format 2.0\nNumber of Samples: 2\ndata:\n4\n5\n"),
              ConversionStatus::Success);
    EXPECT_EQ(SamplesOf(folder / "out.psn"), (std::vector<std::string>{"4", "5"}));
}

TEST_F(PsnTest, WithoutADataLineTheOutputHasNoSamples) {
    ASSERT_EQ(Convert("! PSN ASCII Event File Format 2.0\r\nNumber of Samples: 2\r\n4\r\n"),
              ConversionStatus::Success);
    EXPECT_TRUE(SamplesOf(folder / "out.psn").empty());
}

TEST_F(PsnTest, AbortInTheSampleLoopIsNoError) {
    std::vector<std::string> samples(500, "7");
    host.onDoEvents = [&] {
        if (engine.FileProgress(0) >= 10) {
            engine.Abort();
        }
    };
    EXPECT_EQ(Convert(PsnText({"Number of Samples: 500"}, samples)), ConversionStatus::Aborted);
    EXPECT_TRUE(host.messages.empty());
    EXPECT_TRUE(std::filesystem::is_empty(engine.WorkFolder()));
}

// Hostile text never crashes: an endless line, binary noise after the signature.
TEST_F(PsnTest, MalformedInputFailsCleanly) {
    std::string noise = "! PSN ASCII Event File Format 2.0\nNumber of Samples: 3\nData:\n";
    for (int i = 0; i < 4096; ++i) {
        noise += static_cast<char>((i * 131) % 256);
    }
    EXPECT_EQ(Convert(noise, true), ConversionStatus::Failed);
    EXPECT_TRUE(std::filesystem::is_empty(engine.WorkFolder()));
}

} // namespace
} // namespace vibrex
