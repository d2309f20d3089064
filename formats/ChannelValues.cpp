#include "formats/ChannelValues.h"

#include "io/Numbers.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>

namespace vibrex {

namespace {

[[noreturn]] void FailUnreadable(std::string_view what, std::string_view text,
                                 std::string_view expected) {
    std::string detail(what);
    detail += " \"";
    detail += text;
    detail += "\" is not ";
    detail += expected;
    detail += '.';
    throw std::runtime_error(detail);
}

[[noreturn]] void FailHeaderValue(const HeaderValues& values, int property,
                                  std::string_view expected) {
    FailUnreadable("The header value",
                   std::string(HeaderPropertyLabel(property)) +
                       values[static_cast<std::size_t>(property)],
                   expected);
}

template <typename T, std::optional<T> (*parse)(std::string_view)>
std::optional<T> ParsedHeaderValue(const HeaderValues& values, int property) {
    const std::string& text = values[static_cast<std::size_t>(property)];
    if (TrimBlanks(text).empty()) {
        return std::nullopt;
    }
    const auto value = parse(text);
    if (!value) {
        FailHeaderValue(values, property, "a number");
    }
    return value;
}

template <typename T, std::optional<T> (*parse)(std::string_view)>
T ParsedSample(std::string_view text, std::string_view expected = "a number") {
    const auto value = parse(text);
    if (!value) {
        FailUnreadable("The sample", text, expected);
    }
    return *value;
}

} // namespace

std::optional<double> HeaderNumber(const HeaderValues& values, int property) {
    return ParsedHeaderValue<double, ParseNumber>(values, property);
}

double RequiredRate(const HeaderValues& values, std::string_view format) {
    const auto rate = HeaderNumber(values, kSps);
    if (!rate || !(*rate > 0) || !std::isfinite(*rate)) {
        throw std::runtime_error(std::string(format) + " needs a sampling rate; the channel has " +
                                 (rate ? "\"" + values[kSps] + "\"." : std::string("none.")));
    }
    return *rate;
}

std::optional<float> HeaderFloat(const HeaderValues& values, int property) {
    return ParsedHeaderValue<float, ParseFloat>(values, property);
}

std::optional<std::int32_t> HeaderWholeNumber(const HeaderValues& values, int property) {
    const auto number = HeaderNumber(values, property);
    if (!number) {
        return std::nullopt;
    }
    const auto whole = RoundToInt32(*number);
    if (!whole) {
        FailHeaderValue(values, property, "a 32-bit whole number");
    }
    return whole;
}

namespace detail {

double GeneralSampleNumber(std::string_view text) {
    return ParsedSample<double, ParseNumber>(text);
}

float GeneralSampleFloat(std::string_view text) {
    return ParsedSample<float, ParseFloat>(text);
}

std::int32_t GeneralSampleWholeNumber(std::string_view text) {
    return ParsedSample<std::int32_t, ParseSampleInt32>(text, "a 32-bit whole number");
}

bool CopyGeneralSample(OutputFile& out, std::string_view text, bool invert) {
    if (!invert) {
        if (!ParseNumber(text)) {
            return false;
        }
        out.Line(text);
        return true;
    }
    std::int64_t integer = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), integer);
    if (error == std::errc() && end == text.data() + text.size() &&
        integer != std::numeric_limits<std::int64_t>::min()) {
        out.IntegerLine(-integer);
        return true;
    }
    const auto number = ParseNumber(text);
    if (!number) {
        return false;
    }
    out.NumberLine(-*number);
    return true;
}

} // namespace detail

} // namespace vibrex
