#include "engine/Preview.h"

#include "engine/ChannelFile.h"
#include "engine/ClsConverter.h"
#include "engine/Codec.h"
#include "engine/ErrorText.h"
#include "io/Numbers.h"

#include <optional>
#include <stdexcept>

namespace vibrex {

Envelope::Envelope(std::size_t capacity) : m_capacity(std::max<std::size_t>(2, capacity & ~1u)) {
    m_minimum.reserve(m_capacity);
    m_maximum.reserve(m_capacity);
}

void Envelope::StartBucket(double sample) {
    if (m_minimum.size() == m_capacity) {
        Fold();
    }
    m_minimum.push_back(sample);
    m_maximum.push_back(sample);
    m_inLast = 1;
}

// Buckets 2i and 2i + 1 become bucket i. Every bucket was full, so every merged one is too.
void Envelope::Fold() {
    const std::size_t half = m_minimum.size() / 2;
    for (std::size_t i = 0; i < half; ++i) {
        m_minimum[i] = std::min(m_minimum[2 * i], m_minimum[2 * i + 1]);
        m_maximum[i] = std::max(m_maximum[2 * i], m_maximum[2 * i + 1]);
    }
    m_minimum.resize(half);
    m_maximum.resize(half);
    m_perBucket *= 2;
}

double Envelope::Lowest() const {
    return m_minimum.empty() ? 0 : *std::min_element(m_minimum.begin(), m_minimum.end());
}

double Envelope::Highest() const {
    return m_maximum.empty() ? 0 : *std::max_element(m_maximum.begin(), m_maximum.end());
}

std::vector<Envelope::Range> Envelope::Columns(int columns) const {
    std::vector<Range> ranges;
    const auto buckets = static_cast<std::int64_t>(m_minimum.size());
    if (columns <= 0 || buckets == 0) {
        return ranges;
    }
    ranges.reserve(static_cast<std::size_t>(columns));
    for (std::int64_t column = 0; column < columns; ++column) {
        // Columns narrower than a bucket repeat it; wider ones gather several.
        const std::int64_t first = column * buckets / columns;
        const std::int64_t last = std::max(first + 1, (column + 1) * buckets / columns);
        Range range{m_minimum[static_cast<std::size_t>(first)],
                    m_maximum[static_cast<std::size_t>(first)]};
        for (std::int64_t bucket = first + 1; bucket < last; ++bucket) {
            range.minimum = std::min(range.minimum, m_minimum[static_cast<std::size_t>(bucket)]);
            range.maximum = std::max(range.maximum, m_maximum[static_cast<std::size_t>(bucket)]);
        }
        ranges.push_back(range);
    }
    return ranges;
}

namespace {

// Work counted as in a conversion: each sample once by the reader and once by the scan.
class PreviewProgress {
public:
    PreviewProgress(const PreviewStep& step, const std::vector<HeaderValues>& header)
        : m_step(step) {
        for (const HeaderValues& channel : header) {
            m_total += std::max(0.0, LeadingNumber(channel[kNumberOfSamples])) * 2;
        }
    }
    std::int64_t& Done() { return m_done; }
    bool Step() {
        const double fraction =
            m_total > 0 ? std::min(1.0, static_cast<double>(m_done) / m_total) : 0.0;
        m_stopped = m_stopped || !m_step(fraction);
        return !m_stopped;
    }
    bool Stopped() const { return m_stopped; }

private:
    const PreviewStep& m_step;
    double m_total = 0;
    std::int64_t m_done = 0;
    bool m_stopped = false;
};

// The format's own reader, writing into the preview's folder, counting into the preview's
// progress, and never inverting: the preview shows the recording as it is.
class PreviewReaderContext final : public ReaderContext {
public:
    PreviewReaderContext(ClsConverter& engine, const std::filesystem::path& input,
                         const std::vector<HeaderValues>& header, std::string formatName,
                         std::filesystem::path folder, PreviewProgress& progress)
        : ReaderContext(engine, input, progress.Done(), kPreviewStepSamples), m_header(header),
          m_formatName(std::move(formatName)), m_folder(std::move(folder)), m_progress(progress) {}

