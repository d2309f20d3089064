#include "formats/Steim.h"

#include "io/ByteOrder.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

namespace vibrex {

namespace {

constexpr int kFrames = 7;
constexpr int kWordsPerFrame = 16;
// Frame 0 spends W1 and W2 on the first and last samples of the record.
constexpr int kFirstDataWordOfFrame0 = 3;
constexpr int kDataWords = kFrames * (kWordsPerFrame - 1) - 2;
constexpr int kMaxDifferencesPerWord = 7;
constexpr int kInt32Samples = kSteimDataBytes / 4;
constexpr int kEncoderSamples = kSteimEncodeEnd - 1;
static_assert(kDataWords * kMaxDifferencesPerWord < kSteimBufferSamples);

// How a data word holds its differences: the 2-bit code in W0 of its frame, for Steim-2 codes 2
// and 3 the 2-bit sub-code in its own top bits, and `count` fields of `width` bits packed
// against bit 0, the first difference in the most significant field.
struct WordShape {
    std::uint32_t code;
    std::uint32_t subCode;
    int count;
    int width;
};

// Densest first: the encoder takes the first shape that the pending differences fit.
constexpr std::array<WordShape, 7> kSteim2Shapes = {{
    {3, 2, 7, 4},
    {3, 1, 6, 5},
    {3, 0, 5, 6},
    {1, 0, 4, 8},
    {2, 3, 3, 10},
    {2, 2, 2, 15},
    {2, 1, 1, 30},
}};
constexpr std::array<WordShape, 3> kSteim1Shapes = {{
    {1, 0, 4, 8},
    {2, 0, 2, 16},
    {3, 0, 1, 32},
}};

// Little-endian Steim keeps the bytes of 4x8 words, and the 16-bit halves of Steim-1 2x16 words,
// in sample order; only whole-word values are little-endian. Both fixes are their own inverse.
std::uint32_t LittleEndianWordFix(std::uint32_t word, std::uint32_t code, bool steim1) {
    if (code == 1) {
        return ByteSwap(word);
    }
    if (steim1 && code == 2) {
        return std::rotl(word, 16);
    }
    return word;
}

ByteOrder OrderOf(int wordOrder) {
    return wordOrder == 0 ? ByteOrder::Little : ByteOrder::Big;
}

std::uint32_t LoadWord(const unsigned char* frame, int word, ByteOrder order) {
    return LoadAs<std::uint32_t>(frame + 4 * word, order);
}

void StoreWord(unsigned char* frame, int word, std::uint32_t value, ByteOrder order) {
    StoreAs<std::uint32_t>(frame + 4 * word, value, order);
}

// The shape of each Steim-2 data word by code * 4 + sub-code (which 4x8 words do not have); null
// for a word that holds no differences or is illegal. A lookup, as shapes vary from word to word.
constexpr std::array<const WordShape*, 16> kSteim2ShapeByCodes = [] {
    std::array<const WordShape*, 16> table{};
    for (const WordShape& shape : kSteim2Shapes) {
        for (std::uint32_t subCode = 0; subCode < 4; ++subCode) {
            if (shape.code == 1 || shape.subCode == subCode) {
                table[shape.code * 4 + subCode] = &shape;
            }
        }
    }
    return table;
}();

const WordShape* Steim2ShapeOf(std::uint32_t code, std::uint32_t subCode) {
    return kSteim2ShapeByCodes[code * 4 + subCode];
}

// Appends the differences of one word to `out`; returns the new end. Always seven are written,
// those past the word's own count being overwritten by the next word's (or cleared after the
// last): a loop of fixed length, as counts vary from word to word. A data area's 103 words end
// their writes by index 720, inside the sample buffer.
std::int32_t* UnpackWord(std::uint32_t word, const WordShape& shape, std::int32_t* out) {
    const int fieldShift = 32 - shape.width;
    int leftShift = 32 - shape.width * shape.count; // brings field k to the top, for k = 0, 1, ...
    for (int k = 0; k < kMaxDifferencesPerWord; ++k) {
        // Shifted back down as a signed value, the field extends its own sign.
        out[k] = static_cast<std::int32_t>(word << (leftShift & 31)) >> fieldShift;
        leftShift += shape.width;
    }
    return out + shape.count;
}

class FrameDecoder {
public:
    FrameDecoder(const unsigned char* data, int encoding, int wordOrder)
        : m_data(data), m_order(OrderOf(wordOrder)), m_steim1(encoding == kEncodingSteim1) {}

