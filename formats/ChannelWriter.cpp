#include "formats/ChannelWriter.h"

#include "formats/ChannelValues.h"

#include <array>
#include <stdexcept>
#include <string>

namespace vibrex {

ChannelFiles OpenChannelFiles(WriterContext& context, int channelNumber) {
    const std::filesystem::path outputPath = context.ChannelOutputPath(channelNumber);
    return {context.OpenChannel(channelNumber), context.CreateOutputFile(outputPath)};
}

OutputFile CreateMultichannelOutput(WriterContext& context) {
    return context.CreateOutputFile(context.OutputPath());
}

std::vector<HeaderValues> ReadChannelHeaders(WriterContext& context) {
    std::vector<HeaderValues> headers;
    for (int channel = 1; channel <= context.ChannelCount(); ++channel) {
        headers.push_back(context.OpenChannel(channel).Header());
    }
    return headers;
}

std::int64_t CountChannelSamples(WriterContext& context, int channelNumber) {
    ChannelFileReader in = context.OpenChannel(channelNumber);
    std::int64_t count = 0;
    std::string_view text;
    while (in.NextSample(text)) {
        ++count;
    }
    return count;
}

std::optional<std::int64_t> WriteFloatSamples(ChannelFileReader& in, OutputFile& out,
                                              ByteOrder order, std::int64_t most,
                                              std::string_view format, WriterContext& context) {
    std::array<float, kSampleBlock> samples;
    std::array<unsigned char, kSampleBlock * sizeof(float)> bytes;
    std::int64_t count = 0;
    while (const std::size_t filled = ReadSampleBlock(
               in, samples, [](std::string_view text) { return SampleFloat(text); })) {
        for (std::size_t i = 0; i < filled; ++i) {
            StoreAs(bytes.data() + sizeof(float) * i, samples[i], order);
        }
        out.Write(bytes.data(), sizeof(float) * filled);
        count += static_cast<std::int64_t>(filled);
        if (count > most) {
            FailCountBeyond(most, in.Header(), format);
        }
        if (!context.Tick(static_cast<std::int64_t>(filled))) {
            return std::nullopt;
        }
    }
    return count;
}

std::int64_t CountToState(const OutputFile& out, WriterContext& context, int channelNumber,
                          std::int64_t announced) {
    return out.IsRegularFile() ? announced : CountChannelSamples(context, channelNumber);
}

void FailCountBeyond(std::int64_t most, const HeaderValues& header, std::string_view format) {
    throw std::runtime_error("The header announces " + header[kNumberOfSamples] +
                             " samples but the channel holds more than " + std::to_string(most) +
                             ", the most " + std::string(format) + " can count.");
}

} // namespace vibrex
