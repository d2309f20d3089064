#pragma once

#include "engine/ChannelFile.h"
#include "engine/Codec.h"
#include "io/FileIO.h"
#include "io/Numbers.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>
#include <string>
#include <string_view>

// The sample text of GSE2.0 data blocks, shared by the GSE and PSN CM6 codecs: CM6 (second
// differences, six bits to a character, 80 characters a line), plain integers (INT), and the
// CHK2 line that closes the block with the checksum of the samples.
namespace vibrex {

enum class SampleText { Cm6, Int };

constexpr std::size_t kDataLineLength = 80;
// Longer lines are refused, so a line's samples always fit one buffer whatever the text says.
constexpr std::size_t kLongestDataLine = 1024;

// The samples summed modulo 10^8 with a truncating remainder, in 32 bits. Some writers leave
// the sum signed, so it is written and compared without its sign.
class Gse2Checksum {
public:
    void Add(std::int32_t sample) {
        if (sample >= kModulus || sample <= -kModulus) {
            sample %= kModulus;
        }
        m_sum += sample;
        if (m_sum >= kModulus || m_sum <= -kModulus) {
            m_sum %= kModulus;
        }
    }
    std::int32_t Value() const { return m_sum < 0 ? -m_sum : m_sum; }

private:
    static constexpr std::int32_t kModulus = 100'000'000;
    std::int32_t m_sum = 0;
};

// The 64 characters of CM6, code 0 to 63.
constexpr std::string_view kCm6Alphabet =
    "+-0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";

// A second difference of 32-bit samples needs up to 34 bits: 4 in the first character, 5 in
// each further one. (The usual limit of six characters holds differences below 2^29.)
constexpr int kLongestCm6Value = 7;

namespace detail {

// The CM6 characters of any second difference, one at a time.
constexpr std::size_t AppendAnyCm6Value(std::int64_t value, char* out) {
    const std::uint64_t magnitude =
        value < 0 ? 0 - static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value);
    const int count = (std::bit_width(magnitude) + 5) / 5;
    int shift = 5 * (count - 1);
    const std::uint64_t first =
        ((magnitude >> shift) & 15) | (value < 0 ? 16 : 0) | (count > 1 ? 32 : 0);
    out[0] = kCm6Alphabet[first];
    for (int i = 1; i < count; ++i) {
        shift -= 5;
        out[i] = kCm6Alphabet[((magnitude >> shift) & 31) | (i < count - 1 ? 32 : 0)];
    }
    return static_cast<std::size_t>(count);
}

// The differences of one or two characters, which recordings are mostly made of, looked up:
// the loop above stops after a count that changes from sample to sample unpredictably.
constexpr std::int64_t kMostShortCm6 = 511;

struct ShortCm6 {
    char text[2];
    std::uint8_t length;
};

constexpr std::array<ShortCm6, 2 * kMostShortCm6 + 1> MakeShortCm6() {
    std::array<ShortCm6, 2 * kMostShortCm6 + 1> table{};
    for (std::int64_t value = -kMostShortCm6; value <= kMostShortCm6; ++value) {
        ShortCm6& entry = table[static_cast<std::size_t>(value + kMostShortCm6)];
        entry.length = static_cast<std::uint8_t>(AppendAnyCm6Value(value, entry.text));
    }
    return table;
}

constexpr std::array<ShortCm6, 2 * kMostShortCm6 + 1> kShortCm6 = MakeShortCm6();

} // namespace detail

// Appends the CM6 characters of one second difference, with room for kLongestCm6Value at
// `out`; returns how many. Inline: it runs once for every sample of a recording.
inline std::size_t AppendCm6Value(std::int64_t value, char* out) {
    if (value < -detail::kMostShortCm6 || value > detail::kMostShortCm6) {
        return detail::AppendAnyCm6Value(value, out);
    }
    const detail::ShortCm6& entry =
        detail::kShortCm6[static_cast<std::size_t>(value + detail::kMostShortCm6)];
    out[0] = entry.text[0];
    out[1] = entry.text[1];
    return entry.length;
}

// Samples to CM6 text, handed on a line of kDataLineLength characters at a time; a value's
// characters may run on into the next line, as the format allows.
class Cm6Encoder {
public:
    template <typename LineOut> void Add(std::int32_t sample, LineOut&& lineOut) {
        const std::int64_t difference = std::int64_t{sample} - 2 * m_last + m_beforeLast;
        m_beforeLast = m_last;
        m_last = sample;
        m_used += AppendCm6Value(difference, m_text.data() + m_used);
        if (m_used >= kDataLineLength) {
            lineOut(std::string_view(m_text.data(), kDataLineLength));
            m_used -= kDataLineLength;
            std::copy_n(m_text.data() + kDataLineLength, m_used, m_text.data());
        }
    }
    template <typename LineOut> void Finish(LineOut&& lineOut) {
        if (m_used > 0) {
            lineOut(std::string_view(m_text.data(), m_used));
            m_used = 0;
        }
    }

private:
    std::array<char, kDataLineLength + kLongestCm6Value> m_text{};
    std::size_t m_used = 0;
    std::int64_t m_last = 0; // samples before the first count as zeros
    std::int64_t m_beforeLast = 0;
};

