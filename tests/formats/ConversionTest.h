#pragma once

#include "engine/ClsConverter.h"
#include "engine/Codec.h"
#include "engine/FormatCatalogue.h"
#include "io/TimeText.h"
#include "support/TestSupport.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

// What the format tests share: bytes written by hand, sample lists, and an engine whose work
// folder lives in a temporary folder, converting one file at a time.
namespace vibrex::test {

using SampleList = std::vector<std::int32_t>;
constexpr std::int32_t kMin = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kMax = std::numeric_limits<std::int32_t>::max();

// Bytes from pairs of hexadecimal digits; blanks between pairs are for the reader.
inline std::string Hex(std::string_view hex) {
    std::string bytes;
    for (std::size_t i = 0; i < hex.size(); ++i) {
        if (hex[i] != ' ') {
            bytes += static_cast<char>(std::stoi(std::string(hex.substr(i++, 2)), nullptr, 16));
        }
    }
    return bytes;
}

inline std::string Lines(const std::vector<std::string>& lines, const std::string& end = "\n") {
    std::string text;
    for (const std::string& line : lines) {
        text += line + end;
    }
    return text;
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

inline SampleList Negated(SampleList samples) {
    std::transform(samples.begin(), samples.end(), samples.begin(), std::negate<>());
    return samples;
}

// The lines after the "Data: " line of a PSN ASCII file that Vibrex wrote.
inline std::vector<std::string> DataLines(const std::filesystem::path& psn) {
    const auto lines = ReadLines(psn);
    const auto data = std::find(lines.begin(), lines.end(), "Data: ");
    return data == lines.end() ? std::vector<std::string>() : std::vector(data + 1, lines.end());
}

inline std::vector<std::string> Texts(const SampleList& samples) {
    std::vector<std::string> texts;
    for (const std::int32_t sample : samples) {
        texts.push_back(std::to_string(sample));
    }
    return texts;
}

// The refusal of the format's header loader; empty when it loads the file.
inline std::string Refusal(FileFormat format, const std::filesystem::path& path) {
    try {
        FindFormat(format)->codec.loadHeader(path);
    } catch (const HeaderLoadError& error) {
        return error.what();
    }
    return "";
}

// What a shell command writes to its standard output; an independent reader's view of a file.
inline std::string CommandOutput(const std::string& command) {
    std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
    std::string output;
    for (int c; pipe && (c = std::fgetc(pipe.get())) != EOF;) {
        output += static_cast<char>(c);
    }
    return output;
}

// The samples of a PSN ASCII file that Vibrex wrote.
inline SampleList PsnSamples(const std::filesystem::path& psn) {
    SampleList samples;
    for (const std::string& line : DataLines(psn)) {
        samples.push_back(std::stoi(line));
    }
    return samples;
}

class ConversionTest : public ::testing::Test {
protected:
    std::filesystem::path Input(const std::string& name, const std::string& bytes) {
        WriteFile(m_folder / name, bytes);
        return m_folder / name;
    }

    // Makes `input` the only file of the list; false when the engine refused it.
    bool Add(const std::filesystem::path& input, FileFormat outputFormat,
             const std::filesystem::path& output) {
        if (!AddAll({input}, outputFormat)) {
            return false;
        }
        m_engine.SetFileOutputPath(0, output.string());
        return true;
    }

    // Makes `inputs` the files of the list, the first converted to `outputFormat`.
    bool AddAll(const std::vector<std::filesystem::path>& inputs, FileFormat outputFormat) {
        while (m_engine.FilesCount() > 0) {
            m_engine.RemoveFile(0);
        }
        for (const auto& input : inputs) {
            if (!m_engine.AddFile(input.string())) {
                return false;
            }
        }
        m_engine.SetFileOutputFormat(0, outputFormat);
        return true;
    }

    ConversionStatus Convert(bool inversion = false) {
        m_engine.SetDataInversion(inversion);
        m_engine.StartConversion();
        return m_engine.FileStatus(0);
    }

    // Idle when the engine refused the file.
    ConversionStatus ConvertOne(const std::filesystem::path& input, FileFormat outputFormat,
                                const std::filesystem::path& output, bool inversion = false) {
        return Add(input, outputFormat, output) ? Convert(inversion) : ConversionStatus::Idle;
    }

    // Converts `input` into `output`, which must succeed; `output`.
    std::filesystem::path Converted(const std::filesystem::path& input, FileFormat outputFormat,
                                    const std::filesystem::path& output, bool inversion = false) {
        EXPECT_EQ(ConvertOne(input, outputFormat, output, inversion), ConversionStatus::Success)
            << input << ": " << m_engine.FileErrorText(0);
        return output;
    }

    // Merges `inputs`, in order, into `output`; the status of the first file, or Idle when the
    // engine refused one of them.
    ConversionStatus Merge(const std::vector<std::filesystem::path>& inputs,
                           FileFormat outputFormat, const std::filesystem::path& output) {
        if (!AddAll(inputs, outputFormat)) {
            return ConversionStatus::Idle;
        }
        m_engine.SetMergeFilePath(output.string());
        const ConversionStatus status = Convert();
        m_engine.SetMergeFilePath("");
        return status;
    }

    std::string LastMessage() const {
        return m_host.messages.empty() ? std::string() : m_host.messages.back();
    }

    bool WorkFolderIsEmpty() const { return std::filesystem::is_empty(m_engine.WorkFolder()); }

    // Converts the file of the list, which must fail with `detail` in the message and leave
    // neither an intermediate nor an output file behind.
    void ExpectFailure(const std::string& detail, bool inversion = false) {
        EXPECT_EQ(Convert(inversion), ConversionStatus::Failed);
        EXPECT_NE(LastMessage().find(detail), std::string::npos) << LastMessage();
        EXPECT_TRUE(WorkFolderIsEmpty());
        EXPECT_FALSE(std::filesystem::exists(m_engine.FileOutputPath(0)));
    }

    enum class Stage { Added, Converted, Either };
    // Adds an input of `bytes` and converts it to PSN ASCII. With a `detail`, it must give that
    // text when it is added or when it is converted, as `stage` says, leaving no output of any
    // channel and no intermediate file; without one, it must convert.
    void ExpectFault(const std::string& name, const std::string& bytes, const std::string& detail,
                     Stage stage = Stage::Either) {
        SCOPED_TRACE(bytes);
        m_host.messages.clear();
        std::string fault;
        const bool added = Add(Input(name, bytes), FileFormat::PSNINT, m_folder / "fault.psn");
        if (!added) {
            fault = LastMessage();
        } else if (Convert() != ConversionStatus::Success) {
            fault = m_engine.FileErrorText(0);
            EXPECT_TRUE(WorkFolderIsEmpty());
            EXPECT_FALSE(std::filesystem::exists(m_folder / "fault.psn"));
            EXPECT_FALSE(std::filesystem::exists(m_folder / "fault1.psn"));
        }
        if (stage != Stage::Either) {
            EXPECT_EQ(added, stage == Stage::Converted) << fault;
        }
        if (detail.empty()) {
            EXPECT_EQ(fault, "");
        } else {
            EXPECT_NE(fault.find(detail), std::string::npos) << fault;
        }
    }

    // A PSN ASCII input of the samples, under a full header unless other lines are given.
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
        return Input(name, PsnText(headerLines, Texts(samples)));
    }

    // The samples written by Vibrex as miniSEED, through a PSN ASCII input.
    std::filesystem::path WrittenMiniSeed(const std::string& name, const SampleList& samples,
                                          std::vector<std::string> headerLines = {}) {
        return Converted(PsnInput(name + ".psn", samples, std::move(headerLines)),
                         FileFormat::miniSeed, m_folder / (name + ".mseed"));
    }

    // A file's samples as Vibrex reads them, through a PSN ASCII output.
    SampleList ReadSamples(const std::filesystem::path& input, bool inversion = false) {
        return PsnSamples(Converted(input, FileFormat::PSNINT,
                                    m_folder / (input.filename().string() + ".read.psn"),
                                    inversion));
    }

    TempFolder m_folder;
    RecordingHost m_host;
    ClsConverter m_engine{&m_host, m_folder.Path()};
};

} // namespace vibrex::test
