#include "formats/ConversionTest.h"

#include <tuple>

namespace vibrex::test {
namespace {

class Wav : public ConversionTest {
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
        return ReadFile(output);
    }
};

// The header worked out by hand: RIFF size 36 + 9, format size 16, PCM, mono, 100 samples per
// second, 300 bytes per second, 3 bytes a sample, 24 bits, 9 bytes.
TEST_F(Wav, HeaderByteForByteAndAsAnIndependentReaderSeesIt) {
    const std::string file = ConvertToWav(
        {"Number of Samples: 3", "SPS: 100", "A/D Converter Bits: 24"}, {"1", "2", "3"}, 24);
    EXPECT_EQ(file, "RIFF" + Hex("2D000000") + "WAVEfmt " +
                        Hex("10000000 0100 0100 64000000 2C010000 0300 1800") + "data" +
                        Hex("09000000 010000 020000 030000"));
    // What an independent reader makes of the file: rate, channels, bits and samples, a line each;
    // nothing when sox is not installed.
    std::string independent;
    for (const char* option : {"-r", "-c", "-b", "-s"}) {
        independent += CommandOutput(std::string("soxi ") + option + " '" +
                                     (m_folder / "out.wav").string() + "' 2>/dev/null");
    }
    if (independent.empty()) {
        GTEST_SKIP() << "soxi (Debian package sox) is not installed";
    }
    EXPECT_EQ(independent, "100\n1\n24\n3\n");
}

// A sampling rate chosen in the settings relabels the samples without resampling, and replaces
// a channel's own rate that a WAV header cannot hold.
TEST_F(Wav, RateFromTheSettings) {
    const std::string file =
        ConvertToWav({"Number of Samples: 3", "SPS: 75.19"}, {"1", "2", "3"}, 16, 1, 44100);
    EXPECT_EQ(file.substr(24, 8), Hex("44AC0000 88580100"));
    EXPECT_EQ(file.substr(40), Hex("06000000 0100 0200 0300"));
}

// Samples round half to even and clip to the width. Finer converters are scaled down to the
// width after the factor; coarser data are never scaled up. 24-bit bytes are each rounded on
// their own, so 200 (0.78 of 256) lifts its middle byte.
TEST_F(Wav, SamplesScaledRoundedAndClipped) {
    const std::tuple<const char*, std::int32_t, std::int32_t, std::vector<std::string>, const char*>
        cases[] = {
            {"",
             16,
             1,
             {"0", "1.5", "2.5", "-1.5", "40000", "-40000", "-7"},
             "0000 0200 0200 FEFF FF7F 0080 F9FF"},
            {"", 24, 1, {"200", "-256", "9e6", "-9e6"}, "C80100 00FF00 FF0080 000080"},
            {"", 32, 1, {"3e9", "-3e9", "2.5", "-2.5"}, "FFFFFF7F 00000080 02000000 FEFFFFFF"},
            {"24", 16, 2, {"128000"}, "E803"},   // 256000 / 256
            {"32", 16, 1, {"98304"}, "0200"},    // 1.5 rounds to 2
            {"32", 24, 1, {"262912"}, "030400"}, // 262912 / 256 = 1027
            {"16", 24, 1, {"300"}, "2C0100"},    // not multiplied
            {"24", 32, 3, {"300"}, "84030000"},  // 900, not multiplied
            {"", 8, 1, {"5"}, ""},               // no 8-bit layout: the header alone, data size 0
        };
    for (const auto& [converterBits, bitCount, factor, samples, expected] : cases) {
        const std::string file =
            ConvertToWav({"Number of Samples: " + std::to_string(samples.size()), "SPS: 1",
                          std::string("A/D Converter Bits: ") + converterBits},
                         samples, bitCount, factor);
        EXPECT_EQ(file.substr(44), Hex(expected)) << converterBits << " to " << bitCount;
    }
}

} // namespace
} // namespace vibrex::test
