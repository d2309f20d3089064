#include "app/ModInfo.h"

#include "engine/ClsConverter.h"
#include "io/Numbers.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>

namespace vibrex {

namespace {

// The length of the UTF-8 sequence that starts at `text[at]`; 0 when none does.
std::size_t Utf8SequenceLength(std::string_view text, std::size_t at) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(at);
    std::size_t length = 0;
    unsigned minimum = 0;
    unsigned value = 0;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2, minimum = 0x80, value = lead & 0x1FU;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3, minimum = 0x800, value = lead & 0x0FU;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4, minimum = 0x10000, value = lead & 0x07U;
    } else {
        return 0;
    }
    if (at + length > text.size()) {
        return 0;
    }
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(at + i) & 0xC0U) != 0x80) {
            return 0;
        }
        value = (value << 6) | (byte(at + i) & 0x3FU);
    }
    const bool surrogate = value >= 0xD800 && value <= 0xDFFF;
    return value >= minimum && value <= 0x10FFFF && !surrogate ? length : 0;
}

std::string EscapedByte(unsigned char byte) {
    switch (byte) {
    case '"':
        return "\\\"";
    case '\\':
        return "\\\\";
    case '\n':
        return "\\n";
    case '\r':
        return "\\r";
    case '\t':
        return "\\t";
    default:
        break;
    }
    if (byte < 0x20 || byte >= 0x7F) {
        char escaped[7];
        std::snprintf(escaped, sizeof escaped, "\\u%04X", byte);
        return escaped;
    }
    return std::string(1, static_cast<char>(byte));
}

// A property's value on one line: line breaks inside it would split the property in two.
std::string OnOneLine(std::string value) {
    for (char& c : value) {
        if (c == '\r' || c == '\n') {
            c = ' ';
        }
    }
    return value;
}

std::string DescribeAsText(const ClsConverter& engine, int index) {
    std::string text = "File: " + engine.FilePath(index) + "\n";
    text += "Format: " + ClsConverter::FileFormatToString(engine.FileFormat(index)) + "\n";
    const int channels = engine.FileChannelsCount(index);
    text += "Channels: " + std::to_string(channels) + "\n";
    for (int channel = 0; channel < channels; ++channel) {
        text += "Channel " + std::to_string(channel + 1) + "\n";
        for (int property = 0; property < engine.HeaderPropertiesCount(); ++property) {
            text += "  " + ClsConverter::HeaderPropertyToString(property) + ": " +
                    OnOneLine(engine.HeaderProperty(index, channel, property)) + "\n";
        }
    }
    return text + "\n";
}

// The counts and rates, which scripts compute with; every other property is text.
constexpr std::array kNumericProperties = {kNumberOfSamples, kSps,         kAdConverterBits,
                                           kDataMaximum,     kDataMinimum, kChFilterPoles};

bool IsNumericProperty(int property) {
    return std::find(kNumericProperties.begin(), kNumericProperties.end(), property) !=
           kNumericProperties.end();
}

// An empty property is null, a numeric one a JSON number; a numeric property whose text is no
// number (a damaged header) stays text, so that nothing the file says is lost.
std::string JsonValue(int property, const std::string& value) {
    if (TrimBlanks(value).empty()) {
        return "null";
    }
    const std::optional<double> number =
        IsNumericProperty(property) ? ParseNumber(value) : std::nullopt;
    if (!number || !std::isfinite(*number)) {
        return JsonString(value);
    }
    char digits[32];
    const auto end = std::to_chars(digits, digits + sizeof digits, *number).ptr;
    return std::string(digits, end);
}

std::string DescribeAsJson(const ClsConverter& engine, int index) {
    std::string json = "{\"file\":" + JsonString(engine.FilePath(index));
    json += ",\"format\":" + JsonString(ClsConverter::FileFormatToString(engine.FileFormat(index)));
    const int channels = engine.FileChannelsCount(index);
    json += ",\"channels\":" + std::to_string(channels) + ",\"headers\":[";
    for (int channel = 0; channel < channels; ++channel) {
        json += channel == 0 ? "{" : ",{";
        for (int property = 0; property < engine.HeaderPropertiesCount(); ++property) {
            json += (property == 0 ? "" : ",") +
                    JsonString(ClsConverter::HeaderPropertyToString(property)) + ":" +
                    JsonValue(property, engine.HeaderProperty(index, channel, property));
        }
        json += "}";
    }
    return json + "]}\n";
}

} // namespace

std::string JsonString(std::string_view text) {
    std::string json = "\"";
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = Utf8SequenceLength(text, at);
        if (length > 0) {
            json.append(text.substr(at, length));
            at += length;
        } else {
            json += EscapedByte(static_cast<unsigned char>(text[at]));
            ++at;
        }
    }
    return json + "\"";
}

std::string DescribeFile(const ClsConverter& engine, int index, InfoStyle style) {
    return style == InfoStyle::Json ? DescribeAsJson(engine, index) : DescribeAsText(engine, index);
}

} // namespace vibrex
