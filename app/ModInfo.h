#pragma once

#include <string>
#include <string_view>

// The INFO verb: what a recording is, read from its header alone.
namespace vibrex {

class ClsConverter;

enum class InfoStyle { Text, Json };

// `text` as a JSON string literal. Bytes that do not form UTF-8 are taken as Latin-1, as the
// older formats' header texts are, so the result is always valid UTF-8.
std::string JsonString(std::string_view text);

// The engine's file `index`: its format, channel count and every channel's header properties.
// Text gives one line per property and a blank line after the file; JSON one object on one line.
std::string DescribeFile(const ClsConverter& engine, int index, InfoStyle style);

} // namespace vibrex