    // Writes the differences into samples[0..] and integrates them from the first sample on
    // (the record's first difference belongs to the previous record and is skipped).
    int Decode(std::int32_t* samples) const {
        std::int32_t* end = samples;
        for (int frame = 0; frame < kFrames; ++frame) {
            if (!DecodeFrame(m_data + frame * kWordsPerFrame * 4, frame == 0, end)) {
                break;
            }
        }
        const int count = static_cast<int>(end - samples);
        if (count > 0) {
            Integrate(samples, count, static_cast<std::int32_t>(LoadWord(m_data, 1, m_order)));
        }
        return count;
    }

private:
    // False at an illegal word: the rest of the data area is not trusted.
    bool DecodeFrame(const unsigned char* frame, bool first, std::int32_t*& out) const {
        const std::uint32_t codes = LoadWord(frame, 0, m_order);
        for (int word = first ? kFirstDataWordOfFrame0 : 1; word < kWordsPerFrame; ++word) {
            const std::uint32_t code = (codes >> (2 * (kWordsPerFrame - 1 - word))) & 3u;
            if (code == 0) {
                continue;
            }
            std::uint32_t value = LoadWord(frame, word, m_order);
            if (m_order == ByteOrder::Little) {
                value = LittleEndianWordFix(value, code, m_steim1);
            }
            const WordShape* shape =
                m_steim1 ? &kSteim1Shapes[code - 1] : Steim2ShapeOf(code, value >> 30);
            if (shape == nullptr) {
                return false;
            }
            out = UnpackWord(value, *shape, out);
        }
        return true;
    }

    static void Integrate(std::int32_t* samples, int count, std::int32_t first) {
        // Unsigned sums wrap as the encoders that produced the differences did.
        std::uint32_t sample = static_cast<std::uint32_t>(first);
        samples[0] = first;
        for (int i = 1; i < count; ++i) {
            sample += static_cast<std::uint32_t>(samples[i]);
            samples[i] = static_cast<std::int32_t>(sample);
        }
    }

    const unsigned char* m_data;
    ByteOrder m_order;
    bool m_steim1;
};

int DecodeInt32(const unsigned char* data, std::int32_t* samples, ByteOrder order) {
    for (int i = 0; i < kInt32Samples; ++i) {
        samples[i] = LoadAs<std::int32_t>(data + 4 * i, order);
    }
    return kInt32Samples;
}

// A difference with its sign folded away: it fits a two's complement field of `width` bits when
// this is below 2^(width - 1). Those of several differences are combined with OR, which keeps the
// widest one's top bit, so a run of differences is checked against a field at once.
std::uint32_t Magnitude(std::int32_t value) {
    return static_cast<std::uint32_t>(value ^ (value >> 31));
}

bool FitsWidth(std::uint32_t magnitudes, int width) {
    return magnitudes < std::uint64_t{1} << (width - 1);
}

class FrameEncoder {
public:
    FrameEncoder(const std::int32_t* samples, int encoding)
        : m_samples(samples), m_steim1(encoding == kEncodingSteim1) {
        ComputeDifferences();
        // Decoders skip the first difference: it carries the step from the previous record
        // when that fits the word chosen for it, else 0, and so never costs room.
        m_firstMagnitude = m_magnitudes[0];
        m_magnitudes[0] = 0;
    }

    // Fills the data area in big-endian word values; returns how many samples it holds.
    int Encode(std::array<std::uint32_t, kFrames * kWordsPerFrame>& words) {
        words.fill(0);
        for (int frame = 0; frame < kFrames; ++frame) {
            std::uint32_t* frameWords = words.data() + frame * kWordsPerFrame;
            for (int word = frame == 0 ? kFirstDataWordOfFrame0 : 1; word < kWordsPerFrame;
                 ++word) {
                std::uint32_t code = 0;
                if (!PackNextWord(frameWords[word], code)) {
                    return m_next;
                }
                frameWords[0] |= code << (2 * (kWordsPerFrame - 1 - word));
            }
        }
        return m_next;
    }

    bool Steim1() const { return m_steim1; }

private:
    // Differences are worked out a batch at a time as words need them: a record mostly ends
    // well before the last of the samples it is offered.
    void ComputeDifferences() {
        const int end = std::min(m_computed + kDifferencesAtOnce, kEncoderSamples);
        for (int i = m_computed; i < end; ++i) {
            // Differences wrap at 32 bits, as decoders sum them.
            m_differences[i] =
                static_cast<std::int32_t>(static_cast<std::uint32_t>(m_samples[i + 1]) -
                                          static_cast<std::uint32_t>(m_samples[i]));
            m_magnitudes[i] = Magnitude(m_differences[i]);
        }
        m_computed = end;
    }

    using Leading = std::array<std::uint32_t, kMaxDifferencesPerWord + 1>;

    // Packs the pending differences into the densest shape they fit and gives its code; false,
    // with nothing packed, when the next difference fits none.
    bool PackNextWord(std::uint32_t& word, std::uint32_t& code) {
        const int pending = std::min(kEncoderSamples - m_next, kMaxDifferencesPerWord);
        if (m_next + pending > m_computed) {
            ComputeDifferences();
        }
        // The first k pending differences combined, for every k.
        Leading leading{};
        for (int k = 1; k <= pending; ++k) {
            leading[k] = leading[k - 1] | m_magnitudes[m_next + k - 1];
        }
        return m_steim1 ? PackFirstFitting<kSteim1Shapes>(leading, pending, word, code)
                        : PackFirstFitting<kSteim2Shapes>(leading, pending, word, code);
    }

