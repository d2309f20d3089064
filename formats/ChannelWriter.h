#pragma once

#include "engine/ChannelFile.h"
#include "engine/Codec.h"
#include "io/ByteOrder.h"
#include "io/FileIO.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string_view>
#include <vector>

// What writers share: for single-channel formats one output file per intermediate channel file,
// named by the engine; for multichannel formats one output fed by the channels in turn.
//
// A header never states another count than the samples written after it. The samples in the
// intermediate channel file are the recording; its "Number of Samples" only announces them and
// may differ (a damaged input, an edited header). A writer whose header comes before the samples
// corrects the count once they are written, where it differs: in place when its field has a
// fixed width (OutputFile::Overwrite), else by writing the channel again (WriteStatingCount);
// either way its samples are written while the reader still writes them. A pipe can be neither
// corrected nor written again, so a writer whose count has no fixed width counts the samples
// first for one (CountToState), as does a writer that must compare channels before its first
// byte (SAF). A count that its field cannot hold fails the file with both counts.
namespace vibrex {

struct ChannelFiles {
    ChannelFileReader in;
    OutputFile out;
};

// The channel's intermediate file, then its output file (created empty). Throws the detail
// text, naming the cause, when either cannot be opened.
ChannelFiles OpenChannelFiles(WriterContext& context, int channelNumber);

// The number of samples an intermediate channel file holds, counted, for formats that write the
// count before the samples: the header's value may have been edited.
std::int64_t CountChannelSamples(WriterContext& context, int channelNumber);

// The count a writer states before the samples of channel `channelNumber`: the one `announced`,
// or for an output that cannot be cut back or corrected (a pipe), the samples counted.
std::int64_t CountToState(const OutputFile& out, WriterContext& context, int channelNumber,
                          std::int64_t announced);

// Fails a channel whose samples passed `most`, the count its format's header can state, with a
// text naming the count announced and the limit.
[[noreturn]] void FailCountBeyond(std::int64_t most, const HeaderValues& header,
                                  std::string_view format);

// Samples taken a block at a time: a loop that only reads and converts them, and a tick for the
// block, cost less than a write and a tick for each.
constexpr std::size_t kSampleBlock = 1024;

// Fills `block` with the next samples of `in`, each the value `convert(text)` gives; how many,
// fewer than it holds only at the end of the channel, 0 after it.
template <typename Block, typename Convert>
std::size_t ReadSampleBlock(ChannelFileReader& in, Block& block, Convert convert) {
    std::size_t filled = 0;
    std::string_view text;
    while (filled < block.size() && in.NextSample(text)) {
        block[filled++] = convert(text);
    }
    return filled;
}

// Writes each sample of `in` to `out` as a 32-bit float in `order`, a block at a time, and
// ticks for each block; the number written, or nothing when the user aborted. A channel of more
// than `most` samples fails (FailCountBeyond, naming `format`) once a block has passed it.
std::optional<std::int64_t> WriteFloatSamples(ChannelFileReader& in, OutputFile& out,
                                              ByteOrder order, std::int64_t most,
                                              std::string_view format, WriterContext& context);

// For a text format whose header states a channel's count in as many digits as it takes: channel
// `channelNumber` is written once with the count its header `announced`, while its reader may
// still be writing it, and only when that count proves wrong is it cut back and written again
// with the samples counted. An output that cannot be cut back (a pipe) gets them counted first.
// `write(count, context)` writes the channel stating `count` samples and gives how many it
// wrote, or nothing when the user aborted; written again, `context` is null and no progress is
// counted. False when the user aborted.
template <typename Write>
bool WriteStatingCount(OutputFile& out, WriterContext& context, int channelNumber,
                       std::optional<std::int64_t> announced, Write write) {
    const std::int64_t stated = CountToState(out, context, channelNumber, announced.value_or(-1));
    const std::uint64_t start = out.Position();
    const std::optional<std::int64_t> count = write(stated, &context);
    if (!count) {
        return false;
    }
    if (*count != stated) {
        out.Truncate(start);
        write(*count, nullptr);
    }
    return true;
}

// Runs `writeChannel(files)` for channels 1..ChannelCount() and closes each output after it;
// stops at once when `writeChannel` returns false because the user aborted.
template <typename WriteChannel>
void WriteEachChannel(WriterContext& context, WriteChannel writeChannel) {
    for (int channel = 1; channel <= context.ChannelCount(); ++channel) {
        ChannelFiles files = OpenChannelFiles(context, channel);
        if (!writeChannel(files)) {
            return;
        }
        files.out.Close();
    }
}

// The multichannel output file, created empty. Throws the detail text, naming the cause, when
// it cannot be created.
OutputFile CreateMultichannelOutput(WriterContext& context);

// Every channel's header, for a format whose file header describes all channels before the
// first sample. Only the header blocks are read.
std::vector<HeaderValues> ReadChannelHeaders(WriterContext& context);

// Runs `writeChannel(channelNumber, in)` for channels 1..ChannelCount() in turn, each with its
// intermediate file open; false as soon as one returns false because the user aborted.
template <typename WriteChannel>
bool WriteChannelsInTurn(WriterContext& context, WriteChannel writeChannel) {
    for (int channel = 1; channel <= context.ChannelCount(); ++channel) {
        context.BeginChannel(channel);
        ChannelFileReader in = context.OpenChannel(channel);
        if (!writeChannel(channel, in)) {
            return false;
        }
    }
    return true;
}

} // namespace vibrex
