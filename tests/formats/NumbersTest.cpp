#include "formats/Numbers.h"

#include "engine/ChannelFile.h"
#include "formats/ChannelValues.h"
#include "formats/FileIO.h"
#include "support/TestSupport.h"

#include <bit>
#include <charconv>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace vibrex::test {
namespace {

// ---- Sample lines: the plain-integer reading agrees with the general parsers ----------------

// A sample's text as a reader's buffer holds it: more text follows, which reading ahead must
// ignore. Digits are the most misleading bytes to find there.
class BufferedText {
public:
    explicit BufferedText(std::string_view text) : m_bytes(std::string(text) + "98765432") {}
    std::string_view Text() const {
        return std::string_view(m_bytes).substr(0, m_bytes.size() - 8);
    }

private:
    std::string m_bytes;
};

template <typename T> std::uint64_t Bits(T value) {
    if constexpr (sizeof(T) == 4) {
        return std::bit_cast<std::uint32_t>(value);
    } else {
        return std::bit_cast<std::uint64_t>(value);
    }
}

// The sample reader gives the general parser's value to the bit (so "-0" stays negative), and
// fails exactly where the general parser finds no value.
template <typename T, typename General, typename Sample>
void ExpectSameAsGeneral(std::string_view text, General general, Sample sample) {
    const BufferedText buffered(text);
    const auto expected = general(text);
    if (!expected) {
        EXPECT_THROW(sample(buffered.Text()), std::runtime_error) << '"' << text << '"';
        return;
    }
    T value{};
    ASSERT_NO_THROW(value = sample(buffered.Text())) << '"' << text << '"';
    EXPECT_EQ(Bits(value), Bits(*expected)) << '"' << text << '"';
}

void ExpectEverySampleReaderAgrees(std::string_view text) {
    ExpectSameAsGeneral<float>(text, ParseFloat, SampleFloat);
    ExpectSameAsGeneral<double>(text, ParseNumber, SampleNumber);
    ExpectSameAsGeneral<std::int32_t>(text, ParseSampleInt32, SampleWholeNumber);
}

TEST(SampleText, AwkwardTextReadsAsTheGeneralParsersReadIt) {
    const char* const texts[] = {
        "0",           "-0",
        "+0",          "+5",
        "-5",          "007",
        "-007",        "00000000",
        "9",           "99999999",
        "-99999999",   "100000000",
        "-100000000",  "16777216",
        "16777217",    "-16777217",
        "16777219",    "2147483647",
        "-2147483648", "2147483648",
        "-2147483649", "99999999999999999999",
        " 12 ",        "12 ",
        "1e3",         "1.5",
        "-0.0",        ".5",
        "-",           "+",
        "+-5",         "-+5",
        "--5",         "12a",
        "a12",         "1 2",
        "0x10",        "1/2",
        "1:2",         "nan",
        "inf",         "",
    };
    for (const char* text : texts) {
        ExpectEverySampleReaderAgrees(text);
    }
}

TEST(SampleText, IntegersAcrossTheRangeReadExactly) {
    std::vector<std::int64_t> values;
    for (std::int64_t power = 1; power <= 1'000'000'000; power *= 10) {
        for (const std::int64_t near : {power - 1, power, power + 1}) {
            values.push_back(near);
            values.push_back(-near);
        }
    }
    for (std::int64_t offset = -3; offset <= 3; ++offset) {
        values.push_back((std::int64_t{1} << 24) + offset);
        values.push_back(-(std::int64_t{1} << 24) + offset);
    }
    values.push_back(std::numeric_limits<std::int32_t>::max());
    values.push_back(std::numeric_limits<std::int32_t>::min());
    std::mt19937 random(7);
    for (int i = 0; i < 20000; ++i) {
        // Every length from 1 to 10 digits, about equally often.
        values.push_back(static_cast<std::int32_t>(random()) >> (random() % 32));
    }
    for (const std::int64_t value : values) {
        ExpectEverySampleReaderAgrees(std::to_string(value));
    }
}

// ---- Numbers written as text: the fast forms give the general forms' very text ---------------

std::string ToCharsText(auto value) {
    char buffer[64];
    return std::string(buffer, std::to_chars(buffer, buffer + sizeof buffer, value).ptr);
}

TEST(NumberText, IntegersAsToCharsWritesThem) {
    std::vector<std::int64_t> values = {std::numeric_limits<std::int64_t>::min(),
                                        std::numeric_limits<std::int64_t>::max()};
    for (std::int64_t power = 1; power <= 1'000'000'000'000'000'000; power *= 10) {
        for (const std::int64_t near : {power - 1, power, power + 1}) {
            values.push_back(near);
            values.push_back(-near);
        }
    }
    std::mt19937_64 random(11);
    for (int i = 0; i < 100000; ++i) { // every length, about equally often
        values.push_back(static_cast<std::int64_t>(random()) >> (random() % 64));
    }
    for (const std::int64_t value : values) {
        char buffer[32];
        EXPECT_EQ(std::string(buffer, AppendInteger(buffer, value)), ToCharsText(value));
    }
}

// Whole floats are written as integer text, which must be the shortest text all the same.
void ExpectShortestText(float value) {
    const std::string expected = value == 0 ? "0" : ToCharsText(value); // never "-0"
    EXPECT_EQ(NumberToText(value), expected) << expected;
}

TEST(NumberText, WholeFloatsAsTheirShortestText) {
    const float edges[] = {0.0f,        -0.0f,       1.0f,        99999.0f,    100000.0f,
                           110000.0f,   1100000.0f,  12000000.0f, 16777215.0f, 16777216.0f,
                           16777218.0f, 33554432.0f, 2.0e9f,      0.5f,        16777215.5f};
    for (const float edge : edges) {
        ExpectShortestText(edge);
        ExpectShortestText(-edge);
    }
    for (std::int32_t multiple = 0; multiple <= (1 << 24); multiple += 100000) {
        ExpectShortestText(static_cast<float>(multiple));
    }
    for (std::int32_t whole = -(1 << 24); whole <= (1 << 24); whole += 997) {
        ExpectShortestText(static_cast<float>(whole));
    }
}

// ---- Lines: found across blocks, refills and growth, with the read-ahead room kept ---------

class SampleFile {
public:
    // Lines of random samples up to `size` bytes; blanks before some of them make lines that
    // span whole blocks of the reader.
    void AddRandomLines(std::size_t size, unsigned seed) {
        std::mt19937 random(seed);
        while (m_text.size() < size) {
            const auto value = static_cast<std::int32_t>(random()) >> (random() % 32);
            const std::string blanks(random() % 8 == 0 ? random() % 200 : 0, ' ');
            Add(blanks + std::to_string(value) + (random() % 2 ? "\r\n" : "\n"), value);
        }
    }
    void Add(const std::string& line, float value) {
        m_text += line;
        m_expected.push_back(value);
    }
    void ExpectReadBack() const {
        TempFolder folder;
        WriteFile(folder / "samples.txt", "Data: \r\n" + m_text);
        ChannelFileReader reader(folder / "samples.txt");
        std::vector<float> samples;
        std::string_view sample;
        while (reader.NextSample(sample)) {
            samples.push_back(SampleFloat(sample));
        }
        EXPECT_EQ(samples, m_expected);
    }

private:
    std::string m_text;
    std::vector<float> m_expected;
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