// Samples as integers separated by blanks, in lines of at most kDataLineLength characters.
class IntEncoder {
public:
    template <typename LineOut> void Add(std::int32_t sample, LineOut&& lineOut) {
        // Written in place after a blank, then moved to a line of its own when it does not fit.
        char* const word = m_text.data() + m_used + (m_used > 0);
        const std::size_t length = static_cast<std::size_t>(AppendInteger(word, sample) - word);
        if (m_used > 0 && m_used + 1 + length > kDataLineLength) {
            Finish(lineOut);
            std::memmove(m_text.data(), word, kWordRoom);
            m_used = length;
            return;
        }
        if (m_used > 0) {
            m_text[m_used++] = ' ';
        }
        m_used += length;
    }
    template <typename LineOut> void Finish(LineOut&& lineOut) {
        if (m_used > 0) {
            lineOut(std::string_view(m_text.data(), m_used));
            m_used = 0;
        }
    }

private:
    // The room AppendInteger needs: more than a sample's text, as it stores digits by eights.
    static constexpr std::size_t kWordRoom = 32;
    std::array<char, kDataLineLength + 1 + kWordRoom> m_text{};
    std::size_t m_used = 0;
};

// CM6 text back to samples. A value's characters may run on over a line end, so the decoder
// keeps its state from one line to the next.
class Cm6Decoder {
public:
    // Decodes `text` up to its first blank into `out` until `wanted` samples are complete;
    // returns how many. Throws std::runtime_error for a character outside the alphabet and for
    // a value or sample beyond 32 bits.
    std::size_t Decode(std::string_view text, std::int32_t* out, std::size_t wanted);

private:
    std::int64_t m_magnitude = 0;
    bool m_negative = false;
    int m_codes = 0;
    std::int64_t m_step = 0; // the first difference, S(j) - S(j-1)
    std::int64_t m_sample = 0;
};

// The blank-separated integers of one INT data line, up to `wanted` of them; returns how many.
// Throws std::runtime_error for a word that is not a 32-bit integer. Needs kReadAhead readable
// bytes after the line, as every line of a LineReader has.
std::size_t DecodeIntegers(std::string_view line, std::int32_t* out, std::size_t wanted);

// The data lines of one block as they are read: the samples, then the CHK2 line compared with
// them. Messages end with the line number in parentheses.
class Gse2DataReader {
public:
    // `lines` stands just after the line that opens the data.
    Gse2DataReader(LineReader& lines, SampleText text, std::int64_t count)
        : m_lines(lines), m_text(text), m_count(count), m_left(count) {}
    // The samples of the next data line; empty once all are read and the CHK2 line matched.
    std::span<std::int32_t> Next();

private:
    void CheckChecksumLine();
    [[noreturn]] void Fail(const std::string& what) const;

    LineReader& m_lines;
    SampleText m_text;
    std::int64_t m_count;
    std::int64_t m_left;
    bool m_checked = false;
    Cm6Decoder m_cm6;
    Gse2Checksum m_checksum;
    std::array<std::int32_t, kLongestDataLine> m_samples;
};

// Passes over a block's data lines, up to and including its CHK2 line, without decoding them:
// loaders find where a block ends this way and leave its samples and checksum to the reader,
// so that a conversion decodes the text once.
void SkipToChecksumLine(LineReader& lines);

// Throws std::runtime_error with `what` and the number of the line last read, in parentheses.
[[noreturn]] void FailAtLine(const std::string& what, const LineReader& lines);

// Copies a block's samples to an intermediate channel file, negated under polarity inversion;
// false when the user aborted.
bool CopyDataSamples(Gse2DataReader data, OutputFile& out, ReaderContext& context);

// A sample count as the header states it: a whole number, 0 or more.
std::optional<std::int64_t> ParseSampleCount(std::string_view text);

// Writes the intermediate file's remaining samples as data lines, then the CHK2 line; how many
// it wrote, or nothing when the user aborted. Each sample ticks `context`, unless it is null (a
// channel written again).
std::optional<std::int64_t> WriteSampleText(SampleText text, ChannelFileReader& in,
                                            OutputFile& out, ConversionContext* context);

} // namespace vibrex
