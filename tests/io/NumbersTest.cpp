#include "io/Numbers.h"

#include "support/TestSupport.h"

#include <charconv>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vibrex::test {
namespace {

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
    // Beside the loops' values: zero, fractions, the last whole float below 2^24, wholes beyond
    // it, and the values that are no number at all.
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
    std::vector<float> values = {-0.0f,       0.5f,   16777215.5f, 16777215.0f,
                                 16777218.0f, 2.0e9f, kInfinity,   kNaN};
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

// Blanks are spaces, tabs and line ends, at either end; other characters, even below ' ', stay.
TEST(NumberText, TrimsBlanksAtEitherEnd) {
    const std::pair<std::string_view, std::string_view> cases[] = {
        {"-12", "-12"}, {" 7", "7"},    {"7\t", "7"},       {"\r\n 3 \t", "3"}, {"   ", ""},
        {"", ""},       {"1 2", "1 2"}, {"\0015", "\0015"}, {"5\177", "5\177"},
    };
    for (const auto& [text, trimmed] : cases) {
        EXPECT_EQ(TrimBlanks(text), trimmed) << text;
    }
}

} // namespace
} // namespace vibrex::test
