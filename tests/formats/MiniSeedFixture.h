#pragma once

#include "formats/ConversionTest.h"
#include "formats/Numbers.h"

#include <cstdint>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

// Conversions of miniSEED files through the whole engine, for the format's own tests and for
// the cross-checks against an independent reader and writer.
namespace vibrex::test {

using SampleList = std::vector<std::int32_t>;

// The samples of a PSN ASCII file (the lines after "Data:").
inline SampleList PsnSamples(const std::filesystem::path& path) {
    SampleList samples;
    bool inData = false;
    for (const std::string& line : ReadLines(path)) {
        if (inData) {
            samples.push_back(ParseSampleInt32(line).value_or(-1));
        } else {
            inData = line.starts_with("Data:");
        }
    }
    return samples;
}

// A random walk whose steps take 1 to `maxStepBits` bits, wrapping around at 32 bits.
inline SampleList RandomWalk(std::size_t count, int maxStepBits, unsigned seed) {
    std::mt19937 random(seed);
    std::uniform_int_distribution<int> bits(1, maxStepBits);
    SampleList samples;
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const std::int64_t limit = (std::int64_t{1} << (bits(random) - 1)) - 1;
        value += static_cast<std::uint32_t>(
            std::uniform_int_distribution<std::int64_t>(-limit - 1, limit)(random));
        samples.push_back(static_cast<std::int32_t>(value));
    }
    return samples;
}

class MiniSeedFixture : public ConversionTest {
protected:
    // Converts the one file of the list; its final status.
    ConversionStatus ConvertOne(const std::filesystem::path& input, FileFormat outputFormat,
                                const std::filesystem::path& output, bool inversion = false) {
        while (m_engine.FilesCount() > 0) {
            m_engine.RemoveFile(0);
        }
        if (!Add(input, outputFormat, output)) {
            return ConversionStatus::Idle;
        }
        m_engine.SetDataInversion(inversion);
        return Convert();
    }

    // A PSN ASCII input with the given header lines (without "Data:") and samples.
    std::filesystem::path PsnInput(const std::string& name, const SampleList& samples,
                                   std::vector<std::string> headerLines = {}) {
        if (headerLines.empty()) {
            headerLines = {"Start Time: 2016/02/29 23:59:58.1234",
                           "SPS: 100",
                           "Station Code: STAT",
                           "Sensor Location: 00",
                           "Component Name: HHZ",
                           "Network Affiliation: XX"};
        }
        headerLines.push_back("Number of Samples: " + std::to_string(samples.size()));
        std::vector<std::string> lines;
        for (const std::int32_t sample : samples) {
            lines.push_back(std::to_string(sample));
        }
        return Input(name, PsnText(headerLines, lines));
    }

    // The samples written by Vibrex as miniSEED, through a PSN ASCII input.
    std::filesystem::path WrittenMiniSeed(const std::string& name, const SampleList& samples,
                                          std::vector<std::string> headerLines = {}) {
        const auto input = PsnInput(name + ".psn", samples, std::move(headerLines));
        const auto output = m_folder / (name + ".mseed");
        EXPECT_EQ(ConvertOne(input, FileFormat::miniSeed, output), ConversionStatus::Success);
        return output;
    }

    // A miniSEED file as Vibrex reads it, through a PSN ASCII output.
    SampleList ReadMiniSeed(const std::filesystem::path& input, bool inversion = false) {
        const auto output = m_folder / (input.filename().string() + ".read.psn");
        EXPECT_EQ(ConvertOne(input, FileFormat::PSNINT, output, inversion),
                  ConversionStatus::Success);
        return PsnSamples(output);
    }
};

} // namespace vibrex::test
