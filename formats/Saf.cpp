// SAF, the SESAME ASCII data format (version 1) of ambient-vibration surveys: an identification
// line, "KEY = value" header lines and comments, a "####----" separator, then three columns of
// samples, one channel each, one time step a line. Read leniently, written exactly.
#include "engine/ChannelFile.h"
#include "engine/Codec.h"
#include "formats/ChannelValues.h"
#include "formats/ChannelWriter.h"
#include "io/FileIO.h"
#include "io/Numbers.h"
#include "io/TimeText.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace vibrex {

namespace {

constexpr std::string_view kLoaderName = "LoadHeaderSaf";
constexpr int kColumns = 3;
constexpr std::string_view kIdentification =
    "SESAME ASCII data format (saf) v. 1   (this line must not  be modified)";
constexpr std::string_view kSeparator = "####--------------------------------------------";
// Column 1 holds the vertical, columns 2 and 3 the horizontals: the labels of columns whose
// channel has no component name.
constexpr std::array<std::string_view, kColumns> kColumnLabels = {"V", "N", "E"};

// Properties SAF states once for the file. The keyword gives the value of the channels from
// `firstChannel` on; a channel whose value differs has its own "CHn_" + keyword line, written
// as a comment. The properties SAF has no keyword for are comments too, so that a strict reader,
// which refuses unknown keywords, still reads our files.
enum class KeywordKind {
    Mandatory, // written even when empty
    Angle,     // written when it is a number of degrees, else in the channels' own lines
    Comment,
};
struct FileKeyword {
    int property;
    std::string_view keyword;
    KeywordKind kind;
    int firstChannel; // NORTH_ROT turns the horizontals only
};
constexpr std::array<FileKeyword, 7> kFileKeywords{{
    {kStationCode, "STA_CODE", KeywordKind::Mandatory, 0},
    {kSensorMeasurementUnit, "UNITS", KeywordKind::Mandatory, 0},
    {kSensorOrientation, "NORTH_ROT", KeywordKind::Angle, 1},
    {kSensorType, "SENSOR_TYPE", KeywordKind::Comment, 0},
    {kSensorId, "SENSOR_ID", KeywordKind::Comment, 0},
    {kSensorDampingFactor, "SENSOR_DAMPING", KeywordKind::Comment, 0},
    {kChGain, "CH_GAIN", KeywordKind::Comment, 0},
}};

using SafChannels = std::array<HeaderValues, kColumns>;

struct SafHeader {
    SafChannels channels;
    // Bit p of column c: the column's own "CHn_" line gave property p, which a keyword for the
    // file, wherever it stands, does not override.
    std::array<std::uint32_t, kColumns> ownValues{};
    std::int64_t samples = 0; // NDAT, per channel
    std::int64_t lines = 0;   // up to and including the separator
};

std::string LineNumbered(std::string_view message, std::int64_t line) {
    return std::string(message) + " (" + std::to_string(line) + ").";
}

// "####" and nothing but dashes after it; a comment may start with "####" too.
bool IsSeparator(std::string_view line) {
    line = TrimBlanks(line);
    return line.starts_with("####") && line.find_first_not_of('-', 4) == std::string_view::npos;
}

struct Keyword {
    std::string key; // upper case
    std::string_view value;
};

// "KEY = value", or "KEY: value" as some writers have it.
std::optional<Keyword> SplitKeyword(std::string_view line) {
    std::size_t split = line.find('=');
    if (split == std::string_view::npos) {
        split = line.find(':');
    }
    if (split == std::string_view::npos) {
        return std::nullopt;
    }
    std::string_view key = TrimBlanks(line.substr(0, split));
    if (key.ends_with(':')) {
        key = TrimBlanks(key.substr(0, key.size() - 1));
    }
    return Keyword{ToUpper(key), TrimBlanks(line.substr(split + 1))};
}

// The column n of "CHn_" + `name`, or -1.
int ChannelOfKey(std::string_view key, std::string_view name) {
    if (key.size() != name.size() + 4 || !key.starts_with("CH") || key[3] != '_' ||
        !key.ends_with(name) || key[2] < '0' || key[2] >= '0' + kColumns) {
        return -1;
    }
    return key[2] - '0';
}

// "2021 11 22 13 31 10.000" (unpadded fields and fractional seconds allowed) in the system's
// time text; a start time in another form is kept as it stands.
std::string StartTimeText(std::string_view value) {
    std::array<std::string_view, 6> fields;
    std::size_t count = 0;
    for (std::string_view rest = TrimBlanks(value); !rest.empty(); rest = TrimBlanks(rest)) {
        const std::size_t end = std::min(rest.find_first_of(" \t"), rest.size());
        if (count == fields.size()) {
            return std::string(TrimBlanks(value));
        }
        fields[count++] = rest.substr(0, end);
        rest.remove_prefix(end);
    }
    std::string text;
    if (count == fields.size()) {
        text.append(fields[0]).append("/").append(fields[1]).append("/").append(fields[2]);
        text.append(" ").append(fields[3]).append(":").append(fields[4]).append(":");
        text.append(fields[5]);
    }
    const auto time = ParseTimeText(text);
    return time ? FormatTimeText(*time) : std::string(TrimBlanks(value));
}

std::int64_t SampleCount(std::string_view value, std::int64_t line) {
    const auto number = ParseNumber(value);
    if (!number || *number < 0 || *number > 1e15 || *number != std::floor(*number)) {
        throw std::runtime_error(LineNumbered("NDAT is not a number of samples", line));
    }
    return static_cast<std::int64_t>(*number);
}

// A keyword of the header or of a comment; only the keywords we write as comments count there,
// as a comment may well hold a keyword that was put out of use.
void ApplyKeyword(const Keyword& keyword, bool inComment, SafHeader& header, bool& hasCount,
                  std::int64_t line) {
    auto& channels = header.channels;
    if (!inComment) {
        if (keyword.key == "START_TIME") {
            const std::string start = StartTimeText(keyword.value);
            for (HeaderValues& values : channels) {
                values[kStartTime] = start;
            }
        } else if (keyword.key == "SAMP_FREQ") {
            for (HeaderValues& values : channels) {
                values[kSps] = keyword.value;
            }
        } else if (keyword.key == "NDAT") {
            header.samples = SampleCount(keyword.value, line);
            hasCount = true;
        } else if (const int column = ChannelOfKey(keyword.key, "ID"); column >= 0) {
            channels[static_cast<std::size_t>(column)][kComponentName] = keyword.value;
        }
    }
    for (const FileKeyword& entry : kFileKeywords) {
        if (inComment && entry.kind != KeywordKind::Comment &&
            ChannelOfKey(keyword.key, entry.keyword) < 0) {
            continue;
        }
        const std::uint32_t bit = 1U << entry.property;
        if (keyword.key == entry.keyword) {
            for (std::size_t c = static_cast<std::size_t>(entry.firstChannel); c < kColumns; ++c) {
                if ((header.ownValues[c] & bit) == 0) {
                    channels[c][entry.property] = keyword.value;
                }
            }
        } else if (const int column = ChannelOfKey(keyword.key, entry.keyword); column >= 0) {
            channels[static_cast<std::size_t>(column)][entry.property] = keyword.value;
            header.ownValues[static_cast<std::size_t>(column)] |= bit;
        }
    }
}

// Reads the lines up to and including the separator; throws std::runtime_error with a
// line-numbered message for a header that cannot be read.
SafHeader ReadSafHeader(LineReader& lines) {
    SafHeader header;
    bool hasCount = false;
    std::string_view line;
    lines.Next(line); // the identification line, which detection has seen
    header.lines = 1;
    while (true) {
        if (!lines.Next(line)) {
            throw std::runtime_error(
                LineNumbered("No \"####----\" separator line ends the header", header.lines));
        }
        ++header.lines;
        if (IsSeparator(line)) {
            break;
        }
        const bool inComment = line.starts_with('#');
        if (const auto keyword = SplitKeyword(inComment ? line.substr(1) : line)) {
            ApplyKeyword(*keyword, inComment, header, hasCount, header.lines);
        }
    }
    if (!hasCount) {
        throw std::runtime_error(LineNumbered("The header has no NDAT line", header.lines));
    }
    for (HeaderValues& values : header.channels) {
        values[kNumberOfSamples] = std::to_string(header.samples);
    }
    return header;
}

std::vector<HeaderValues> LoadHeaderSaf(const std::filesystem::path& path) {
    LineReader lines(path);
    if (!lines.IsOpen()) {
        throw HeaderLoadError(std::string(kLoaderName), "Can't open the file.");
    }
    try {
        const SafHeader header = ReadSafHeader(lines);
        return {header.channels.begin(), header.channels.end()};
    } catch (const std::runtime_error& error) {
        throw HeaderLoadError(std::string(kLoaderName), error.what());
    }
}

// Splits a data line at its blanks into `fields`; returns how many fields it holds. Plain loops:
// they run once for every row of samples.
std::size_t SplitColumns(std::string_view line,
                         std::array<std::string_view, kColumns + 1>& fields) {
    const auto isBlank = [](char c) { return c == ' ' || c == '\t'; };
    std::size_t count = 0;
    std::size_t at = 0;
    while (count < fields.size()) {
        while (at < line.size() && isBlank(line[at])) {
            ++at;
        }
        if (at == line.size()) {
            break;
        }
        const std::size_t start = at;
        while (at < line.size() && !isBlank(line[at])) {
            ++at;
        }
        fields[count++] = line.substr(start, at - start);
    }
    return count;
}

std::string DataLineError(std::string_view what, std::int64_t line) {
    return "Data line " + std::to_string(line) + ": " + std::string(what);
}

void ReadSaf(ReaderContext& context) {
    LineReader lines(context.InputPath());
    if (!lines.IsOpen()) {
        throw std::runtime_error(CantOpenInputFile(context.InputPath()));
    }
    const SafHeader header = ReadSafHeader(lines);
    std::vector<OutputFile> channels;
    for (int column = 0; column < kColumns; ++column) {
        channels.push_back(context.OpenChannelFile(column));
    }
    const bool invert = context.DataInversion();
    std::array<std::string_view, kColumns + 1> fields;
    std::int64_t lineNumber = header.lines;
    std::int64_t rows = 0;
    std::string_view line;
    while (lines.Next(line)) {
        ++lineNumber;
        const std::size_t count = SplitColumns(line, fields);
        if (count == 0) {
            continue;
        }
        if (rows == header.samples) {
            throw std::runtime_error("The file holds more data lines than the " +
                                     std::to_string(header.samples) + " of NDAT.");
        }
        if (count != kColumns) {
            throw std::runtime_error(DataLineError("not three samples.", lineNumber));
        }
        for (std::size_t c = 0; c < kColumns; ++c) {
            if (!CopySample(channels[c], fields[c], invert)) {
                throw std::runtime_error(DataLineError(
                    "the sample \"" + std::string(fields[c]) + "\" is not a number.", lineNumber));
            }
        }
        ++rows;
        if (!context.Tick(kColumns)) {
            return;
        }
    }
    if (rows < header.samples) {
        throw std::runtime_error("NDAT announces " + std::to_string(header.samples) +
                                 " samples per channel but the file holds " + std::to_string(rows) +
                                 " data lines.");
    }
    for (OutputFile& channel : channels) {
        channel.Close();
    }
}

// ---- Writing --------------------------------------------------------------------------------

[[noreturn]] void FailUnequal(std::string_view what, int channel, std::string_view value,
                              std::string_view first) {
    throw std::runtime_error("SAF holds three channels of the same " + std::string(what) +
                             ": channel " + std::to_string(channel) + " has \"" +
                             std::string(value) + "\", channel 1 \"" + std::string(first) + "\".");
}

// Start time, rate and length must be those of the first channel: the file states them once.
void CheckChannelsAgree(const SafChannels& channels,
                        const std::array<std::int64_t, kColumns>& counts) {
    const HeaderValues& first = channels[0];
    const auto firstStart = ParseTimeText(first[kStartTime]);
    if (!firstStart) {
        throw std::runtime_error("The start time \"" + first[kStartTime] +
                                 "\" is not a date and time that SAF can hold.");
    }
    const auto firstRate = HeaderNumber(first, kSps);
    if (!firstRate || *firstRate <= 0) {
        throw std::runtime_error("SAF needs a sampling rate; channel 1 has \"" + first[kSps] +
                                 "\".");
    }
    for (std::size_t c = 1; c < kColumns; ++c) {
        const HeaderValues& values = channels[c];
        const int channel = static_cast<int>(c) + 1;
        if (ParseTimeText(values[kStartTime]) != firstStart) {
            FailUnequal("start time", channel, values[kStartTime], first[kStartTime]);
        }
        if (HeaderNumber(values, kSps) != firstRate) {
            FailUnequal("sampling rate", channel, values[kSps], first[kSps]);
        }
        if (counts[c] != counts[0]) {
            FailUnequal("number of samples", channel, std::to_string(counts[c]),
                        std::to_string(counts[0]));
        }
    }
}

std::string SafStartTime(const PreciseTime& start) {
    const DateTime& t = start.time;
    char text[96];
    std::snprintf(text, sizeof text, "%04d %02d %02d %02d %02d %02d.%04d", t.year, t.month, t.day,
                  t.hour, t.minute, t.second, start.tenThousandths);
    return text;
}

void KeywordLine(OutputFile& out, std::string_view prefix, std::string_view keyword,
                 std::string_view value) {
    std::string line(prefix);
    line.append(keyword).append(" = ").append(value);
    out.Line(line);
}

void WriteSafHeader(OutputFile& out, const SafChannels& channels, std::int64_t samples) {
    const HeaderValues& first = channels[0];
    out.Line(kIdentification);
    out.Line("# Written by Vibrex");
    KeywordLine(out, "", "START_TIME", SafStartTime(*ParseTimeText(first[kStartTime])));
    KeywordLine(out, "", "SAMP_FREQ", TrimBlanks(first[kSps]));
    KeywordLine(out, "", "NDAT", std::to_string(samples));
    for (std::size_t c = 0; c < kColumns; ++c) {
        const std::string& component = channels[c][kComponentName];
        KeywordLine(out, "", "CH" + std::to_string(c) + "_ID",
                    component.empty() ? kColumnLabels[c] : std::string_view(component));
    }
    for (const FileKeyword& entry : kFileKeywords) {
        std::string value = channels[static_cast<std::size_t>(entry.firstChannel)][entry.property];
        if (entry.kind == KeywordKind::Angle && !ParseNumber(value)) {
            value.clear(); // an orientation such as "N" is no angle: each channel states its own
        }
        if (entry.kind == KeywordKind::Mandatory || !value.empty()) {
            KeywordLine(out, entry.kind == KeywordKind::Comment ? "# " : "", entry.keyword, value);
        }
        for (std::size_t c = 0; c < kColumns; ++c) {
            const bool covered = static_cast<int>(c) >= entry.firstChannel;
            const std::string& own = channels[c][entry.property];
            if (own != (covered ? value : std::string())) {
                KeywordLine(out, "# ", "CH" + std::to_string(c) + "_" + std::string(entry.keyword),
                            own);
            }
        }
    }
    out.Line(kSeparator);
}

// Progress is counted per channel, for the file that supplied it (a merge of three files), in
// blocks of rows rather than a call per sample; false when the user aborted.
bool TickRows(WriterContext& context, std::int64_t rows) {
    for (int channel = 1; channel <= kColumns; ++channel) {
        context.BeginChannel(channel);
        if (!context.Tick(rows)) {
            return false;
        }
    }
    return true;
}

// The three channels side by side, a line of each at a time; false when the user aborted.
bool WriteColumns(WriterContext& context, OutputFile& out) {
    constexpr std::int64_t kRowsPerTick = 1024;
    std::vector<ChannelFileReader> columns;
    for (int channel = 1; channel <= kColumns; ++channel) {
        columns.push_back(context.OpenChannel(channel));
    }
    std::string line;
    std::int64_t untilTick = kRowsPerTick;
    std::string_view text;
    while (columns[0].NextSample(text)) {
        line.assign(CheckedSampleText(text));
        for (std::size_t c = 1; c < kColumns; ++c) {
            if (!columns[c].NextSample(text)) {
                throw std::runtime_error("An intermediate file changed while it was written.");
            }
            line.append(" ").append(CheckedSampleText(text));
        }
        out.Line(line);
        if (--untilTick == 0) {
            if (!TickRows(context, kRowsPerTick)) {
                return false;
            }
            untilTick = kRowsPerTick;
        }
    }
    return TickRows(context, kRowsPerTick - untilTick);
}

void WriteSaf(WriterContext& context) {
    if (context.ChannelCount() != kColumns) {
        throw std::runtime_error("SAF holds exactly three channels; this recording has " +
                                 std::to_string(context.ChannelCount()) + ".");
    }
    SafChannels channels;
    std::array<std::int64_t, kColumns> counts{};
    for (std::size_t c = 0; c < kColumns; ++c) {
        const int channel = static_cast<int>(c) + 1;
        channels[c] = context.OpenChannel(channel).Header();
        counts[c] = CountChannelSamples(context, channel);
    }
    CheckChannelsAgree(channels, counts);
    OutputFile out = CreateMultichannelOutput(context);
    WriteSafHeader(out, channels, counts[0]);
    if (WriteColumns(context, out)) {
        out.Close();
    }
}

} // namespace

const FormatCodec kSafCodec{LoadHeaderSaf, ReadSaf, WriteSaf, {kColumns, kColumns, 0, true}};

} // namespace vibrex