    int ChannelCount() const override { return static_cast<int>(m_header.size()); }
    OutputFile OpenChannelFile(int channel) const override {
        const auto path = ChannelPath(channel);
        OutputFile file(path);
        if (!file.IsOpen()) {
            throw std::runtime_error(CantOpenIntermediateFile(path));
        }
        WriteChannelHeader(file, m_header.at(static_cast<std::size_t>(channel)), m_formatName);
        return file;
    }
    bool DataInversion() const override { return false; }
    std::filesystem::path ChannelPath(int channel) const {
        return m_folder / ("converter" + std::to_string(channel + 1) + ".tmp");
    }

protected:
    bool ReportProgress() override { return m_progress.Step(); }

private:
    const std::vector<HeaderValues>& m_header;
    std::string m_formatName;
    std::filesystem::path m_folder;
    PreviewProgress& m_progress;
};

// A folder of its own for each preview, removed with everything in it.
class PreviewFolder {
public:
    explicit PreviewFolder(const std::filesystem::path& workFolder) {
        static int previews = 0;
        m_path = workFolder / ("preview" + std::to_string(++previews));
        std::filesystem::create_directories(m_path);
    }
    ~PreviewFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    PreviewFolder(const PreviewFolder&) = delete;
    PreviewFolder& operator=(const PreviewFolder&) = delete;
    const std::filesystem::path& Path() const { return m_path; }

private:
    std::filesystem::path m_path;
};

std::vector<HeaderValues> LoadHeader(const FormatCodec& codec, const std::filesystem::path& path) {
    try {
        auto header = codec.loadHeader(path);
        if (header.empty()) {
            throw std::runtime_error("The file holds no channel.");
        }
        return header;
    } catch (const std::exception& error) {
        throw std::runtime_error(HeaderLoadErrorText(path.string(), error.what()));
    }
}

// A sample line of a channel file; nothing for a line that is not a number.
std::optional<double> SampleValue(std::string_view text) {
    PlainInteger plain;
    if (ParsePlainInteger(text, plain)) {
        return plain.As<double>();
    }
    return ParseNumber(text);
}

ChannelPreview ScanChannel(const std::filesystem::path& channelFile, std::size_t buckets,
                           PreviewProgress& progress) {
    ChannelFileReader reader(channelFile);
    const HeaderValues& header = reader.Header();
    ChannelPreview channel{header[kStationCode], header[kComponentName], header[kStartTime],
                           LeadingNumber(header[kSps]), Envelope(buckets)};
    std::string_view text;
    std::int64_t untilStep = kPreviewStepSamples;
    while (reader.NextSample(text)) {
        if (const auto value = SampleValue(text)) {
            channel.envelope.Add(*value);
        }
        ++progress.Done();
        if (--untilStep == 0) {
            untilStep = kPreviewStepSamples;
            if (!progress.Step()) {
                break;
            }
        }
    }
    return channel;
}

// False when the preview was stopped.
bool ReadChannels(ClsConverter& engine, const std::filesystem::path& path, const PreviewStep& step,
                  std::size_t buckets, FileFormat known, WaveformPreview& preview) {
    const FileFormat format = known != FileFormat::Unknown ? known : GuessFileFormat(path);
    const FormatCodec& codec = ReaderOf(format);
    const auto header = LoadHeader(codec, path);
    PreviewProgress progress(step, header);
    PreviewFolder folder(engine.WorkFolder());
    PreviewReaderContext context(engine, path, header, FileFormatToString(format), folder.Path(),
                                 progress);
    try {
        codec.read(context);
        for (int channel = 0; channel < context.ChannelCount() && !progress.Stopped(); ++channel) {
            preview.channels.push_back(
                ScanChannel(context.ChannelPath(channel), buckets, progress));
        }
    } catch (const std::exception& error) {
        throw std::runtime_error(StageErrorText(kReaderStage, error.what()));
    }
    return !progress.Stopped();
}

} // namespace

WaveformPreview PreviewRecording(ClsConverter& engine, const std::filesystem::path& path,
                                 const PreviewStep& step, std::size_t buckets, FileFormat format) {
    WaveformPreview preview;
    try {
        preview.outcome = ReadChannels(engine, path, step, buckets, format, preview)
                              ? WaveformPreview::Outcome::Complete
                              : WaveformPreview::Outcome::Stopped;
    } catch (const std::exception& error) {
        preview.outcome = WaveformPreview::Outcome::Failed;
        preview.errorText = error.what();
        preview.channels.clear();
    }
    return preview;
}

} // namespace vibrex
