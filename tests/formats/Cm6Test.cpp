#include "formats/Cm6.h"

#include "formats/ConversionTest.h"

#include <stdexcept>

namespace vibrex::test {
namespace {

// Sign, continuation and magnitude bits, hand-checked: 34 = 1·32 + 2 starts with 1 + 16 + 32;
// 511 is the largest two characters hold, 1000 needs 10 bits, so three characters; 2^29 - 1 is
// the largest six hold, and ±2^33 (the widest second difference of 32-bit samples) takes seven.
TEST(Cm6, CharactersOfSecondDifferences) {
    const std::pair<std::int64_t, std::string> cases[] = {
        {0, "+"},
        {1, "-"},
        {15, "D"},
        {-15, "T"},
        {16, "UE"},
        {-34, "l0"},
        {48, "VE"},
        {511, "jT"},
        {-512, "kk+"},
        {1000, "Uz6"},
        {(1 << 29) - 1, "jzzzzT"},
        {1 << 29, "UkUUUU+"},
        {std::int64_t{1} << 33, "cUUUUU+"},
        {-(std::int64_t{1} << 33), "sUUUUU+"},
    };
    for (const auto& [difference, expected] : cases) {
        char text[kLongestCm6Value];
        EXPECT_EQ(std::string(text, AppendCm6Value(difference, text)), expected) << difference;
    }
}

TEST(Cm6, RefusesTextBeyondTheAlphabetOr32Bits) {
    const std::pair<std::string, std::string> cases[] = {
        {"AB#C", "The character \"#\" (code 35) is not CM6 text"},
        {"A\x80", "(code 128) is not CM6 text"},
        {"UUUUUUUU", "runs over more than 7 characters"},
        {"cUUUUU+", "A CM6 sample overflows 32 bits"}, // 2^33 at once
        {"WUUUUU+", "A CM6 sample overflows 32 bits"}, // 2^31
    };
    for (const auto& [text, message] : cases) {
        Cm6Decoder decoder;
        std::int32_t out[16];
        try {
            decoder.Decode(text, out, 16);
            ADD_FAILURE() << text;
        } catch (const std::runtime_error& error) {
            EXPECT_NE(std::string(error.what()).find(message), std::string::npos) << error.what();
        }
    }
    std::int32_t out[4];
    ASSERT_EQ(Cm6Decoder().Decode("mUUUUU+", out, 4), 1u); // -2^31 itself is a sample
    EXPECT_EQ(out[0], kMin);
    // Lines as a LineReader gives them, with room to read ahead after them.
    const auto decode = [&out](std::string line) {
        const std::size_t length = line.size();
        line.resize(length + kReadAhead, ' ');
        return DecodeIntegers(std::string_view(line).substr(0, length), out, 4);
    };
    EXPECT_EQ(decode(" -5\t2147483647 -00000012 -2147483648  "), 4u);
    EXPECT_EQ(SampleList(out, out + 4), (SampleList{-5, kMax, -12, kMin}));
    for (const char* line : {"1 2x", "2147483648", "1.5", "+1", "-", "1-2"}) {
        EXPECT_THROW(decode(line), std::runtime_error) << line;
    }
}

// Truncating remainders in 32 bits, the sign dropped at the end.
TEST(Cm6, Checksum) {
    const std::pair<SampleList, std::int32_t> cases[] = {
        {{12, -10, 16, 33, 9}, 60}, {{99999999, 1}, 0},       {{-100000005, 3}, 2},
        {{kMax}, 47483647},         {{kMin, kMin}, 94967296}, {{-60000000, -60000000}, 20000000},
    };
    for (const auto& [samples, expected] : cases) {
        Gse2Checksum checksum;
        for (const std::int32_t sample : samples) {
            checksum.Add(sample);
        }
        EXPECT_EQ(checksum.Value(), expected);
    }
}

} // namespace
} // namespace vibrex::test
