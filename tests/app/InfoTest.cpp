#include "app/ModInfo.h"

#include <gtest/gtest.h>

namespace vibrex::test {
namespace {

// Whatever bytes a header holds, the result must be one valid JSON string in UTF-8.
TEST(JsonString, EscapesWhatJsonForbidsAndKeepsOnlyValidUtf8) {
    const std::pair<std::string, std::string> cases[] = {
        {"", "\"\""},
        {"say \"hi\" C:\\data", "\"say \\\"hi\\\" C:\\\\data\""},
        {"a\r\nb\tc", "\"a\\r\\nb\\tc\""},
        {std::string("\x00\x01\x1F\x7F", 4), "\"\\u0000\\u0001\\u001F\\u007F\""},
        {"caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x8C\x8B",
         "\"caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x8C\x8B\""},
        // the first and last code point of each length
        {"\xC2\x80 \xDF\xBF \xE0\xA0\x80 \xEF\xBF\xBF \xF0\x90\x80\x80 \xF4\x8F\xBF\xBF",
         "\"\xC2\x80 \xDF\xBF \xE0\xA0\x80 \xEF\xBF\xBF \xF0\x90\x80\x80 \xF4\x8F\xBF\xBF\""},
        {"caf\xE9", "\"caf\\u00E9\""},      // Latin-1: a sequence cut short
        {"\xC3(", "\"\\u00C3(\""},          // continuation missing
        {"\xC0\xAF", "\"\\u00C0\\u00AF\""}, // overlong
        {"\xE0\x9F\xBF", "\"\\u00E0\\u009F\\u00BF\""},
        {"\xF0\x8F\xBF\xBF", "\"\\u00F0\\u008F\\u00BF\\u00BF\""},
        {"\xED\xA0\x80", "\"\\u00ED\\u00A0\\u0080\""}, // surrogates
        {"\xED\xBF\xBF", "\"\\u00ED\\u00BF\\u00BF\""},
        {"\xF4\x90\x80\x80", "\"\\u00F4\\u0090\\u0080\\u0080\""}, // beyond U+10FFFF
        {"\x80", "\"\\u0080\""},                                  // lone continuation
    };
    for (const auto& [text, json] : cases) {
        EXPECT_EQ(JsonString(text), json) << text;
    }
}

} // namespace
} // namespace vibrex::test
