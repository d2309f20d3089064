#pragma once

#include "engine/ChannelFile.h"
#include "engine/FormatCatalogue.h"
#include "engine/HeaderProperties.h"
#include "io/FileIO.h"

#include <cstdint>
#include <filesystem>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

// The contract between the engine and a format's codec. A codec sees only these contexts,
// never the engine's file list.
namespace vibrex {

class ClsConverter;

// Raised by a header loader for a file it cannot parse; the message ends with the 1-based
// record number in parentheses where the format has records.
class HeaderLoadError : public std::runtime_error {
public:
    HeaderLoadError(std::string source, const std::string& message)
        : std::runtime_error(message), m_source(std::move(source)) {}
    const std::string& Source() const { return m_source; }

private:
    std::string m_source;
};

// Readers and writers report a failure by throwing std::runtime_error (or any std::exception)
// whose message is the detail line of the error text; the engine builds the text itself.
std::string CantOpenInputFile(const std::filesystem::path& path);
std::string CantOpenIntermediateFile(const std::filesystem::path& path);

// Progress accounting shared by readers and writers: one tick per sample.
class ConversionContext {
public:
    virtual ~ConversionContext() = default;

    // False once the user has aborted: the codec closes its files and returns at once.
    bool Tick() {
        ++*m_workDone;
        if (--m_untilStep > 0) {
            return true;
        }
        return Step();
    }
    // `count` ticks at once, reporting progress at the very counts single ticks would.
    bool Tick(std::int64_t count) {
        while (count >= m_untilStep) {
            count -= m_untilStep;
            *m_workDone += m_untilStep;
            if (!Step()) {
                return false;
            }
        }
        *m_workDone += count;
        m_untilStep -= count;
        return true;
    }
    virtual bool DataInversion() const;

protected:
    ConversionContext(ClsConverter& engine, int fileIndex);
    // Accounting of its own, outside the file list (a preview): `workDone` counts the ticks and
    // ReportProgress is called every `step` of them.
    ConversionContext(ClsConverter& engine, std::int64_t& workDone, std::int64_t step);
    // Counts the ticks in `workDone` instead of the file's work done, at the same steps.
    void CountInto(std::int64_t& workDone) { m_workDone = &workDone; }
    // Moves the accounting to another file of the list (a merge writes channels of many files).
    void AccountTo(int fileIndex);
    // At each progress step; false stops the codec.
    virtual bool ReportProgress();

    ClsConverter& m_engine;
    int m_fileIndex;

private:
    bool Step();

    std::int64_t* m_workDone = nullptr;
    std::int64_t m_step = 1;
    std::int64_t m_untilStep = 1;
};

// Negates a sample for polarity inversion; -2147483648 has no 32-bit opposite and fails the file.
inline std::int32_t InvertedSample(std::int32_t sample) {
    if (sample == std::numeric_limits<std::int32_t>::min()) {
        throw std::runtime_error("The sample -2147483648 cannot be inverted in 32 bits.");
    }
    return -sample;
}

// What a reader gets: the input file and the intermediate channel files to fill.
class ReaderContext : public ConversionContext {
public:
    ReaderContext(ClsConverter& engine, int fileIndex, int firstChannelNumber);
    const std::filesystem::path& InputPath() const;
    virtual int ChannelCount() const;
    // The channel's intermediate channel file (channel 0-based within this input), created with
    // its header block already written; the reader appends one sample per line.
    virtual OutputFile OpenChannelFile(int channel) const;

protected:
    // A reader run outside the file list (a preview); the subclass says where channels go.
    ReaderContext(ClsConverter& engine, std::filesystem::path inputPath, std::int64_t& workDone,
                  std::int64_t step);

private:
    std::filesystem::path m_inputPath;
    int m_firstChannelNumber;
};

struct WavSettings {
    std::int32_t factor = 1;
    std::int32_t bitCount = 32;
    std::int32_t samplingRate = 0;
};

// What a writer gets: the intermediate channel files 1..ChannelCount() and where to write.
class WriterContext : public ConversionContext {
public:
    WriterContext(ClsConverter& engine, int fileIndex, int channelCount);
    int ChannelCount() const { return m_channelCount; }
    // The intermediate channel file numbered `channelNumber`, for reading. Its reader may still
    // be writing it: at the file's end for now, reading waits until it has grown or is complete.
    // Writers read intermediate files only through these two.
    ChannelFileReader OpenChannel(int channelNumber);
    LineReader ChannelLines(int channelNumber);
    // Where that file lies, for messages.
    std::filesystem::path IntermediatePath(int channelNumber) const;
    // Call before writing channel `channelNumber` (1-based): a merge writes channels of many
    // files, and each file's progress counts the samples it supplied.
    void BeginChannel(int channelNumber);
    // Where a single-channel format writes channel `channelNumber`; it begins the channel too.
    std::filesystem::path ChannelOutputPath(int channelNumber);
    // Where a multichannel format writes all channels.
    std::filesystem::path OutputPath() const;
    // Creates an output file; throws the detail line, naming the cause, when it cannot (IsOpen()
    // is then always true). The output appears under `path` only once the writer has returned
    // without failing or being aborted; until then what stood there keeps its bytes.
    OutputFile CreateOutputFile(const std::filesystem::path& path);
    WavSettings Wav() const;

private:
    int m_outputIndex; // the file whose output settings apply (the first one in a merge)
    int m_channelCount;
};

using HeaderLoader = std::vector<HeaderValues> (*)(const std::filesystem::path& path);
using Reader = void (*)(ReaderContext& context);
using Writer = void (*)(WriterContext& context);

// What a format's writer can take, known from the headers before a run; zero or null where the
// format sets no such limit.
struct FormatLimits {
    int exactChannels = 0;        // an output holds exactly this many channels
    int mostChannels = 0;         // at most this many
    std::int64_t mostSamples = 0; // a channel holds at most this many samples
    bool needsRate = false;       // every channel must have a positive sampling rate
    // Why the format cannot store `rate` exactly, or empty when it can.
    std::string (*rateProblem)(double rate) = nullptr;
};

// A format's codec. Loader and reader come together; a format written only (WAV) leaves both
// null. Every format writes.
struct FormatCodec {
    HeaderLoader loadHeader;
    Reader read;
    Writer write;
    FormatLimits limits = {};
};

// One per format, each defined in its own file under formats/.
extern const FormatCodec kPsnAsciiCodec;
extern const FormatCodec kMiniSeedCodec;
extern const FormatCodec kSacCodec;
extern const FormatCodec kWavCodec;
extern const FormatCodec kSeg2Codec;
extern const FormatCodec kSuCodec;
extern const FormatCodec kSeisanCodec;
extern const FormatCodec kGseCm6Codec;
extern const FormatCodec kGseIntCodec;
extern const FormatCodec kPsnCm6Codec;
extern const FormatCodec kSafCodec;
extern const FormatCodec kGeonodeCodec;
extern const FormatCodec kOndaroCodec;

} // namespace vibrex
