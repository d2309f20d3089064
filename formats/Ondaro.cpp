// Ondaro data-logger text: "TIPO=" and "CHANNELS=" lines, then one block per channel, opened by
// "[CHANNEL n]": "KEY=value" lines up to "DATA=", then one sample a line. Channels may differ in
// rate and length, so each has its own block; they are written one after the other.
#include "engine/ChannelFile.h"
#include "engine/Codec.h"
#include "formats/ChannelValues.h"
#include "formats/ChannelWriter.h"
#include "io/FileIO.h"
#include "io/Numbers.h"

#include <array>
#include <cmath>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace vibrex {

namespace {

constexpr std::string_view kLoaderName = "LoadHeaderOndaro";

// The keys of a channel block, in the order they are written.
struct BlockKey {
    std::string_view key;
    int property;
};
constexpr std::array<BlockKey, 5> kBlockKeys{{
    {"DATALOGGER", kDatalogger},
    {"START TIME", kStartTime},
    {"SPS", kSps},
    {"SAMPLES", kNumberOfSamples},
    {"GAIN", kChGain},
}};

enum class LineKind { Setting, BlockStart, DataStart, Sample };

// The file's non-blank lines, told apart: a line is a sample from a block's "DATA=" up to the
// next "[CHANNEL" line.
class OndaroLines {
public:
    explicit OndaroLines(const std::filesystem::path& path) : m_lines(path) {}
    bool IsOpen() const { return m_lines.IsOpen(); }
    std::int64_t LineNumber() const { return m_lineNumber; }
    // The key of the last setting, upper case.
    const std::string& Key() const { return m_key; }

    // The kind of the next line, false at the end of the file; `text` is a setting's value or a
    // sample's text, in place in the line. Every sample line passes here twice (loader, reader):
    // it is handed on as it lies, never copied.
    bool Next(LineKind& kind, std::string_view& text) {
        if (m_blockStartRead) {
            m_blockStartRead = false;
            kind = LineKind::BlockStart;
            text = m_blockStart;
            return true;
        }
        while (m_lines.Next(text)) {
            ++m_lineNumber;
            // A sample line as nearly all are, with nothing to trim, told at a glance.
            if (m_inData && !text.empty() && text.front() > ' ' && text.front() != '[' &&
                text.back() > ' ') {
                kind = LineKind::Sample;
                return true;
            }
            if (Classify(kind, text)) {
                return true;
            }
        }
        return false;
    }

    // After a "DATA=" line: the sample lines up to the next block, counted without being handed
    // on one by one, as the loader needs no more of them.
    std::int64_t CountSamples() {
        std::int64_t count = 0;
        LineKind kind{};
        std::string_view text;
        while (Next(kind, text)) {
            if (kind != LineKind::Sample) {
                m_blockStartRead = true; // in a block's data, only a block start ends it
                m_blockStart = text;
                break;
            }
            ++count;
        }
        return count;
    }

private:
    // Any other line; false for one that is skipped (blank, or free text between settings).
    bool Classify(LineKind& kind, std::string_view& text) {
        text = TrimBlanks(text);
        if (text.empty()) {
            return false;
        }
        if (IsBlockStart(text)) {
            m_inData = false;
            kind = LineKind::BlockStart;
            return true;
        }
        if (m_inData) {
            kind = LineKind::Sample;
            return true;
        }
        const std::size_t equals = text.find('=');
        if (equals == std::string_view::npos) {
            return false;
        }
        m_key = ToUpper(TrimBlanks(text.substr(0, equals)));
        text = TrimBlanks(text.substr(equals + 1));
        m_inData = m_key == "DATA";
        kind = m_inData ? LineKind::DataStart : LineKind::Setting;
        return true;
    }

    static bool IsBlockStart(std::string_view text) {
        constexpr std::string_view kOpening = "[CHANNEL";
        return text.size() >= kOpening.size() && text.front() == '[' &&
               ToUpper(text.substr(0, kOpening.size())) == kOpening;
    }

