#pragma once

#include "engine/ChannelFile.h"
#include "engine/Codec.h"
#include "io/FileIO.h"

// What the writers of single-channel formats share: one output file per intermediate channel
// file, named by the engine.
namespace vibrex {

struct ChannelFiles {
    ChannelFileReader in;
    OutputFile out;
};

// The channel's intermediate file, then its output file (created empty). Throws the
// "Can't open" details when either fails.
ChannelFiles OpenChannelFiles(WriterContext& context, int channelNumber);

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
