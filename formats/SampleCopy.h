#pragma once

#include "engine/Codec.h"
#include "io/ByteOrder.h"
#include "io/FileIO.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <utility>
#include <vector>

// What the loaders and readers of binary formats share: a channel's samples streamed from the
// input file to its intermediate channel file a chunk at a time, never the whole channel at once.
namespace vibrex {

// Samples stored in groups of `bytes` bytes holding `samples` samples each; one sample a group
// in most formats.
struct SampleGroups {
    std::size_t bytes;
    std::size_t samples;
};

// Copies `count` samples from the input's current position a chunk at a time:
// `writeChunk(bytes, groups, samples)` writes the lines of `groups` whole groups holding `samples`
// samples, of which the last group may hold fewer than the others. Progress is ticked a chunk at
// a time; false when the user aborted. Throws when the file ends first.
template <typename WriteChunk>
bool CopySampleChunks(InputFile& in, std::int64_t count, SampleGroups layout,
                      ReaderContext& context, WriteChunk writeChunk) {
    constexpr std::int64_t kChunkGroups = 16384;
    const auto perGroup = static_cast<std::int64_t>(layout.samples);
    std::vector<unsigned char> chunk(static_cast<std::size_t>(kChunkGroups) * layout.bytes);
    for (std::int64_t left = count; left > 0;) {
        const std::int64_t groups = std::min((left + perGroup - 1) / perGroup, kChunkGroups);
        if (!in.ReadExact(chunk.data(), static_cast<std::size_t>(groups) * layout.bytes)) {
            throw std::runtime_error("The file ends before its last sample.");
        }
        const std::int64_t copied = std::min(groups * perGroup, left);
        writeChunk(chunk.data(), static_cast<std::size_t>(groups),
                   static_cast<std::size_t>(copied));
        left -= copied;
        if (!context.Tick(copied)) {
            return false;
        }
    }
    return true;
}

// The same, group by group: `writeGroup(bytes, samples)` writes the lines of one group, of which
// the last may hold fewer samples.
template <typename WriteGroup>
bool CopySampleGroups(InputFile& in, std::int64_t count, SampleGroups layout,
                      ReaderContext& context, WriteGroup writeGroup) {
    return CopySampleChunks(
        in, count, layout, context,
        [&](const unsigned char* bytes, std::size_t groups, std::size_t samples) {
            for (std::size_t group = 0; group < groups; ++group) {
                writeGroup(bytes + group * layout.bytes, std::min(layout.samples, samples));
                samples -= std::min(layout.samples, samples);
            }
        });
}

// Throws the "Can't open" detail for an input that did not open.
inline void RequireOpen(const InputFile& in, const std::filesystem::path& path) {
    if (!in.IsOpen()) {
        throw std::runtime_error(CantOpenInputFile(path));
    }
}

// A header loader of a format whose file is laid out before it is read: `channelsOf(in)` gives
// the file's channels, each with its header `values`. Whatever fails raises HeaderLoadError
// from `source` with the failure's text.
template <typename ChannelsOf>
std::vector<HeaderValues> LoadChannelValues(const std::filesystem::path& path, const char* source,
                                            ChannelsOf channelsOf) {
    InputFile in(path);
    try {
        RequireOpen(in, path);
        std::vector<HeaderValues> values;
        for (auto& channel : channelsOf(in)) {
            values.push_back(std::move(channel.values));
        }
        return values;
    } catch (const std::runtime_error& error) {
        throw HeaderLoadError(source, error.what());
    }
}

// The reader of a format laid out before it is read: `copy(channel, out)` copies each of the
// `channels` the loader found into its intermediate file; false from it means the user aborted.
template <typename Channels, typename Copy>
void CopyEachChannel(ReaderContext& context, const Channels& channels, Copy copy) {
    if (static_cast<int>(channels.size()) != context.ChannelCount()) {
        throw std::runtime_error("The file no longer holds the channels it was added with.");
    }
    for (int channel = 0; channel < context.ChannelCount(); ++channel) {
        OutputFile out = context.OpenChannelFile(channel);
        if (!copy(channels[static_cast<std::size_t>(channel)], out)) {
            return;
        }
        out.Close();
    }
}

// 32-bit floats in the given byte order, negated when the user inverts the polarity.
inline bool CopyFloatSamples(InputFile& in, ByteOrder order, std::int64_t count,
                             ReaderContext& context, OutputFile& out) {
    const float sign = context.DataInversion() ? -1.0f : 1.0f;
    return CopySampleChunks(in, count, {4, 1}, context,
                            [&](const unsigned char* bytes, std::size_t, std::size_t samples) {
                                out.NumberLines(samples, [&](std::size_t i) {
                                    return LoadAs<float>(bytes + 4 * i, order) * sign;
                                });
                            });
}

} // namespace vibrex
