#pragma once

#include "engine/HeaderProperties.h"
#include "io/FileIO.h"
#include "io/Numbers.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

// The intermediate channel file: a PSN ASCII event header of "Key: value" lines, a "Data: "
// line, then one sample per line. Every reader writes it and every writer reads it.
namespace vibrex {

struct HeaderLine {
    std::string key;        // trimmed, upper case
    std::string_view value; // trimmed text after the first colon
};

// Splits "Key: value"; nothing for a line without a colon.
std::optional<HeaderLine> SplitHeaderLine(std::string_view line);
bool IsDataKey(std::string_view upperKey);
// The "Data:" line after which the samples follow.
bool IsDataLine(std::string_view line);

// The 36 header lines, ending with "Data: ".
void WriteChannelHeader(OutputFile& out, const HeaderValues& values, std::string_view formatName);

// Reads header lines into `values` up to and including the "Data:" line (or the end of the
// input); unknown keys are ignored. Returns false when no "Data:" line was found.
bool ReadHeaderBlock(LineReader& in, HeaderValues& values);

// An intermediate channel file opened for reading: its header, then its samples.
class ChannelFileReader {
public:
    // Throws std::runtime_error with the "Can't open an intermediate file:" detail.
    explicit ChannelFileReader(const std::filesystem::path& path);
    // The file `lines` reads, opened from `path`.
    ChannelFileReader(LineReader lines, const std::filesystem::path& path);
    const HeaderValues& Header() const { return m_header; }
    // The next sample's text (trimmed); blank lines are skipped. False at the end. Inline: it
    // runs once for every sample.
    bool NextSample(std::string_view& text) {
        while (m_lines.Next(text)) {
            text = TrimBlanks(text);
            if (!text.empty()) {
                return true;
            }
        }
        return false;
    }

private:
    LineReader m_lines;
    HeaderValues m_header;
};

} // namespace vibrex
