#pragma once

#include <cstdint>

// The data area of a 512-byte miniSEED record: seven 64-byte frames of Steim-1 or Steim-2
// compressed differences, or 112 plain 32-bit integers.
namespace vibrex {

inline constexpr int kSteimDataBytes = 448;
// The sample buffer shared by the codec and its callers: indexes 0..800.
inline constexpr int kSteimBufferSamples = 801;
// The encoder packs from samples[1..734]; a caller calls it when its fill index reaches this.
inline constexpr int kSteimEncodeEnd = 735;

inline constexpr int kEncodingInt32 = 3;
inline constexpr int kEncodingSteim1 = 10;
inline constexpr int kEncodingSteim2 = 11;
// Word order 0: little-endian; 1: big-endian (the standard order of Steim frames).

// Decodes a data area into samples[0..] and sets the rest of the buffer, up to index 800, to 0.
// Returns how many samples the data area holds: at most 721 (Steim-2), 412 (Steim-1) or 112
// (32-bit integers); 0 for an unknown encoding. An illegal Steim-2 word ends the decoding.
// Whatever the bytes say, nothing outside data[0..447] and samples[0..800] is touched.
std::int32_t decode_steim(const unsigned char* data, std::int32_t* samples, int encoding,
                          int wordOrder);

// Packs as many of samples[1..734] as fit into the data area, samples[0] being the last sample
// of the previous record (0 before the first). Returns r: the record holds the first 735 - r
// samples; the ones that did not fit are moved to samples[1..r-1], and samples[0] becomes the
// last packed sample. Differences wrap at 32 bits, as decoders sum them; a Steim-2 difference
// beyond 30 bits ends the record, so the next one starts at that sample. An unknown encoding
// packs nothing.
std::int32_t encode_steim(std::int32_t* samples, unsigned char* data, int encoding, int wordOrder);

} // namespace vibrex
