#include "formats/Cm6.h"

#include "formats/ChannelValues.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cstdio>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>

namespace vibrex {

namespace {

constexpr std::uint8_t kNotCm6 = 0xFF;
constexpr std::uint8_t kLineEnd = 0xFE; // a blank: the rest of the line is padding

constexpr std::array<std::uint8_t, 256> MakeCodes() {
    std::array<std::uint8_t, 256> codes{};
    codes.fill(kNotCm6);
    for (std::size_t code = 0; code < kCm6Alphabet.size(); ++code) {
        codes[static_cast<unsigned char>(kCm6Alphabet[code])] = static_cast<std::uint8_t>(code);
    }
    for (const char blank : {' ', '\t', '\r', '\n'}) {
        codes[static_cast<unsigned char>(blank)] = kLineEnd;
    }
    return codes;
}

constexpr std::array<std::uint8_t, 256> kCodes = MakeCodes();

constexpr std::uint8_t kMoreCharacters = 32;
constexpr std::uint8_t kNegative = 16;

constexpr const char* kNoChecksumLine = "The file ends before its CHK2 line";

[[noreturn]] void FailCharacter(char character) {
    char code[8];
    std::snprintf(code, sizeof code, "%d", static_cast<unsigned char>(character));
    throw std::runtime_error("The character \"" + std::string(1, character) + "\" (code " + code +
                             ") is not CM6 text");
}

bool IsInt32(std::int64_t value) {
    return value >= std::numeric_limits<std::int32_t>::min() &&
           value <= std::numeric_limits<std::int32_t>::max();
}

// "CHK2" and a number: the line that closes a block.
std::optional<std::int64_t> ChecksumOfLine(std::string_view line) {
    line = TrimBlanks(line);
    // The blank first: it rules out every CM6 data line without building a text.
    if (line.size() < 6 || (line[4] != ' ' && line[4] != '\t') ||
        ToUpper(line.substr(0, 4)) != "CHK2") {
        return std::nullopt;
    }
    const std::string_view number = TrimBlanks(line.substr(4));
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), value);
    if (error != std::errc() || end != number.data() + number.size()) {
        return std::nullopt;
    }
    return value;
}

} // namespace

std::size_t Cm6Decoder::Decode(std::string_view text, std::int32_t* out, std::size_t wanted) {
    std::size_t count = 0;
    for (const char character : text) {
        if (count == wanted) {
            break;
        }
        const std::uint8_t code = kCodes[static_cast<unsigned char>(character)];
        if (code >= kLineEnd) {
            if (code == kLineEnd) {
                break;
            }
            FailCharacter(character);
        }
        if (m_codes++ == 0) {
            m_negative = (code & kNegative) != 0;
            m_magnitude = code & 15;
        } else {
            m_magnitude = m_magnitude << 5 | (code & 31);
        }
        if ((code & kMoreCharacters) != 0) {
            if (m_codes == kLongestCm6Value) {
                throw std::runtime_error("A CM6 value runs over more than " +
                                         std::to_string(kLongestCm6Value) +
                                         " characters: it overflows 32 bits");
            }
            continue;
        }
        m_codes = 0;
        m_step += m_negative ? -m_magnitude : m_magnitude;
        m_sample += m_step;
        if (!IsInt32(m_sample)) {
            throw std::runtime_error("A CM6 sample overflows 32 bits");
        }
        out[count++] = static_cast<std::int32_t>(m_sample);
    }
    return count;
}

namespace {

bool IsIntBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r';
}

// A flag in the high bit of each byte of `bytes` that equals `c`; above the first such byte,
// other bytes may be flagged too, so only the lowest flag counts.
std::uint64_t BytesEqualTo(std::uint64_t bytes, char c) {
    const std::uint64_t differences = bytes ^ (0x0101010101010101 * static_cast<unsigned char>(c));
    return (differences - 0x0101010101010101) & ~differences & 0x8080808080808080;
}

// The length of the word at `word`, up to its first blank and at most `left` characters. Eight
// characters are looked at together: words are short and their lengths vary from one to the
// next, so that a loop over their characters mostly guesses wrong where it ends.
std::size_t WordLength(const char* word, std::size_t left) {
    const auto bytes =
        LoadAs<std::uint64_t>(reinterpret_cast<const unsigned char*>(word), ByteOrder::Little);
    const std::uint64_t blanks =
        BytesEqualTo(bytes, ' ') | BytesEqualTo(bytes, '\t') | BytesEqualTo(bytes, '\r');
    std::size_t length = blanks != 0 ? std::countr_zero(blanks) / 8 : 8;
    while (length < left && length >= 8 && !IsIntBlank(word[length])) {
        ++length;
    }
    return std::min(length, left);
}

// One word of an INT line: a sign-led or bare 32-bit integer, "+" not allowed.
std::int32_t IntSample(std::string_view word) {
    PlainInteger plain; // at most 8 digits: it fits
    if (word.front() != '+' && ParsePlainInteger(word, plain)) {
        return static_cast<std::int32_t>(plain.Value());
    }
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
    if (error != std::errc() || end != word.data() + word.size() || !IsInt32(value)) {
        throw std::runtime_error("The INT sample \"" + std::string(word) +
                                 "\" is not a 32-bit integer");
    }
    return static_cast<std::int32_t>(value);
}

} // namespace

