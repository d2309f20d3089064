#include "formats/ConversionTest.h"

#include <gtest/gtest.h>
#include <limits>

namespace vibrex::test {
namespace {

constexpr std::int32_t kMin = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kMax = std::numeric_limits<std::int32_t>::max();

using PsnCm6 = ConversionTest;

// Every sample and every header line comes back through PSNCM6; the file has its own first
// line, the DATA: line, full 80-character lines and the checksum at the end.
TEST_F(PsnCm6, RoundTripKeepsSamplesAndHeader) {
    SampleList samples = {kMax, kMin, kMax, 0, kMin, -1, kMax};
    samples.insert(samples.end(), 300, 0);
    const SampleList walk = RandomWalk(3000, 32, 4);
    samples.insert(samples.end(), walk.begin(), walk.end());
    const auto input =
        PsnInput("in.psn", samples,
                 {"Start Time: 2021/07/04 10:00:00.5", "SPS: 40", "Station Code: ABC",
                  "Comment: kept, with a comma", "Sensor Orientation: N",
                  "Sensor Location: Kona Hawaii", "Ch Gain: 2.5"});
    ASSERT_EQ(ConvertOne(input, FileFormat::PSNCM6, m_folder / "cm6.psn"),
              ConversionStatus::Success);
    const auto lines = ReadLines(m_folder / "cm6.psn");
    EXPECT_EQ(lines.front(), "! PSN ASCII CM6 File Format 2.0");
    const auto data = std::find(lines.begin(), lines.end(), "DATA:");
    ASSERT_NE(data, lines.end());
    for (auto line = data + 1; line < lines.end() - 2; ++line) {
        EXPECT_EQ(line->size(), 80u);
    }
    EXPECT_TRUE(lines.back().starts_with("CHK2 ")) << lines.back();

    ASSERT_EQ(ConvertOne(m_folder / "cm6.psn", FileFormat::PSNINT, m_folder / "back.psn"),
              ConversionStatus::Success);
    ASSERT_EQ(ConvertOne(input, FileFormat::PSNINT, m_folder / "direct.psn"),
              ConversionStatus::Success);
    auto back = ReadLines(m_folder / "back.psn"), direct = ReadLines(m_folder / "direct.psn");
    ASSERT_EQ(back.size(), direct.size());
    EXPECT_EQ(back[34], "File Format: PSNCM6");
    back[34] = direct[34];
    EXPECT_EQ(back, direct);
}

// Faults give their text and line, when the file is added or when it is converted; other
// spellings of the fixed lines load.
TEST_F(PsnCm6, BrokenFilesGiveTheirText) {
    const std::string top = "! PSN ASCII CM6 File Format 2.0\nSPS: 100\n";
    const std::string header = top + "Number of Samples: 5\nDATA:\n";
    const std::pair<std::string, std::string> cases[] = {
        {header + "Al0VENl7\nCHK2       61\n",
         "The checksum in the file, 61, does not match the checksum of its samples, 60 (6)."},
        {header + "Al0VEN\n", "The file ends after 4 of the 5 samples announced (5)."},
        {header + "Al0VENl7\n", "The file ends before its CHK2 line (5)."},
        {top + "Number of Samples: 5.5\nDATA:\nAl0VENl7\nCHK2 60\n",
         "The Number of Samples \"5.5\" is not a whole number, which CM6 text needs (4)."},
        {top + "Number of Samples: 5\nAl0VENl7\n", "The file has no DATA: line (4)."},
        {"! PSN ASCII CM6 File Format 2.0\r\nNumber of Samples: 5\r\ndata:\r\nAl0VENl7  \r\n"
         "\r\nchk2\t-60\r\n",
         ""},
    };
    for (const auto& [text, message] : cases) {
        ExpectFault("bad.psn", text, message);
    }
    EXPECT_EQ(ReadSamples(m_folder / "bad.psn"), (SampleList{12, -10, 16, 33, 9}));
}

} // namespace
} // namespace vibrex::test
