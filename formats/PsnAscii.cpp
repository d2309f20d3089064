// PSN ASCII event files: the layout of the intermediate channel file itself, one channel per
// file. The reader copies the samples under a fresh intermediate header; the writer copies the
// intermediate file over the output.
#include "engine/ChannelFile.h"
#include "engine/Codec.h"
#include "formats/ChannelValues.h"
#include "formats/PsnHeader.h"
#include "io/Numbers.h"

namespace vibrex {

namespace {

std::vector<HeaderValues> LoadHeaderPsn(const std::filesystem::path& path) {
    LineReader lines(path);
    std::vector<HeaderValues> channels(1);
    ReadPsnHeader(lines, channels.front());
    return channels;
}

void SkipToData(LineReader& lines) {
    std::string_view line;
    while (lines.Next(line) && !IsDataLine(line)) {
    }
}

void ReadPsn(ReaderContext& context) {
    LineReader input(context.InputPath());
    if (!input.IsOpen()) {
        throw std::runtime_error(CantOpenInputFile(context.InputPath()));
    }
    OutputFile channel = context.OpenChannelFile(0);
    SkipToData(input);
    const bool invert = context.DataInversion();
    std::string_view line;
    while (input.Next(line)) {
        const std::string_view sample = TrimBlanks(line);
        if (sample.empty()) {
            continue;
        }
        if (invert) {
            if (!CopySample(channel, sample, true)) {
                throw std::runtime_error("Not a sample: \"" + std::string(sample) + "\".");
            }
        } else {
            channel.LineWithReadAhead(sample);
        }
        if (!context.Tick()) {
            return;
        }
    }
    channel.Close();
}

// Where the header's sample count stands in the output, and as what text.
struct CountField {
    std::uint64_t offset = 0;
    std::string announced;
    bool found = false;
};

// Puts the counted samples in place of the announced count, padded with blanks to its width;
// a count wider than that fails with both.
void PutCount(OutputFile& output, const CountField& field, std::int64_t count) {
    std::string text = std::to_string(count);
    if (!field.found || text == field.announced) {
        return;
    }
    if (text.size() > field.announced.size()) {
        throw std::runtime_error("The header announces " + field.announced +
                                 " samples but the channel holds " + text +
                                 ", which the copied header has no room to state.");
    }
    text.resize(field.announced.size(), ' ');
    output.Overwrite(field.offset, text.data(), text.size());
}

// Copies the lines of `input` to `output`, counting the samples as it goes; false when the user
// aborted.
bool CopyLines(WriterContext& context, LineReader& input, OutputFile& output) {
    std::string_view line;
    bool inData = false;
    CountField countField;
    std::int64_t count = 0;
    while (input.Next(line)) {
        if (!inData) {
            const auto header = SplitHeaderLine(line);
            if (header && HeaderPropertyForKey(header->key) == kNumberOfSamples) {
                countField = {output.Position() + (header->value.data() - line.data()),
                              std::string(header->value), true};
            }
            inData = IsDataLine(line);
        } else if (!TrimBlanks(line).empty()) {
            ++count;
            if (!context.Tick()) {
                return false;
            }
        }
        output.Line(line);
    }
    PutCount(output, countField, count);
    output.Close();
    return true;
}

// Copies one intermediate channel file over its output; false when the user aborted.
bool CopyChannel(WriterContext& context, int channelNumber) {
    const auto source = context.IntermediatePath(channelNumber);
    const auto target = context.ChannelOutputPath(channelNumber);
    const std::string copyFailed = "Can't copy an intermediate file:" + source.string() +
                                   " over the output file: " + target.string();
    LineReader input = context.ChannelLines(channelNumber);
    OutputFile output = context.CreateOutputFile(target);
    if (!input.IsOpen()) {
        throw std::runtime_error(copyFailed);
    }
    try {
        return CopyLines(context, input, output);
    } catch (const WriteError& error) {
        throw std::runtime_error(copyFailed + " (" + error.Cause() + ")");
    }
}

void WritePsn(WriterContext& context) {
    for (int channel = 1; channel <= context.ChannelCount(); ++channel) {
        if (!CopyChannel(context, channel)) {
            return;
        }
    }
}

} // namespace

const FormatCodec kPsnAsciiCodec = {LoadHeaderPsn, ReadPsn, WritePsn};

} // namespace vibrex
