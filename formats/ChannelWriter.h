#pragma once

#include "engine/ChannelFile.h"
#include "engine/Codec.h"
#include "io/FileIO.h"

// What writers share: for single-channel formats one output file per intermediate channel file,
// named by the engine; for multichannel formats one output fed by the channels in turn.
namespace vibrex {

struct ChannelFiles {
    ChannelFileReader in;
    OutputFile out;
};

// The channel's intermediate file, then its output file (created empty). Throws the
// "Can't open" details when either fails.
ChannelFiles OpenChannelFiles(WriterContext& context, int channelNumber);

// The multichannel output file, created empty. Throws the "Can't open" detail when it fails.
OutputFile CreateMultichannelOutput(WriterContext& context);

// How many samples an intermediate channel file holds, for a writer whose header states the
// count before the samples: it writes the count the file holds, whatever its header says.
std::int64_t CountChannelSamples(const std::filesystem::path& intermediate);

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

} // namespace vibrex
