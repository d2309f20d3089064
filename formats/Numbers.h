#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// Numbers in text, always with "." as decimal point whatever the user's locale.
namespace vibrex {

std::string_view TrimBlanks(std::string_view text);
std::string ToUpper(std::string_view text);

// The whole text (blanks around it allowed) as a number; nothing when it is not one.
std::optional<double> ParseNumber(std::string_view text);
// The same in single precision, read directly so that a float's shortest text reads back exactly.
std::optional<float> ParseFloat(std::string_view text);

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

// Appends the decimal text of a value to a buffer; returns the end. Buffers need 32 characters.
char* AppendInteger(char* out, std::int64_t value);
char* AppendNumber(char* out, double value);
char* AppendNumber(char* out, float value);

// A sample line as a 32-bit integer: integer text is read exactly, other numbers are rounded.
// Nothing when the line is not a number or does not fit.
std::optional<std::int32_t> ParseSampleInt32(std::string_view text);

} // namespace vibrex
