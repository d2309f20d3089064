#include "formats/Steim.h"

#include "formats/ConversionTest.h"
#include "io/ByteOrder.h"

#include <array>
#include <stdexcept>

namespace vibrex::test {
namespace {

using DataArea = std::array<unsigned char, kSteimDataBytes>;

struct Record {
    DataArea data{};
    int count = 0;
};

constexpr int kEncodings[] = {kEncodingInt32, kEncodingSteim1, kEncodingSteim2};

// Streams samples through the encoder the way the miniSEED writer does: fill up to 735, encode,
// go on filling at the returned index; at the end, pad with the last sample until all is packed.
std::vector<Record> Pack(const SampleList& samples, int encoding, int wordOrder) {
    std::array<std::int32_t, kSteimBufferSamples> buffer{};
    std::vector<Record> records;
    const auto encode = [&] {
        records.emplace_back();
        const int r = encode_steim(buffer.data(), records.back().data.data(), encoding, wordOrder);
        records.back().count = kSteimEncodeEnd - r;
        if (r == kSteimEncodeEnd) {
            throw std::runtime_error("A record holds no sample."); // else the stream never ends
        }
        return r;
    };
    int fill = 1;
    for (const std::int32_t sample : samples) {
        buffer[fill++] = sample;
        if (fill == kSteimEncodeEnd) {
            fill = encode();
        }
    }
    while (fill > 1) {
        std::fill(buffer.begin() + fill, buffer.end(), buffer[fill - 1]);
        const int pending = fill - 1;
        encode();
        records.back().count = std::min(records.back().count, pending);
        fill -= records.back().count;
    }
    return records;
}

// Decodes every record, checking each Steim record's last sample against its frame 0 (the
// integrity check of independent readers).
SampleList Unpack(const std::vector<Record>& records, int encoding, int wordOrder) {
    SampleList all;
    std::array<std::int32_t, kSteimBufferSamples> buffer;
    for (const Record& record : records) {
        const int decoded = decode_steim(record.data.data(), buffer.data(), encoding, wordOrder);
        EXPECT_GE(decoded, record.count);
        all.insert(all.end(), buffer.begin(), buffer.begin() + record.count);
        if (encoding != kEncodingInt32) {
            const auto order = wordOrder == 1 ? ByteOrder::Big : ByteOrder::Little;
            EXPECT_EQ(LoadAs<std::int32_t>(record.data.data() + 8, order),
                      buffer[record.count - 1]);
        }
    }
    return all;
}

void ExpectRoundTrip(const SampleList& samples) {
    for (const int encoding : kEncodings) {
        for (const int wordOrder : {0, 1}) {
            SCOPED_TRACE(testing::Message() << "encoding " << encoding << ", word order "
                                            << wordOrder << ", " << samples.size() << " samples");
            EXPECT_EQ(Unpack(Pack(samples, encoding, wordOrder), encoding, wordOrder), samples);
        }
    }
}

// Runs of steps at the edge of every field width, so every word shape is used at its limits.
SampleList EveryFieldWidth() {
    SampleList samples{0};
    for (const int width : {4, 5, 6, 8, 10, 15, 16, 30, 32}) {
        const std::int64_t high = (std::int64_t{1} << (width - 1)) - 1;
        for (int run = 0; run < 9; ++run) {
            const std::int64_t step = run % 2 == 0 ? high : -high - 1;
            const std::int64_t next = std::clamp<std::int64_t>(samples.back() + step, kMin, kMax);
            samples.push_back(static_cast<std::int32_t>(next));
        }
    }
    return samples;
}

TEST(Steim, RoundTripsAwkwardSequences) {
    ExpectRoundTrip(RandomWalk(5000, 12, 1));
    ExpectRoundTrip(RandomWalk(3000, 31, 2));
    ExpectRoundTrip(EveryFieldWidth());
    // Jumps beyond 30 bits end a Steim-2 record early; wrapped sums must still come out exact.
    ExpectRoundTrip({kMin, kMax, kMin, 0, kMax, -1, kMin, kMin, kMax, kMax, 536870911, -536870912,
                     536870912, -536870913, 0, 1 << 29});
    ExpectRoundTrip(SampleList(2000, kMin));
    for (const std::size_t length :
         {1, 2, 7, 111, 112, 113, 411, 412, 413, 720, 721, 722, 734, 735, 1442, 1469}) {
        ExpectRoundTrip(RandomWalk(length, 4, static_cast<unsigned>(length)));
    }
}

// A record holds as many samples as its words can: steps of 4 bits fill Steim-2's 103 data
// words with 7 each, 8 bits Steim-1's with 4, steps of 30 bits a Steim-2 word each. A first
// sample far from 0 costs no room, as decoders ignore the first difference.
TEST(Steim, FillsSevenFramesExactly) {
    SampleList farFromZero{1000000001}, wide{0};
    for (int i = 1; i < 721; ++i) {
        farFromZero.push_back(farFromZero.back() + (i % 2 == 0 ? 7 : -8));
        wide.push_back(wide.back() + (i % 2 == 0 ? 1 << 28 : -(1 << 28)));
    }
    const std::tuple<SampleList, int, int> cases[] = {
        {RandomWalk(2 * 721, 4, 7), kEncodingSteim2, 721},
        {RandomWalk(2 * 412, 8, 8), kEncodingSteim1, 412},
        {RandomWalk(224, 31, 9), kEncodingInt32, 112},
        {wide, kEncodingSteim2, 103},
        {farFromZero, kEncodingSteim2, 721},
    };
    for (const auto& [samples, encoding, perRecord] : cases) {
        const auto records = Pack(samples, encoding, 1);
        EXPECT_EQ(records[0].count, perRecord) << "encoding " << encoding;
        EXPECT_EQ(Unpack(records, encoding, 1), samples);
    }
    // The first difference, which decoders skip, is stored as 0 rather than cut to its field.
    EXPECT_EQ(Pack(farFromZero, kEncodingSteim2, 1)[0].data[12] & 0x0F, 0);
}

SampleList Decoded(const std::string& bytes, int encoding, int wordOrder) {
    DataArea data{};
    std::copy(bytes.begin(), bytes.end(), data.begin());
    std::array<std::int32_t, kSteimBufferSamples> buffer;
    buffer.fill(-1);
    const int count = decode_steim(data.data(), buffer.data(), encoding, wordOrder);
    EXPECT_TRUE(std::all_of(buffer.begin() + count, buffer.end(), [](auto s) { return s == 0; }));
    return SampleList(buffer.begin(), buffer.begin() + count);
}

// Frame 0 names the first and the last sample in W1 and W2. Steim-2: W3 = 5x6 (0, 2, -3, 0, 11),
// W4 = 2x15 (1000, 1). Steim-1: W3 = 4x8 (0, 2, -3, 0), W4 = 2x16 (11, 1000), W5 = 1x32 (1); in
// little-endian data the 4x8 bytes stay in sample order and each 16-bit half is swapped in place.
TEST(Steim, DecodesHandMadeFrames) {
    const std::tuple<const char*, int, int> frames[] = {
        {"03800000 0000000A 000003FD 000BD00B 81F40001", kEncodingSteim2, 1},
        {"00008003 0A000000 FD030000 0BD00B00 0100F481", kEncodingSteim2, 0},
        {"01B00000 0000000A 000003FD 0002FD00 000B03E8 00000001", kEncodingSteim1, 1},
        {"0000B001 0A000000 FD030000 0002FD00 0B00E803 01000000", kEncodingSteim1, 0},
    };
    for (const auto& [hex, encoding, wordOrder] : frames) {
        EXPECT_EQ(Decoded(Hex(hex), encoding, wordOrder),
                  (SampleList{10, 12, 9, 9, 20, 1020, 1021}))
            << hex;
    }
    const SampleList int32 = Decoded(Hex("FFFFFFFE 80000000"), kEncodingInt32, 1);
    ASSERT_EQ(int32.size(), 112u);
    EXPECT_EQ(int32[0], -2);
    EXPECT_EQ(int32[1], kMin);
    // W3 = 4x8, W4 = code 2 with sub-code 0, which is illegal and ends the decoding, W5 = 4x8.
    EXPECT_EQ(
        Decoded(Hex("01900000 00000005 00000000 00010101 00000001 01010101"), kEncodingSteim2, 1),
        (SampleList{5, 6, 7, 8}));
    EXPECT_TRUE(Decoded("", 12, 1).empty()); // an unknown encoding
}

} // namespace
} // namespace vibrex::test
