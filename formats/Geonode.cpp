// Geonode datalogs: a marker line, "! Key: value" header or comment lines, then one sample a
// line. A line of several fields ("index,value" or "time value", as loggers write them) holds
// its sample last. One channel, no header property carried: the writer writes the marker and
// the samples.
#include "engine/ChannelFile.h"
#include "engine/Codec.h"
#include "formats/ChannelValues.h"
#include "formats/ChannelWriter.h"
#include "io/FileIO.h"
#include "io/Numbers.h"

#include <stdexcept>
#include <string>
#include <string_view>

namespace vibrex {

namespace {

constexpr std::string_view kMarker = "! GEONODE datalog";

// A datalog's lines after the marker, numbered as in the file: header lines and sample lines.
class DatalogLines {
public:
    explicit DatalogLines(const std::filesystem::path& path) : m_lines(path) {
        std::string_view marker;
        if (m_lines.IsOpen()) {
            m_lines.Next(marker); // detection has seen it
        }
    }
    bool IsOpen() const { return m_lines.IsOpen(); }
    std::int64_t LineNumber() const { return m_lineNumber; }

    // The next non-blank line, trimmed: a header line (its text after the "!") or a sample line.
    bool Next(std::string_view& text, bool& isHeader) {
        while (m_lines.Next(text)) {
            ++m_lineNumber;
            text = TrimBlanks(text);
            if (text.empty()) {
                continue;
            }
            isHeader = text.front() == '!';
            if (isHeader) {
                text.remove_prefix(1);
            }
            return true;
        }
        return false;
    }

private:
    LineReader m_lines;
    std::int64_t m_lineNumber = 1;
};

// A sample line's last field: the whole line, or what follows its last comma or blank. It runs
// once for every sample, and nearly every line is a plain integer alone. Needs kReadAhead
// readable bytes after the line.
std::string_view SampleField(std::string_view line) {
    PlainInteger plain;
    if (ParsePlainInteger(line, plain)) {
        return line;
    }
    std::size_t start = line.size();
    while (start > 0 && line[start - 1] != ',' && line[start - 1] != ' ' &&
           line[start - 1] != '\t') {
        --start;
    }
    return line.substr(start);
}

std::vector<HeaderValues> LoadHeaderGeonode(const std::filesystem::path& path) {
    DatalogLines lines(path);
    if (!lines.IsOpen()) {
        throw HeaderLoadError("LoadHeaderGeonode", "Can't open the file.");
    }
    HeaderValues values;
    std::int64_t samples = 0;
    std::string_view text;
    bool isHeader = false;
    while (lines.Next(text, isHeader)) {
        if (!isHeader) {
            ++samples;
        } else if (const auto header = SplitHeaderLine(text)) {
            const int property = HeaderPropertyForKey(header->key);
            if (property >= 0 && property != kNumberOfSamples) {
                values[static_cast<std::size_t>(property)].assign(header->value);
            }
        }
    }
    // The count of sample lines, whatever a header line may say.
    values[kNumberOfSamples] = std::to_string(samples);
    return {values};
}

void ReadGeonode(ReaderContext& context) {
    DatalogLines lines(context.InputPath());
    if (!lines.IsOpen()) {
        throw std::runtime_error(CantOpenInputFile(context.InputPath()));
    }
    OutputFile channel = context.OpenChannelFile(0);
    const bool invert = context.DataInversion();
    std::string_view text;
    bool isHeader = false;
    while (lines.Next(text, isHeader)) {
        if (isHeader) {
            continue;
        }
        const std::string_view sample = SampleField(text);
        if (!CopySample(channel, sample, invert)) {
            throw std::runtime_error("Line " + std::to_string(lines.LineNumber()) + ": \"" +
                                     std::string(sample) + "\" is not a sample.");
        }
        if (!context.Tick()) {
            return;
        }
    }
    channel.Close();
}

// Writes one channel's datalog; false when the user aborted.
bool WriteChannel(ChannelFiles& files, WriterContext& context) {
    files.out.Line(kMarker);
    std::string_view text;
    while (files.in.NextSample(text)) {
        files.out.Line(CheckedSampleText(text));
        if (!context.Tick()) {
            return false;
        }
    }
    return true;
}

void WriteGeonode(WriterContext& context) {
    WriteEachChannel(context, [&](ChannelFiles& files) { return WriteChannel(files, context); });
}

} // namespace

const FormatCodec kGeonodeCodec{LoadHeaderGeonode, ReadGeonode, WriteGeonode};

} // namespace vibrex
