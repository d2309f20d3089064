#pragma once

#include "engine/ChannelFile.h"
#include "engine/Codec.h"
#include "io/FileIO.h"

#include <cstdint>
#include <filesystem>

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

// The number of samples an intermediate channel file holds, counted, for formats that write the
// count before the samples: the header's value may have been edited.
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
