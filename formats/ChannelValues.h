#pragma once

#include "engine/HeaderProperties.h"

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

// One sample line, as a ChannelFileReader gives it (so with kReadAhead readable bytes after it).
double SampleNumber(std::string_view text);
float SampleFloat(std::string_view text);
// Integer text exactly, other numbers rounded half to even; beyond 32 bits it fails as well.
std::int32_t SampleWholeNumber(std::string_view text);

} // namespace vibrex
