#pragma once

#include "engine/HeaderProperties.h"
#include "io/FileIO.h"
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
// The channel's sampling rate, for a format that must store one: a channel without a positive,
// finite rate fails, naming the format, rather than be written with a rate of 0.
double RequiredRate(const HeaderValues& values, std::string_view format);

namespace detail {

// Sample text that is not a plain integer, read by the general parsers.
double GeneralSampleNumber(std::string_view text);
float GeneralSampleFloat(std::string_view text);
std::int32_t GeneralSampleWholeNumber(std::string_view text);
bool CopyGeneralSample(OutputFile& out, std::string_view text, bool invert);

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

// A sample line that a text writer copies as it stands, once it is known to be a number.
inline std::string_view CheckedSampleText(std::string_view text) {
    static_cast<void>(SampleNumber(text));
    return text;
}

// A text reader's sample, copied into an intermediate channel file as it stands, or negated in
// the kind of number it was written as (12 gives -12, -3.5 gives 3.5). False, with nothing
// written, when the text is not a number. Needs kReadAhead readable bytes after the text.
inline bool CopySample(OutputFile& out, std::string_view text, bool invert) {
    PlainInteger plain;
    if (!ParsePlainInteger(text, plain)) {
        return detail::CopyGeneralSample(out, text, invert);
    }
    if (invert) {
        out.IntegerLine(-plain.Value());
    } else {
        out.LineWithReadAhead(text);
    }
    return true;
}

} // namespace vibrex