    LineReader m_lines;
    std::string m_key;
    std::int64_t m_lineNumber = 0;
    bool m_inData = false;
    bool m_blockStartRead = false; // by CountSamples, which hands it on at the next call
    std::string_view m_blockStart;
};

void ApplyBlockKey(std::string_view key, std::string_view value, HeaderValues& values) {
    for (const BlockKey& entry : kBlockKeys) {
        if (key == entry.key) {
            values[static_cast<std::size_t>(entry.property)].assign(value);
        }
    }
}

std::optional<std::int64_t> WholeNumber(std::string_view text) {
    const auto number = ParseNumber(text);
    if (!number || *number < 0 || *number > 1e15 || *number != std::floor(*number)) {
        return std::nullopt;
    }
    return static_cast<std::int64_t>(*number);
}

[[noreturn]] void Refuse(const std::string& message, std::int64_t record) {
    throw HeaderLoadError(std::string(kLoaderName), message + " (" + std::to_string(record) + ").");
}

struct Block {
    HeaderValues values;
    std::int64_t sampleLines = 0;
    bool hasData = false;
};

// A block's "Number of Samples" is its SAMPLES value, or, without one, its count of sample lines.
void CheckBlock(Block& block, std::int64_t channel) {
    if (!block.hasData) {
        Refuse("Missing DATA= line", channel);
    }
    std::string& samples = block.values[kNumberOfSamples];
    if (samples.empty()) {
        samples = std::to_string(block.sampleLines);
    } else if (!WholeNumber(samples)) {
        Refuse("SAMPLES=" + samples + " is not a number of samples", channel);
    }
}

std::vector<HeaderValues> LoadHeaderOndaro(const std::filesystem::path& path) {
    OndaroLines lines(path);
    if (!lines.IsOpen()) {
        throw HeaderLoadError(std::string(kLoaderName), "Can't open the file.");
    }
    std::optional<std::int64_t> declared;
    std::int64_t declaredLine = 0;
    std::vector<Block> blocks;
    LineKind kind{};
    std::string_view text;
    while (lines.Next(kind, text)) {
        if (kind == LineKind::BlockStart) {
            if (!declared) {
                Refuse("Missing CHANNELS= line", 2);
            }
            if (!blocks.empty()) {
                CheckBlock(blocks.back(), static_cast<std::int64_t>(blocks.size()));
            }
            // Refused at once: a damaged file must not make the loader hold block after block.
            if (static_cast<std::int64_t>(blocks.size()) == *declared) {
                Refuse("CHANNELS=" + std::to_string(*declared) +
                           " but the file holds more [CHANNEL blocks",
                       declaredLine);
            }
            blocks.emplace_back();
        } else if (blocks.empty()) {
            if (lines.Key() == "CHANNELS") {
                declaredLine = lines.LineNumber();
                declared = WholeNumber(text);
                if (!declared || *declared == 0) {
                    Refuse("CHANNELS=" + std::string(text) + " is not a number of channels",
                           declaredLine);
                }
            }
        } else if (kind == LineKind::DataStart) {
            blocks.back().hasData = true;
            blocks.back().sampleLines += lines.CountSamples();
        } else if (kind == LineKind::Setting) {
            ApplyBlockKey(lines.Key(), text, blocks.back().values);
        }
    }
    if (!declared) {
        Refuse("Missing CHANNELS= line", 2);
    }
    if (!blocks.empty()) {
        CheckBlock(blocks.back(), static_cast<std::int64_t>(blocks.size()));
    }
    if (static_cast<std::int64_t>(blocks.size()) != *declared) {
        Refuse("CHANNELS=" + std::to_string(*declared) + " but the file holds " +
                   std::to_string(blocks.size()) + " [CHANNEL blocks",
               declaredLine);
    }
    std::vector<HeaderValues> channels;
    for (const Block& block : blocks) {
        channels.push_back(block.values);
    }
    return channels;
}

// Reads the intermediate channel files one block at a time: each sample checked and counted
// against its block's SAMPLES.
class BlockReader {
public:
    explicit BlockReader(ReaderContext& context)
        : m_context(context), m_invert(context.DataInversion()) {}

