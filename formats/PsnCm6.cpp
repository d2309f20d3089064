// PSN CM6: the header of a PSN ASCII event file with the samples CM6-compressed as in GSE2.0.
//   ! PSN ASCII CM6 File Format 2.0
//   Key: value lines, as in PSN ASCII (Number of Samples tells the decoder where to stop)
//   DATA:
//   CM6 text, 80 characters a line
//   CHK2 with the GSE2.0 checksum of the samples
#include "engine/ChannelFile.h"
#include "engine/Codec.h"
#include "formats/ChannelWriter.h"
#include "formats/Cm6.h"
#include "formats/PsnHeader.h"
#include "io/FileIO.h"

#include <stdexcept>
#include <string>

namespace vibrex {

namespace {

constexpr std::string_view kIdentification = "! PSN ASCII CM6 File Format 2.0";
constexpr std::string_view kDataLine = "DATA:";

// The file's header and the number of samples its CM6 text holds; `lines` is left at the text.
struct PsnCm6Header {
    HeaderValues values;
    std::int64_t count = 0;
};

PsnCm6Header ReadHeader(LineReader& lines) {
    PsnCm6Header header;
    if (!ReadPsnHeader(lines, header.values)) {
        FailAtLine("The file has no DATA: line", lines);
    }
    const std::string& count = header.values[kNumberOfSamples];
    const auto parsed = ParseSampleCount(count);
    if (!parsed) {
        FailAtLine("The Number of Samples \"" + count +
                       "\" is not a whole number, which CM6 text needs",
                   lines);
    }
    header.count = *parsed;
    return header;
}

// The header only: the reader decodes the text and checks it against the count and checksum,
// so that a conversion decodes it once.
std::vector<HeaderValues> LoadHeaderPsnCm6(const std::filesystem::path& path) {
    LineReader lines(path);
    try {
        return {ReadHeader(lines).values};
    } catch (const HeaderLoadError&) {
        throw;
    } catch (const std::runtime_error& error) {
        throw HeaderLoadError("LoadHeader_PSN", error.what());
    }
}

void ReadPsnCm6(ReaderContext& context) {
    LineReader lines(context.InputPath());
    if (!lines.IsOpen()) {
        throw std::runtime_error(CantOpenInputFile(context.InputPath()));
    }
    const PsnCm6Header header = ReadHeader(lines);
    OutputFile out = context.OpenChannelFile(0);
    if (CopyDataSamples(Gse2DataReader(lines, SampleText::Cm6, header.count), out, context)) {
        out.Close();
    }
}

// The intermediate file's header lines under this format's identification and data lines,
// with the samples as counted: the decoder stops by that number, so it must be exact even when
// the header's own was edited.
void CopyHeader(LineReader lines, std::int64_t count, OutputFile& out) {
    std::string_view line;
    lines.Next(line); // the intermediate file's own identification
    out.Line(kIdentification);
    while (lines.Next(line)) {
        const auto header = SplitHeaderLine(line);
        if (header && IsDataKey(header->key)) {
            break;
        }
        if (header && HeaderPropertyForKey(header->key) == kNumberOfSamples) {
            out.Line(std::string(HeaderPropertyLabel(kNumberOfSamples)) + std::to_string(count));
        } else {
            out.Line(line);
        }
    }
    out.Line(kDataLine);
}

void WritePsnCm6(WriterContext& context) {
    for (int channel = 1; channel <= context.ChannelCount(); ++channel) {
        ChannelFiles files = OpenChannelFiles(context, channel);
        const bool written = WriteStatingCount(
            files.out, context, channel, ParseSampleCount(files.in.Header()[kNumberOfSamples]),
            [&](std::int64_t count, ConversionContext* progress) {
                CopyHeader(context.ChannelLines(channel), count, files.out);
                ChannelFileReader in = context.OpenChannel(channel);
                return WriteSampleText(SampleText::Cm6, in, files.out, progress);
            });
        if (!written) {
            return;
        }
        files.out.Close();
    }
}

} // namespace

const FormatCodec kPsnCm6Codec = {LoadHeaderPsnCm6, ReadPsnCm6, WritePsnCm6};

} // namespace vibrex
