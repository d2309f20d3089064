#pragma once

#include "engine/HeaderProperties.h"
#include "io/Numbers.h"

#include <cstdint>
#include <optional>
#include <string_view>

// The numbers a writer takes from an intermediate channel file. Text that is not a number fails
// the conversion with a detail naming it, rather than writing a made-up value.
namespace vibrex {

// An empty header value counts as absent, so the writer leaves its field untouched.
std::optional<double> HeaderNumber(const HeaderValues& values, int property);
std::optional<float> HeaderFloat(const HeaderValues& values, int property);
// Rounded half to even; a value beyond 32 bits fails as well.
std::optional<std::int32_t> HeaderWholeNumber(const HeaderValues& values, int property);

namespace detail {

// Sample text that is not a plain integer, read by the general parsers.
double GeneralSampleNumber(std::string_view text);
float GeneralSampleFloat(std::string_view text);
std::int32_t GeneralSampleWholeNumber(std::string_view text);

} // namespace detail

// One sample line, as a ChannelFileReader gives it (so with kReadAhead readable bytes after it).
// Inline: they run once for every sample, and sample lines are nearly always plain integers.
inline double SampleNumber(std::string_view text) {
    PlainInteger plain;
    return ParsePlainInteger(text, plain) ? plain.As<double>() : detail::GeneralSampleNumber(text);
}
inline float SampleFloat(std::string_view text) {
    PlainInteger plain;
    return ParsePlainInteger(text, plain) ? plain.As<float>() : detail::GeneralSampleFloat(text);
}
// Integer text exactly, other numbers rounded half to even; beyond 32 bits it fails as well.
inline std::int32_t SampleWholeNumber(std::string_view text) {
    PlainInteger plain; // at most 8 digits: it fits
    return ParsePlainInteger(text, plain) ? static_cast<std::int32_t>(plain.Value())
                                          : detail::GeneralSampleWholeNumber(text);
}

} // namespace vibrex