std::size_t DecodeIntegers(std::string_view line, std::int32_t* out, std::size_t wanted) {
    const char* next = line.data();
    const char* const end = next + line.size();
    std::size_t count = 0;
    while (count < wanted) {
        while (next != end && IsIntBlank(*next)) {
            ++next;
        }
        if (next == end) {
            break;
        }
        const std::size_t length = WordLength(next, static_cast<std::size_t>(end - next));
        out[count++] = IntSample(std::string_view(next, length));
        next += length;
    }
    return count;
}

std::span<std::int32_t> Gse2DataReader::Next() {
    std::string_view line;
    while (m_left > 0) {
        if (!m_lines.Next(line)) {
            Fail("The file ends after " + std::to_string(m_count - m_left) + " of the " +
                 std::to_string(m_count) + " samples announced");
        }
        // Data text may begin with the letters CHK2; only a number after them makes the line
        // the checksum, and it comes too early.
        if (ChecksumOfLine(line)) {
            Fail("The data end after " + std::to_string(m_count - m_left) + " of the " +
                 std::to_string(m_count) + " samples announced");
        }
        if (line.size() > kLongestDataLine) {
            Fail("A data line is longer than " + std::to_string(kLongestDataLine) + " characters");
        }
        const std::size_t wanted =
            static_cast<std::size_t>(std::min<std::int64_t>(m_left, kLongestDataLine));
        std::size_t count = 0;
        try {
            count = m_text == SampleText::Cm6
                        ? m_cm6.Decode(TrimBlanks(line), m_samples.data(), wanted)
                        : DecodeIntegers(line, m_samples.data(), wanted);
        } catch (const std::runtime_error& error) {
            Fail(error.what());
        }
        if (count > 0) {
            m_left -= static_cast<std::int64_t>(count);
            for (std::size_t i = 0; i < count; ++i) {
                m_checksum.Add(m_samples[i]);
            }
            return std::span(m_samples.data(), count);
        }
    }
    if (!m_checked) {
        CheckChecksumLine();
    }
    return {};
}

void Gse2DataReader::CheckChecksumLine() {
    m_checked = true;
    std::string_view line;
    do {
        if (!m_lines.Next(line)) {
            Fail(kNoChecksumLine);
        }
    } while (TrimBlanks(line).empty());
    const auto written = ChecksumOfLine(line);
    if (!written) {
        Fail("A CHK2 line should follow the " + std::to_string(m_count) + " samples announced");
    }
    // Some writers leave the sum signed: only its magnitude counts.
    const std::int64_t magnitude = *written < 0 ? -*written : *written;
    if (magnitude != m_checksum.Value()) {
        Fail("The checksum in the file, " + std::to_string(*written) +
             ", does not match the checksum of its samples, " + std::to_string(m_checksum.Value()));
    }
}

void Gse2DataReader::Fail(const std::string& what) const {
    FailAtLine(what, m_lines);
}

void FailAtLine(const std::string& what, const LineReader& lines) {
    throw std::runtime_error(what + " (" + std::to_string(lines.LinesRead()) + ").");
}

void SkipToChecksumLine(LineReader& lines) {
    std::string_view line;
    while (lines.Next(line)) {
        if (ChecksumOfLine(line)) {
            return;
        }
    }
    FailAtLine(kNoChecksumLine, lines);
}

bool CopyDataSamples(Gse2DataReader data, OutputFile& out, ReaderContext& context) {
    const bool invert = context.DataInversion();
    for (auto samples = data.Next(); !samples.empty(); samples = data.Next()) {
        if (invert) {
            std::transform(samples.begin(), samples.end(), samples.begin(), InvertedSample);
        }
        out.IntegerLines(samples);
        if (!context.Tick(static_cast<std::int64_t>(samples.size()))) {
            return false;
        }
    }
    return true;
}

std::optional<std::int64_t> ParseSampleCount(std::string_view text) {
    text = TrimBlanks(text);
    std::int64_t count = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), count);
    if (error != std::errc() || end != text.data() + text.size() || count < 0) {
        return std::nullopt;
    }
    return count;
}

namespace {

template <typename Encoder>
std::optional<std::int64_t> WriteLines(Encoder encoder, ChannelFileReader& in, OutputFile& out,
                                       ConversionContext* context) {
    const auto lineOut = [&out](std::string_view line) { out.Line(line); };
    Gse2Checksum checksum;
    std::int64_t count = 0;
    std::string_view text;
    while (in.NextSample(text)) {
        const std::int32_t sample = SampleWholeNumber(text);
        encoder.Add(sample, lineOut);
        checksum.Add(sample);
        ++count;
        if (context != nullptr && !context->Tick()) {
            return std::nullopt;
        }
    }
    encoder.Finish(lineOut);
    char line[32];
    std::snprintf(line, sizeof line, "CHK2 %8d", checksum.Value());
    out.Line(line);
    return count;
}

} // namespace

std::optional<std::int64_t> WriteSampleText(SampleText text, ChannelFileReader& in,
                                            OutputFile& out, ConversionContext* context) {
    return text == SampleText::Cm6 ? WriteLines(Cm6Encoder(), in, out, context)
                                   : WriteLines(IntEncoder(), in, out, context);
}

} // namespace vibrex
