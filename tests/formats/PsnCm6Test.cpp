#include "formats/ConversionTest.h"

namespace vibrex::test {
namespace {

using PsnCm6 = ConversionTest;

// The file has its own first line, the DATA: line, full 80-character lines and the checksum at
// the end; the widest steps come back exactly, the file format named as PSNCM6.
TEST_F(PsnCm6, WrittenLayoutAndRoundTrip) {
    SampleList samples = RandomWalk(3000, 32, 4);
    samples.insert(samples.begin(), {kMax, kMin, kMax, 0, kMin, -1, kMax});
    const auto cm6 =
        Converted(PsnInput("in.psn", samples), FileFormat::PSNCM6, m_folder / "cm6.psn");
    const auto lines = ReadLines(cm6);
    EXPECT_EQ(lines.front(), "! PSN ASCII CM6 File Format 2.0");
    const auto data = std::find(lines.begin(), lines.end(), "DATA:");
    ASSERT_NE(data, lines.end());
    for (auto line = data + 1; line < lines.end() - 2; ++line) {
        EXPECT_EQ(line->size(), 80u);
    }
    EXPECT_TRUE(lines.back().starts_with("CHK2 ")) << lines.back();
    const auto back = Converted(cm6, FileFormat::PSNINT, m_folder / "back.psn");
    EXPECT_EQ(PsnSamples(back), samples);
    EXPECT_EQ(ReadLines(back)[34], "File Format: PSNCM6");
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
