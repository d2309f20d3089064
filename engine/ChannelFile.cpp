#include "engine/ChannelFile.h"

#include "engine/Codec.h"
#include "io/Numbers.h"

#include <stdexcept>

namespace vibrex {

std::optional<HeaderLine> SplitHeaderLine(std::string_view line) {
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos) {
        return std::nullopt;
    }
    return HeaderLine{ToUpper(TrimBlanks(line.substr(0, colon))),
                      TrimBlanks(line.substr(colon + 1))};
}

bool IsDataKey(std::string_view upperKey) {
    return upperKey == "DATA";
}

bool IsDataLine(std::string_view line) {
    const auto header = SplitHeaderLine(line);
    return header && IsDataKey(header->key);
}

void WriteChannelHeader(OutputFile& out, const HeaderValues& values, std::string_view formatName) {
    std::string line;
    const auto writeProperty = [&](int property) {
        line.assign(HeaderPropertyLabel(property));
        line += values[static_cast<std::size_t>(property)];
        out.Line(line);
    };
    out.Line("! PSN ASCII Event File Format 2.0");
    for (int property = kStartTime; property <= kDataMinimum; ++property) {
        writeProperty(property);
    }
    out.Line("! Sensor Information:");
    for (int property = kSensorLocation; property <= kOffset; ++property) {
        writeProperty(property);
    }
    line.assign("File Format: ");
    line += formatName;
    out.Line(line);
    out.Line("Data: ");
}

bool ReadHeaderBlock(LineReader& in, HeaderValues& values) {
    std::string_view line;
    while (in.Next(line)) {
        const auto header = SplitHeaderLine(line);
        if (!header) {
            continue;
        }
        if (IsDataKey(header->key)) {
            return true;
        }
        const int property = HeaderPropertyForKey(header->key);
        if (property >= 0) {
            values[static_cast<std::size_t>(property)].assign(header->value);
        }
    }
    return false;
}

ChannelFileReader::ChannelFileReader(const std::filesystem::path& path)
    : ChannelFileReader(LineReader(path), path) {}

ChannelFileReader::ChannelFileReader(LineReader lines, const std::filesystem::path& path)
    : m_lines(std::move(lines)) {
    if (!m_lines.IsOpen()) {
        throw std::runtime_error(CantOpenIntermediateFile(path));
    }
    ReadHeaderBlock(m_lines, m_header);
}

} // namespace vibrex