    // Tries the shapes in order, each packed by code of its own: the branch that picks a shape
    // then also decides how many fields are packed, as counts change from word to word.
    template <const auto& shapes, std::size_t index = 0>
    bool PackFirstFitting(const Leading& leading, int pending, std::uint32_t& word,
                          std::uint32_t& code) {
        if constexpr (index == shapes.size()) {
            return false;
        } else {
            constexpr WordShape shape = shapes[index];
            if (shape.count > pending || !FitsWidth(leading[shape.count], shape.width)) {
                return PackFirstFitting<shapes, index + 1>(leading, pending, word, code);
            }
            word = shape.subCode << 30 | PackFields<shape.count, shape.width>();
            code = shape.code;
            return true;
        }
    }

    template <int count, int width> std::uint32_t PackFields() {
        if (m_next == 0 && !FitsWidth(m_firstMagnitude, width)) {
            m_differences[0] = 0;
        }
        constexpr std::uint32_t mask = width == 32 ? ~0u : (1u << width) - 1;
        std::uint32_t word = 0;
        for (int field = 0; field < count; ++field) {
            word |= (static_cast<std::uint32_t>(m_differences[m_next + field]) & mask)
                    << ((count - 1 - field) * width);
        }
        m_next += count;
        return word;
    }

    static constexpr int kDifferencesAtOnce = 64;

    const std::int32_t* m_samples;
    bool m_steim1;
    std::array<std::int32_t, kEncoderSamples> m_differences;
    std::array<std::uint32_t, kEncoderSamples> m_magnitudes;
    int m_computed = 0;
    std::uint32_t m_firstMagnitude = 0;
    int m_next = 0;
};

void StoreFrames(const std::array<std::uint32_t, kFrames * kWordsPerFrame>& words, bool steim1,
                 unsigned char* data, ByteOrder order) {
    for (int frame = 0; frame < kFrames; ++frame) {
        const std::uint32_t* frameWords = words.data() + frame * kWordsPerFrame;
        unsigned char* out = data + frame * kWordsPerFrame * 4;
        for (int word = 0; word < kWordsPerFrame; ++word) {
            std::uint32_t value = frameWords[word];
            if (order == ByteOrder::Little) {
                const std::uint32_t code =
                    (frameWords[0] >> (2 * (kWordsPerFrame - 1 - word))) & 3u;
                value = LittleEndianWordFix(value, code, steim1);
            }
            StoreWord(out, word, value, order);
        }
    }
}

int EncodeSteim(const std::int32_t* samples, unsigned char* data, int encoding, ByteOrder order) {
    FrameEncoder encoder(samples, encoding);
    std::array<std::uint32_t, kFrames * kWordsPerFrame> words;
    const int count = encoder.Encode(words);
    // Frame 0 names the first and the last sample so readers can check the integration.
    words[1] = static_cast<std::uint32_t>(samples[1]);
    words[2] = static_cast<std::uint32_t>(samples[count]);
    StoreFrames(words, encoder.Steim1(), data, order);
    return count;
}

int EncodeInt32(const std::int32_t* samples, unsigned char* data, ByteOrder order) {
    for (int i = 0; i < kInt32Samples; ++i) {
        StoreAs<std::int32_t>(data + 4 * i, samples[i + 1], order);
    }
    return kInt32Samples;
}

} // namespace

std::int32_t decode_steim(const unsigned char* data, std::int32_t* samples, int encoding,
                          int wordOrder) {
    int count = 0;
    if (encoding == kEncodingInt32) {
        count = DecodeInt32(data, samples, OrderOf(wordOrder));
    } else if (encoding == kEncodingSteim1 || encoding == kEncodingSteim2) {
        count = FrameDecoder(data, encoding, wordOrder).Decode(samples);
    }
    std::fill(samples + count, samples + kSteimBufferSamples, 0);
    return count;
}

std::int32_t encode_steim(std::int32_t* samples, unsigned char* data, int encoding, int wordOrder) {
    const ByteOrder order = OrderOf(wordOrder);
    int count = 0;
    if (encoding == kEncodingInt32) {
        count = EncodeInt32(samples, data, order);
    } else if (encoding == kEncodingSteim1 || encoding == kEncodingSteim2) {
        count = EncodeSteim(samples, data, encoding, order);
    } else {
        std::memset(data, 0, kSteimDataBytes);
    }
    if (count > 0) {
        samples[0] = samples[count];
        std::memmove(samples + 1, samples + count + 1,
                     sizeof(std::int32_t) * static_cast<std::size_t>(kEncoderSamples - count));
    }
    return kSteimEncodeEnd - count;
}

} // namespace vibrex