    void Start(int channel) {
        m_channel = channel;
        m_announced.reset();
        m_samples = 0;
    }
    void Setting(std::string_view key, std::string_view value) {
        if (key == "SAMPLES") {
            m_announced = WholeNumber(value);
        }
    }
    void Open() {
        if (m_channel < m_context.ChannelCount()) {
            m_out.emplace(m_context.OpenChannelFile(m_channel));
        }
    }
    // False when the user aborted.
    bool Sample(std::string_view text, std::int64_t lineNumber) {
        if (!m_out) {
            return true; // a block beyond those the header announced, which were loaded
        }
        if (!CopySample(*m_out, text, m_invert)) {
            throw std::runtime_error("Line " + std::to_string(lineNumber) + ": \"" +
                                     std::string(text) + "\" is not a sample.");
        }
        ++m_samples;
        return m_context.Tick();
    }
    void Finish() {
        if (!m_out) {
            return;
        }
        if (m_announced && *m_announced != m_samples) {
            throw std::runtime_error("Channel " + std::to_string(m_channel + 1) + " holds " +
                                     std::to_string(m_samples) + " samples, not the " +
                                     std::to_string(*m_announced) + " of its SAMPLES= line.");
        }
        m_out->Close();
        m_out.reset();
    }

private:
    ReaderContext& m_context;
    bool m_invert;
    std::optional<OutputFile> m_out;
    std::optional<std::int64_t> m_announced;
    std::int64_t m_samples = 0;
    int m_channel = -1;
};

void ReadOndaro(ReaderContext& context) {
    OndaroLines lines(context.InputPath());
    if (!lines.IsOpen()) {
        throw std::runtime_error(CantOpenInputFile(context.InputPath()));
    }
    BlockReader block(context);
    int channel = -1;
    LineKind kind{};
    std::string_view text;
    while (lines.Next(kind, text)) {
        if (kind == LineKind::BlockStart) {
            block.Finish();
            block.Start(++channel);
        } else if (channel < 0) {
            continue; // the file's own settings, which the loader has read
        } else if (kind == LineKind::Setting) {
            block.Setting(lines.Key(), text);
        } else if (kind == LineKind::DataStart) {
            block.Open();
        } else if (!block.Sample(text, lines.LineNumber())) {
            return;
        }
    }
    block.Finish();
}

// Writes channel `channelNumber` as a block stating `samples` samples; how many it held, or
// nothing when the user aborted. Each sample ticks `progress` unless it is null.
std::optional<std::int64_t> WriteBlockStating(std::int64_t samples, WriterContext& context,
                                              ConversionContext* progress, OutputFile& out,
                                              int channelNumber) {
    ChannelFileReader in = context.OpenChannel(channelNumber);
    out.Line("[CHANNEL " + std::to_string(channelNumber) + "]");
    for (const BlockKey& entry : kBlockKeys) {
        const std::string value = entry.property == kNumberOfSamples
                                      ? std::to_string(samples)
                                      : in.Header()[static_cast<std::size_t>(entry.property)];
        out.Line(std::string(entry.key) + "=" + value);
    }
    out.Line("DATA=");
    std::int64_t count = 0;
    std::string_view text;
    while (in.NextSample(text)) {
        out.Line(CheckedSampleText(text));
        ++count;
        if (progress != nullptr && !progress->Tick()) {
            return std::nullopt;
        }
    }
    return count;
}

// Writes channel `channelNumber` as a block; false when the user aborted.
bool WriteBlock(WriterContext& context, OutputFile& out, int channelNumber) {
    context.BeginChannel(channelNumber);
    const auto announced =
        WholeNumber(context.OpenChannel(channelNumber).Header()[kNumberOfSamples]);
    return WriteStatingCount(out, context, channelNumber, announced,
                             [&](std::int64_t samples, ConversionContext* progress) {
                                 return WriteBlockStating(samples, context, progress, out,
                                                          channelNumber);
                             });
}

void WriteOndaro(WriterContext& context) {
    OutputFile out = CreateMultichannelOutput(context);
    out.Line("TIPO=ONDARO2");
    out.Line("CHANNELS=" + std::to_string(context.ChannelCount()));
    for (int channel = 1; channel <= context.ChannelCount(); ++channel) {
        if (!WriteBlock(context, out, channel)) {
            return;
        }
    }
    out.Close();
}

} // namespace

const FormatCodec kOndaroCodec{LoadHeaderOndaro, ReadOndaro, WriteOndaro};

} // namespace vibrex
