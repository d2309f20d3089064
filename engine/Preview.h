#pragma once

#include "engine/FormatCatalogue.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

// A recording reduced to a few thousand min/max pairs per channel, enough to draw it at any
// width. The recording is read by its format's own reader, as a conversion reads it, and
// streamed: memory stays the same for ten thousand samples or a hundred million.
namespace vibrex {

class ClsConverter;

// Successive samples folded into buckets of equal length. When the buckets run out, pairs are
// merged and the length doubles, so no sample count has to be known in advance.
class Envelope {
public:
    // `capacity` buckets at most (even, at least 2).
    explicit Envelope(std::size_t capacity = 4096);
    void Add(double sample) {
        if (m_inLast < m_perBucket && !m_minimum.empty()) {
            m_minimum.back() = std::min(m_minimum.back(), sample);
            m_maximum.back() = std::max(m_maximum.back(), sample);
            ++m_inLast;
        } else {
            StartBucket(sample);
        }
        ++m_count;
    }
    std::int64_t Count() const { return m_count; }
    std::int64_t SamplesPerBucket() const { return m_perBucket; }
    std::size_t Buckets() const { return m_minimum.size(); }
    double Minimum(std::size_t bucket) const { return m_minimum[bucket]; }
    double Maximum(std::size_t bucket) const { return m_maximum[bucket]; }
    // Over the whole recording; 0 when it has no sample.
    double Lowest() const;
    double Highest() const;

    struct Range {
        double minimum;
        double maximum;
    };
    // The extremes drawn in each of `columns` equal columns of the time span. Every bucket
    // falls in exactly one column, so the extremes of the recording stay visible at any width.
    std::vector<Range> Columns(int columns) const;

private:
    void StartBucket(double sample);
    void Fold();

    std::size_t m_capacity;
    std::vector<double> m_minimum;
    std::vector<double> m_maximum;
    std::int64_t m_perBucket = 1;
    std::int64_t m_inLast = 0;
    std::int64_t m_count = 0;
};

struct ChannelPreview {
    std::string station;
    std::string component;
    std::string startTime; // as the recording's header gives it
    double samplesPerSecond = 0;
    Envelope envelope;
};

struct WaveformPreview {
    enum class Outcome { Complete, Stopped, Failed };
    Outcome outcome = Outcome::Stopped;
    std::string errorText; // when Failed
    std::vector<ChannelPreview> channels;
};

// Called at each step with the fraction of the work done; it lets the window handle its events
// and answers false to stop the preview.
using PreviewStep = std::function<bool(double fractionDone)>;

// Reads `path` with the reader of its format into channel files of a private folder of the
// engine's work folder, then scans each once. The channel files are gone when it returns.
// `format` is the one the engine recorded for a file of its list, so that a file damaged since
// it was added fails with the reader's own reason, as its conversion would; Unknown guesses it
// from the content. Never throws.
WaveformPreview PreviewRecording(ClsConverter& engine, const std::filesystem::path& path,
                                 const PreviewStep& step, std::size_t buckets = 4096,
                                 FileFormat format = FileFormat::Unknown);

// Samples between two steps: a fraction of a second of work for the slowest reader.
inline constexpr std::int64_t kPreviewStepSamples = 1 << 15;

} // namespace vibrex
