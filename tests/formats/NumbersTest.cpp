#include "formats/Numbers.h"

#include "engine/ChannelFile.h"
#include "formats/ChannelValues.h"
#include "support/TestSupport.h"

#include <charconv>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace vibrex::test {
namespace {

// 10^k - 1, 10^k and 10^k + 1 up to `limit`, with either sign; then `count` random values of
// every length, about equally often.
std::vector<std::int64_t> EdgesAndRandomValues(std::int64_t limit, int count) {
    std::vector<std::int64_t> values;
    for (std::int64_t power = 1; power <= limit; power *= 10) {
        for (const std::int64_t near :
             {power - 1, power, power + 1, 1 - power, -power, -power - 1}) {
            values.push_back(near);
        }
    }
    std::mt19937_64 random(7);
    for (int i = 0; i < count; ++i) {
        values.push_back(static_cast<std::int64_t>(random()) >> (random() % 64));
    }
    return values;
}

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

// ---- Numbers written as text: the fast forms give the general forms' very text ---------------

std::string ToCharsText(auto value) {
    char buffer[64];
    return std::string(buffer, std::to_chars(buffer, buffer + sizeof buffer, value).ptr);
}

TEST(NumberText, IntegersAsToCharsWritesThem) {
    std::vector<std::int64_t> values = EdgesAndRandomValues(1'000'000'000'000'000'000, 100000);
    values.push_back(std::numeric_limits<std::int64_t>::min());
    values.push_back(std::numeric_limits<std::int64_t>::max());
    for (const std::int64_t value : values) {
        char buffer[32];
        EXPECT_EQ(std::string(buffer, AppendInteger(buffer, value)), ToCharsText(value));
    }
}

// Whole floats are written as integer text, which must be the shortest text all the same.
TEST(NumberText, WholeFloatsAsTheirShortestText) {
    // Beside the loops' values: zero, fractions, the last whole float below 2^24, and wholes
    // beyond it.
    std::vector<float> values = {-0.0f, 0.5f, 16777215.5f, 16777215.0f, 16777218.0f, 2.0e9f};
    for (std::int32_t multiple = 0; multiple <= (1 << 24); multiple += 100000) {
        values.push_back(static_cast<float>(multiple));
    }
    for (std::int32_t whole = -(1 << 24); whole <= (1 << 24); whole += 997) {
        values.push_back(static_cast<float>(whole));
    }
    for (const float value : values) {
        for (const float signed_ : {value, -value}) {
            const std::string expected = signed_ == 0 ? "0" : ToCharsText(signed_); // never "-0"
            EXPECT_EQ(NumberToText(signed_), expected);
        }
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
            read.push_back(SampleFloat(sample));
        }
        EXPECT_EQ(read, values);
    }

    std::string text;
    std::vector<float> values;
};

// The last read fills the buffer only in part: behind it lie earlier lines, dense with line
// ends, which must not be taken for lines.
TEST(SampleLines, LastLineAfterAPartlyFilledBuffer) {
    SampleFile file;
    file.AddRandomLines(1u << 19, 3);
    for (int i = 0; i < 500000; ++i) {
        file.Add(i % 2 ? "5\n" : "-6\r\n", i % 2 ? 5.0f : -6.0f);
    }
    file.Add("7", 7); // without its line end
    file.ExpectReadBack();
}

TEST(SampleLines, LineLongerThanTheBuffer) {
    SampleFile file;
    file.AddRandomLines(1u << 19, 4);
    file.Add(std::string(3u << 20, ' ') + "-42\r\n", -42);
    file.AddRandomLines(2u << 20, 5);
    file.ExpectReadBack();
}

} // namespace
} // namespace vibrex::test
