#include "formats/Numbers.h"

#include <charconv>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <vector>

namespace vibrex::test {
namespace {

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

} // namespace
} // namespace vibrex::test
