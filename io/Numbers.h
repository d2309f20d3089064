#pragma once

#include "io/ByteOrder.h"

#include <bit>
#include <charconv>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// Numbers in text, always with "." as decimal point whatever the user's locale.
namespace vibrex {

// Inline, as are the other helpers here that run once for every sample of a recording. Blanks
// all sort at or below ' ': text that neither starts nor ends with one, as nearly every sample
// line, is returned after one comparison at each end.
inline std::string_view TrimBlanks(std::string_view text) {
    if (!text.empty() && text.front() > ' ' && text.back() > ' ') {
        return text;
    }
    const auto isBlank = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
    while (!text.empty() && isBlank(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && isBlank(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

std::string ToUpper(std::string_view text);

// The whole text (blanks around it allowed) as a number; nothing when it is not one.
std::optional<double> ParseNumber(std::string_view text);
// The same in single precision, read directly so that a float's shortest text reads back exactly.
std::optional<float> ParseFloat(std::string_view text);

// Sample text is read a word at a time, which looks up to this many bytes past its end: it must
// lie in a buffer with that much room after it, as every line of a LineReader does.
constexpr std::size_t kReadAhead = 8;

// Integer text in its plainest form: an optional sign and 1 to 8 digits, nothing around them.
// Sample lines nearly always are. Reading them a word at a time, with no branch on their length
// or sign (both vary unpredictably from line to line), is several times faster than a general
// parser and gives the very same value.
struct PlainInteger {
    std::int64_t magnitude = 0;
    int sign = 1;

    std::int64_t Value() const { return magnitude * sign; }
    // Converting an integer rounds to nearest even, exactly as reading its text does; the sign
    // comes after, so that "-0" stays a negative zero.
    template <typename T> T As() const { return static_cast<T>(magnitude) * static_cast<T>(sign); }
};

namespace detail {

// The value of eight decimal digits, one per byte, the most significant in the lowest byte:
// pairs, then quads, then the halves are combined, all lanes at once.
inline std::uint64_t EightDigitsValue(std::uint64_t digits) {
    digits = digits * 10 + (digits >> 8);
    return ((digits & 0x000000FF000000FF) * (100 + (std::uint64_t{1000000} << 32)) +
            ((digits >> 16) & 0x000000FF000000FF) * (1 + (std::uint64_t{10000} << 32))) >>
           32;
}

} // namespace detail

// Needs kReadAhead readable bytes after the text.
inline bool ParsePlainInteger(std::string_view text, PlainInteger& number) {
    if (text.empty()) {
        return false;
    }
    const bool negative = text.front() == '-';
    const std::size_t signLength = negative | (text.front() == '+');
    const std::size_t digitCount = text.size() - signLength;
    if (digitCount - 1 >= 8) { // none, or too many
        return false;
    }
    // The digits' values moved to the high bytes, as if led by zeros; what followed drops out.
    const auto word = LoadAs<std::uint64_t>(
        reinterpret_cast<const unsigned char*>(text.data() + signLength), ByteOrder::Little);
    const std::uint64_t digits = (word - 0x3030303030303030) << (8 * (8 - digitCount));
    // A byte that was not a digit has its high bit set, as it is or once 0x76 is added.
    if (((digits + 0x7676767676767676) | digits) & 0x8080808080808080) {
        return false;
    }
    number.magnitude = static_cast<std::int64_t>(detail::EightDigitsValue(digits));
    number.sign = 1 - 2 * negative;
    return true;
}

// The number the text starts with (leading blanks skipped, reading stops at the first character
// that cannot continue it); 0 when the text does not start with a number.
double LeadingNumber(std::string_view text);

// Round half to even, as every whole-number conversion of the system does.
double RoundHalfEven(double value);

// A number rounded to a 32-bit integer; nothing when it does not fit.
std::optional<std::int32_t> RoundToInt32(double value);

// Shortest text that reads back as exactly the same value.
std::string NumberToText(double value);
std::string NumberToText(float value);

namespace detail {

// Splits every lane of `lanes` into a lane of half the width above it, holding the remainder
// by `divisor`, below the quotient: high | (lanes - high * divisor) << width, with one multiply
// fewer on the way, as samples are formatted by the million.
inline std::uint64_t SplitLanes(std::uint64_t lanes, std::uint64_t high, std::uint64_t divisor,
                                int width) {
    return (lanes << width) + high * (1 - (divisor << width));
}

// The four decimal digits of each 32-bit lane (below 10^4), one per byte, the most significant
// in the lowest byte: each lane is split into pairs, then single digits, all lanes at once.
inline std::uint64_t FourDigitLanes(std::uint64_t lanes) {
    lanes = SplitLanes(lanes, (lanes * 10486 >> 20) & 0x0000007F0000007F, 100, 16); // lane / 100
    return SplitLanes(lanes, (lanes * 103 >> 10) & 0x000F000F000F000F, 10, 8);      // lane / 10
}

// Appends the last `count` of `digits` (as FourDigitLanes gives them) without the leading zeros,
// which sit in the low bytes, keeping the last digit even when it is 0. Writes 8 bytes.
template <int count> char* AppendDigits(char* out, std::uint64_t digits) {
    const int leadingZeros = std::countr_zero(digits | std::uint64_t{1} << (8 * (count - 1))) / 8;
    StoreAs(reinterpret_cast<unsigned char*>(out),
            (digits | 0x3030303030303030) >> (8 * leadingZeros), ByteOrder::Little);
    return out + count - leadingZeros;
}

} // namespace detail

// Appends the decimal text of a value to a buffer; returns the end. Buffers need 32 characters.
// Inline: it runs once for every sample of a recording. Signs vary unpredictably, so none is
// branched on; magnitudes stay in one range for stretches of a recording, so values below 10^4
// take the shorter work of four digits.
inline char* AppendInteger(char* out, std::int64_t value) {
    *out = '-';
    out += value < 0;
    const std::uint64_t magnitude =
        value < 0 ? 0 - static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value);
    if (magnitude < 10000) {
        return detail::AppendDigits<4>(out, detail::FourDigitLanes(magnitude));
    }
    if (magnitude < 100000000) {
        const std::uint64_t halves = detail::SplitLanes(magnitude, magnitude / 10000, 10000, 32);
        return detail::AppendDigits<8>(out, detail::FourDigitLanes(halves));
    }
    return std::to_chars(out, out + 24, magnitude).ptr;
}
char* AppendNumber(char* out, double value);

namespace detail {

// Counts from digitisers are whole numbers. Up to 2^24 a whole float's shortest text is its
// integer text (zero written without sign), except for multiples of 100000, where "1e+05" and
// the like are shorter.
inline bool IsPlainWholeFloat(float value) {
    constexpr float kLimit = 16777216.0f;
    if (!(value <= kLimit && value >= -kLimit)) {
        return false;
    }
    const auto whole = static_cast<std::int32_t>(value);
    return static_cast<float>(whole) == value && (whole % 100000 != 0 || whole == 0);
}

char* AppendShortestFloat(char* out, float value);

} // namespace detail

// Inline: samples of float formats are written by the million, nearly all of them whole.
inline char* AppendNumber(char* out, float value) {
    if (detail::IsPlainWholeFloat(value)) {
        return AppendInteger(out, static_cast<std::int32_t>(value));
    }
    return detail::AppendShortestFloat(out, value);
}

// A sample line as a 32-bit integer: integer text is read exactly, other numbers are rounded.
// Nothing when the line is not a number or does not fit.
std::optional<std::int32_t> ParseSampleInt32(std::string_view text);

} // namespace vibrex
