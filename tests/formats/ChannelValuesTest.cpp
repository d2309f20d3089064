#include "formats/ChannelValues.h"

#include "engine/ChannelFile.h"
#include "io/Numbers.h"
#include "support/TestSupport.h"

#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace vibrex::test {
namespace {

// ---- Sample lines: the plain-integer reading agrees with the general parsers ----------------

// The sample reader gives the general parser's value to the bit (so "-0" stays negative) and
// fails exactly where it finds no value. The text lies in a buffer as a reader's lines do,
// followed by digits, which reading ahead must ignore.
template <typename T, typename General, typename Sample>
void ExpectSameAsGeneral(std::string_view text, General general, Sample sample) {
    const std::string buffer = std::string(text) + "98765432";
    const std::string_view buffered = std::string_view(buffer).substr(0, text.size());
    const auto expected = general(text);
    if (!expected) {
        EXPECT_THROW(sample(buffered), std::runtime_error) << '"' << text << '"';
        return;
    }
    const T value = sample(buffered);
    EXPECT_EQ(std::memcmp(&value, &*expected, sizeof value), 0) << '"' << text << '"';
}

void ExpectEverySampleReaderAgrees(std::string_view text) {
    ExpectSameAsGeneral<float>(text, ParseFloat, SampleFloat);
    ExpectSameAsGeneral<double>(text, ParseNumber, SampleNumber);
    ExpectSameAsGeneral<std::int32_t>(text, ParseSampleInt32, SampleWholeNumber);
}

TEST(SampleText, AwkwardTextReadsAsTheGeneralParsersReadIt) {
    // Separated by "|"; the last one is empty.
    std::string_view awkward =
        "-0|+0|+5|007|00000000|16777217|-16777217|2147483647|-2147483648|"
        "2147483648|99999999999999999999| 12 |1e3|1.5|.5|-|+|+-5|12a|1 2|nan|";
    for (std::size_t bar; (bar = awkward.find('|')) != std::string_view::npos;) {
        ExpectEverySampleReaderAgrees(awkward.substr(0, bar));
        awkward.remove_prefix(bar + 1);
    }
    ExpectEverySampleReaderAgrees(awkward);
    for (const std::int64_t value : EdgesAndRandomValues(1'000'000'000'000, 20000)) {
        ExpectEverySampleReaderAgrees(std::to_string(value));
    }
}

// ---- Lines: found across blocks, refills and growth, with the read-ahead room kept ---------

// A text of sample lines and the values they hold. Blanks before some samples make lines that
// span whole blocks of the reader.
struct SampleFile {
    void AddRandomLines(std::size_t size, unsigned seed) {
        std::mt19937 random(seed);
        while (text.size() < size) {
            const auto value = static_cast<std::int32_t>(random()) >> (random() % 32);
            const std::string blanks(random() % 8 == 0 ? random() % 200 : 0, ' ');
            Add(blanks + std::to_string(value) + (random() % 2 ? "\r\n" : "\n"), value);
        }
    }
    void Add(const std::string& line, float value) {
        text += line;
        values.push_back(value);
    }
    void ExpectReadBack() const {
        TempFolder folder;
        WriteFile(folder / "samples.txt", "Data: \r\n" + text);
        ChannelFileReader reader(folder / "samples.txt");
        std::vector<float> read;
        for (std::string_view sample; reader.NextSample(sample);) {
            EXPECT_EQ(sample.find_first_of("\r\n"), std::string_view::npos) << "a line end kept";
            read.push_back(SampleFloat(sample));
        }
        EXPECT_EQ(read, values);
    }

    std::string text;
    std::vector<float> values;
};

// The last read may fill the buffer only in part: behind it lie earlier lines, dense with line
// ends, which must not be taken for lines. It may bring a single byte, the last line end. A line
// may be longer than the whole buffer.
TEST(SampleLines, PartlyFilledBufferAndLineLongerThanTheBuffer) {
    SampleFile partly;
    partly.AddRandomLines(1u << 19, 3);
    for (int i = 0; i < 500000; ++i) {
        partly.Add(i % 2 ? "5\n" : "-6\r\n", i % 2 ? 5.0f : -6.0f);
    }
    partly.Add("7", 7); // without its line end
    partly.ExpectReadBack();

    SampleFile oneByteMore; // "Data: \r\n" and these lines make 2^20 + 1 bytes, the buffer's size
    for (int i = 0; i < ((1 << 20) - 7) / 3; ++i) {
        oneByteMore.Add("1\r\n", 1);
    }
    oneByteMore.ExpectReadBack();

    SampleFile longLine;
    longLine.AddRandomLines(1u << 19, 4);
    longLine.Add(std::string(3u << 20, ' ') + "-42\r\n", -42);
    longLine.AddRandomLines(2u << 20, 5);
    longLine.ExpectReadBack();
}

} // namespace
} // namespace vibrex::test
