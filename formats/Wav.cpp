#include "engine/Codec.h"
#include "formats/ChannelValues.h"
#include "formats/ChannelWriter.h"
#include "io/ByteOrder.h"
#include "io/FileIO.h"
#include "io/Numbers.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <string>

// WAV output: one uncompressed PCM mono file per channel, so that a recording can be listened
// to. The samples are scaled and clipped to the chosen width, never resampled.
namespace vibrex {

namespace {

// The 44-byte header, all integers little-endian.
namespace field {
constexpr std::size_t kRiff = 0;           // "RIFF"
constexpr std::size_t kRiffSize = 4;       // data size + 36
constexpr std::size_t kWave = 8;           // "WAVE"
constexpr std::size_t kFmt = 12;           // "fmt "
constexpr std::size_t kFmtSize = 16;       // 16
constexpr std::size_t kAudioFormat = 20;   // 16 bits: 1, PCM
constexpr std::size_t kChannels = 22;      // 16 bits: 1
constexpr std::size_t kSampleRate = 24;    // samples per second
constexpr std::size_t kByteRate = 28;      // bits per sample × rate ÷ 8
constexpr std::size_t kBlockAlign = 32;    // 16 bits: bits per sample ÷ 8
constexpr std::size_t kBitsPerSample = 34; // 16 bits
constexpr std::size_t kData = 36;          // "data"
constexpr std::size_t kDataSize = 40;      // bits per sample × samples ÷ 8
} // namespace field

constexpr std::size_t kHeaderSize = 44;
constexpr std::int64_t kRiffRest = 36; // the header bytes after the RIFF size field

using WavHeader = std::array<unsigned char, kHeaderSize>;

template <typename T> void Put(WavHeader& header, std::size_t offset, T value) {
    StoreAs(header.data() + offset, value, ByteOrder::Little);
}

void PutTag(WavHeader& header, std::size_t offset, const char (&tag)[5]) {
    std::memcpy(header.data() + offset, tag, 4);
}

// A size or rate of the header; one that its 32-bit field cannot hold fails the channel.
std::uint32_t SizeField(double value, const char* what) {
    if (!(value >= 0 && value <= std::numeric_limits<std::uint32_t>::max())) {
        throw std::runtime_error(std::string("The ") + what + " " + NumberToText(value) +
                                 " does not fit a WAV header.");
    }
    return static_cast<std::uint32_t>(value);
}

struct Layout {
    std::int32_t bitCount;
    double sampleCount;
    double sampleRate;
};

// A WAV header states whole samples per second: a channel's own rate must be one (a rate chosen
// in the settings replaces it).
std::string RateProblem(double rate) {
    if (rate >= 1 && rate == std::floor(rate)) {
        return {};
    }
    return "WAV stores whole samples per second, not " + NumberToText(rate) +
           " (a sampling rate chosen in the WAV settings relabels the samples).";
}

// A sampling rate chosen in the settings relabels the samples; otherwise the channel's own. The
// sample count is the one announced until the samples are written and counted.
Layout ChannelLayout(const HeaderValues& values, const WavSettings& settings) {
    Layout layout{settings.bitCount,
                  static_cast<double>(HeaderWholeNumber(values, kNumberOfSamples).value_or(0)),
                  static_cast<double>(settings.samplingRate)};
    if (settings.samplingRate <= 0) {
        const double rate = RequiredRate(values, "WAV");
        if (const std::string problem = RateProblem(rate); !problem.empty()) {
            throw std::runtime_error(problem);
        }
        layout.sampleRate = rate;
    }
    return layout;
}

WavHeader BuildHeader(const Layout& layout) {
    const double dataSize = RoundHalfEven(layout.bitCount * layout.sampleCount / 8);
    WavHeader header{};
    PutTag(header, field::kRiff, "RIFF");
    Put(header, field::kRiffSize, SizeField(dataSize + kRiffRest, "file size"));
    PutTag(header, field::kWave, "WAVE");
    PutTag(header, field::kFmt, "fmt ");
    Put(header, field::kFmtSize, std::uint32_t{16});
    Put(header, field::kAudioFormat, std::uint16_t{1});
    Put(header, field::kChannels, std::uint16_t{1});
    Put(header, field::kSampleRate, SizeField(layout.sampleRate, "sampling rate"));
    Put(header, field::kByteRate,
        SizeField(RoundHalfEven(layout.bitCount * layout.sampleRate / 8), "byte rate"));
    Put(header, field::kBlockAlign,
        static_cast<std::uint16_t>(RoundHalfEven(layout.bitCount / 8.0)));
    Put(header, field::kBitsPerSample, static_cast<std::uint16_t>(layout.bitCount));
    PutTag(header, field::kData, "data");
    Put(header, field::kDataSize, SizeField(dataSize, "data size"));
    return header;
}

// Data of a finer converter are brought down to the chosen width; coarser data are never
// scaled up.
double ResolutionDivisor(std::int32_t converterBits, std::int32_t bitCount) {
    if ((converterBits == 24 && bitCount == 16) || (converterBits == 32 && bitCount == 24)) {
        return 256;
    }
    if (converterBits == 32 && bitCount == 16) {
        return 65536;
    }
    return 1;
}

// Beyond the width's range a sample is clipped; a sample that is not a number is silence.
double Clip(double value, double low, double high) {
    if (std::isnan(value)) {
        return 0;
    }
    return value < low ? low : (value > high ? high : value);
}

unsigned char RoundedByte(double value) {
    return static_cast<unsigned char>(static_cast<std::int64_t>(RoundHalfEven(value)) & 255);
}

// False, with nothing written, for a width without a sample layout.
bool PutSample(OutputFile& out, double value, std::int32_t bitCount) {
    unsigned char bytes[4];
    switch (bitCount) {
    case 16:
        StoreAs(bytes, static_cast<std::int16_t>(RoundHalfEven(Clip(value, -32768, 32767))),
                ByteOrder::Little);
        out.Write(bytes, 2);
        return true;
    case 24: {
        // Each byte is rounded on its own rather than shifted out of one integer, as 24-bit
        // files have always been written: a higher byte comes out one too high when the part
        // below it is half or more.
        const double clipped = Clip(value, -8388608, 8388607);
        bytes[0] = RoundedByte(clipped);
        bytes[1] = RoundedByte(clipped / 256);
        bytes[2] = RoundedByte(clipped / 65536);
        out.Write(bytes, 3);
        return true;
    }
    case 32:
        StoreAs(bytes,
                static_cast<std::int32_t>(RoundHalfEven(Clip(value, -2147483648.0, 2147483647.0))),
                ByteOrder::Little);
        out.Write(bytes, 4);
        return true;
    default:
        return false; // a width without a sample layout writes the header alone
    }
}

// Writes one channel's WAV file; false when the user aborted.
bool WriteChannel(ChannelFiles& files, WriterContext& context, const WavSettings& settings) {
    const HeaderValues& values = files.in.Header();
    Layout layout = ChannelLayout(values, settings);
    const WavHeader announced = BuildHeader(layout);
    files.out.Write(announced.data(), kHeaderSize);

    // Scaling by a power of two is exact, so one product equals multiplying then dividing.
    const double scale =
        settings.factor / ResolutionDivisor(HeaderWholeNumber(values, kAdConverterBits).value_or(0),
                                            settings.bitCount);
    std::int64_t count = 0;
    std::string_view text;
    while (files.in.NextSample(text)) {
        count += PutSample(files.out, SampleNumber(text) * scale, settings.bitCount) ? 1 : 0;
        if (!context.Tick()) {
            return false;
        }
    }
    // Sizes that came out as announced stay as written, so such an output streams to a pipe.
    layout.sampleCount = static_cast<double>(count);
    if (const WavHeader written = BuildHeader(layout); written != announced) {
        files.out.Overwrite(0, written.data(), kHeaderSize);
    }
    return true;
}

void WriteWav(WriterContext& context) {
    const WavSettings settings = context.Wav();
    WriteEachChannel(context,
                     [&](ChannelFiles& files) { return WriteChannel(files, context, settings); });
}

} // namespace

const FormatCodec kWavCodec{nullptr, nullptr, WriteWav, {0, 0, 0, true, RateProblem}};

} // namespace vibrex
