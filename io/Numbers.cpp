#include "io/Numbers.h"

#include <charconv>
#include <cmath>
#include <limits>

namespace vibrex {

std::string ToUpper(std::string_view text) {
    std::string upper(text);
    for (char& c : upper) {
        if (c >= 'a' && c <= 'z') {
            c = static_cast<char>(c - 'a' + 'A');
        }
    }
    return upper;
}

namespace {

// from_chars rejects a leading "+", which people and other programs do write.
std::string_view SkipPlus(std::string_view text) {
    if (text.size() > 1 && text.front() == '+' && text[1] != '-') {
        text.remove_prefix(1);
    }
    return text;
}

template <typename T> std::optional<T> ParseEntire(std::string_view text) {
    text = SkipPlus(TrimBlanks(text));
    T value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || text.empty()) {
        return std::nullopt;
    }
    return value;
}

} // namespace

std::optional<double> ParseNumber(std::string_view text) {
    return ParseEntire<double>(text);
}

std::optional<float> ParseFloat(std::string_view text) {
    return ParseEntire<float>(text);
}

double LeadingNumber(std::string_view text) {
    while (!text.empty() && text.front() == ' ') {
        text.remove_prefix(1);
    }
    text = SkipPlus(text);
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() ? value : 0.0;
}

double RoundHalfEven(double value) {
    return std::nearbyint(value);
}

std::optional<std::int32_t> RoundToInt32(double value) {
    const double rounded = RoundHalfEven(value);
    if (!(rounded >= std::numeric_limits<std::int32_t>::min() &&
          rounded <= std::numeric_limits<std::int32_t>::max())) {
        return std::nullopt;
    }
    return static_cast<std::int32_t>(rounded);
}

std::string NumberToText(double value) {
    char buffer[32];
    return std::string(buffer, AppendNumber(buffer, value));
}

std::string NumberToText(float value) {
    char buffer[32];
    return std::string(buffer, AppendNumber(buffer, value));
}

char* AppendNumber(char* out, double value) {
    if (value == 0) {
        value = 0; // no "-0" in text files
    }
    return std::to_chars(out, out + 32, value).ptr;
}

char* detail::AppendShortestFloat(char* out, float value) {
    return std::to_chars(out, out + 32, value).ptr;
}

std::optional<std::int32_t> ParseSampleInt32(std::string_view text) {
    std::int32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error == std::errc() && end == text.data() + text.size() && !text.empty()) {
        return value;
    }
    const auto number = ParseNumber(text);
    if (!number) {
        return std::nullopt;
    }
    return RoundToInt32(*number);
}

} // namespace vibrex
