#include "formats/ByteOrder.h"
#include "formats/ConversionTest.h"

#include <cstdint>
#include <cstdio>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace vibrex::test {
namespace {

// The 44-byte header as a WAV reader sees it.
struct WavHeader {
    std::string riff, wave, fmt, data;
    std::uint32_t riffSize, fmtSize, sampleRate, byteRate, dataSize;
    std::uint16_t audioFormat, channels, blockAlign, bitsPerSample;
};

WavHeader ParseHeader(const std::string& file) {
    const auto* at = reinterpret_cast<const unsigned char*>(file.data());
    const auto u32 = [&](std::size_t offset) {
        return LoadAs<std::uint32_t>(at + offset, ByteOrder::Little);
    };
    const auto u16 = [&](std::size_t offset) {
        return LoadAs<std::uint16_t>(at + offset, ByteOrder::Little);
    };
    return {file.substr(0, 4),
            file.substr(8, 4),
            file.substr(12, 4),
            file.substr(36, 4),
            u32(4),
            u32(16),
            u32(24),
            u32(28),
            u32(40),
            u16(20),
            u16(22),
            u16(32),
            u16(34)};
}

std::string Bytes(std::initializer_list<std::uint8_t> bytes) {
    return std::string(bytes.begin(), bytes.end());
}

// What an independent reader makes of the file: "rate channels bits samples", or nothing when
// sox is not installed.
std::string Soxi(const std::filesystem::path& file) {
    std::string result;
    for (const char* option : {"-r", "-c", "-b", "-s"}) {
        const std::string command =
            std::string("soxi ") + option + " '" + file.string() + "' 2>/dev/null";
        FILE* pipe = popen(command.c_str(), "r");
        char line[64] = {};
        const bool read = pipe != nullptr && std::fgets(line, sizeof line, pipe) != nullptr;
        if (pipe != nullptr) {
            pclose(pipe);
        }
        if (!read) {
            return {};
        }
        result += (result.empty() ? "" : " ") + std::string(line, std::strcspn(line, "\n"));
    }
    return result;
}

class WavConversion : public ConversionTest {
protected:
    // Converts one channel to WAV and returns the file written.
    std::string ConvertToWav(const std::vector<std::string>& header,
                             const std::vector<std::string>& samples, std::int32_t bitCount,
                             std::int32_t factor = 1, std::int32_t samplingRate = 0) {
        const auto output = m_folder / "out.wav";
        EXPECT_TRUE(Add(Input("in.psn", PsnText(header, samples)), FileFormat::WAV, output));
        m_engine.SetWAVBitCount(0, bitCount);
        m_engine.SetWAVFactor(0, factor);
        m_engine.SetWAVSamplingRate(0, samplingRate);
        EXPECT_EQ(Convert(), ConversionStatus::Success) << LastMessage();
        m_engine.RemoveFile(0);
        return ReadFile(output);
    }
};

TEST_F(WavConversion, HeaderReadByAnIndependentReader) {
    const std::string file = ConvertToWav(
        {"Number of Samples: 3", "SPS: 100.5", "A/D Converter Bits: 24"}, {"1", "2", "3"}, 24);
    const WavHeader header = ParseHeader(file);
    EXPECT_EQ(header.riff + header.wave + header.fmt + header.data, "RIFFWAVEfmt data");
    EXPECT_EQ(header.riffSize, 45u);
    EXPECT_EQ(header.fmtSize, 16u);
    EXPECT_EQ(header.audioFormat, 1u);
    EXPECT_EQ(header.channels, 1u);
    EXPECT_EQ(header.sampleRate, 100u); // 100.5 rounded half to even
    EXPECT_EQ(header.byteRate, 300u);
    EXPECT_EQ(header.blockAlign, 3u);
    EXPECT_EQ(header.bitsPerSample, 24u);
    EXPECT_EQ(header.dataSize, 9u);
    EXPECT_EQ(file.size(), 53u);

    const std::string independent = Soxi(m_folder / "out.wav");
    if (independent.empty()) {
        GTEST_SKIP() << "soxi (Debian package sox) is not installed";
    }
    EXPECT_EQ(independent, "100 1 24 3");
}

TEST_F(WavConversion, SixteenBitsRoundHalfToEvenAndClip) {
    const std::string file = ConvertToWav({"Number of Samples: 7"},
                                          {"0", "1.5", "2.5", "-1.5", "40000", "-40000", "-7"}, 16);
    EXPECT_EQ(file.substr(44),
              Bytes({0, 0, 2, 0, 2, 0, 0xFE, 0xFF, 0xFF, 0x7F, 0x00, 0x80, 0xF9, 0xFF}));
}

// Finer converters are scaled down to the chosen width after the factor; coarser data are
// never scaled up.
TEST_F(WavConversion, ConverterBitsScaleDownOnly) {
    struct Case {
        const char* converterBits;
        std::int32_t bitCount;
        std::int32_t factor;
        const char* sample;
        std::string expected;
    };
    const Case cases[] = {
        {"24", 16, 2, "640", Bytes({5, 0})},          // 1280 / 256
        {"32", 16, 1, "98304", Bytes({2, 0})},        // 1.5 rounds to 2
        {"32", 24, 1, "1280", Bytes({5, 0, 0})},      // 1280 / 256
        {"16", 24, 1, "300", Bytes({0x2C, 1, 0})},    // not multiplied
        {"24", 32, 3, "300", Bytes({0x84, 3, 0, 0})}, // 900, not multiplied
        {"", 16, 1, "300", Bytes({0x2C, 1})},         // no converter bits: as it is
    };
    for (const Case& c : cases) {
        const std::string file = ConvertToWav(
            {"Number of Samples: 1", std::string("A/D Converter Bits: ") + c.converterBits},
            {c.sample}, c.bitCount, c.factor);
        EXPECT_EQ(file.substr(44), c.expected) << c.converterBits << " to " << c.bitCount;
    }
}

TEST_F(WavConversion, WideSamplesClipAndRoundByteByByte) {
    // 24 bits: each byte is rounded on its own, so 200 (0.78 of 256) lifts its middle byte.
    EXPECT_EQ(ConvertToWav({"Number of Samples: 4"}, {"200", "-256", "9e6", "-9e6"}, 24).substr(44),
              Bytes({0xC8, 1, 0, 0, 0xFF, 0, 0xFF, 0, 0x80, 0, 0, 0x80}));
    EXPECT_EQ(ConvertToWav({"Number of Samples: 4"}, {"3e9", "-3e9", "2.5", "-2.5"}, 32).substr(44),
              Bytes({0xFF, 0xFF, 0xFF, 0x7F, 0, 0, 0, 0x80, 2, 0, 0, 0, 0xFE, 0xFF, 0xFF, 0xFF}));
}

TEST_F(WavConversion, SamplingRateSettingRelabelsWithoutResampling) {
    const std::string file =
        ConvertToWav({"Number of Samples: 4", "SPS: 100"}, {"1", "2", "3", "4"}, 16, 1, 44100);
    const WavHeader header = ParseHeader(file);
    EXPECT_EQ(header.sampleRate, 44100u);
    EXPECT_EQ(header.byteRate, 88200u);
    EXPECT_EQ(file.substr(44), Bytes({1, 0, 2, 0, 3, 0, 4, 0}));
}

TEST_F(WavConversion, SizesComeFromTheHeaderCount) {
    const std::string file = ConvertToWav({"Number of Samples: 10"}, {"1", "2", "3"}, 16);
    EXPECT_EQ(ParseHeader(file).dataSize, 20u);
    EXPECT_EQ(ParseHeader(file).riffSize, 56u);
    EXPECT_EQ(file.size(), 50u);
}

TEST_F(WavConversion, EveryChannelItsOwnMonoFile) {
    for (int channel = 1; channel <= 3; ++channel) {
        const std::string sample = std::to_string(channel * 10);
        ASSERT_TRUE(m_engine.AddFile(
            Input("in" + sample + ".psn", PsnText({"Number of Samples: 1", "SPS: 50"}, {sample}))
                .string()));
    }
    m_engine.SetFileOutputFormat(0, FileFormat::WAV);
    m_engine.SetWAVBitCount(0, 16);
    m_engine.SetMergeFilePath((m_folder / "out.wav").string());
    m_engine.StartConversion();
    for (int channel = 1; channel <= 3; ++channel) {
        const std::string file = ReadFile(m_folder / ("out" + std::to_string(channel) + ".wav"));
        ASSERT_EQ(file.size(), 46u) << channel;
        EXPECT_EQ(ParseHeader(file).channels, 1u);
        EXPECT_EQ(ParseHeader(file).sampleRate, 50u);
        EXPECT_EQ(file.substr(44), Bytes({static_cast<std::uint8_t>(channel * 10), 0}));
    }
    EXPECT_FALSE(std::filesystem::exists(m_folder / "out.wav"));
}

} // namespace
} // namespace vibrex::test
