#include "engine/Preview.h"

#include "engine/ClsConverter.h"
#include "support/TestSupport.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <numeric>

namespace vibrex::test {
namespace {

// Samples where a fold is easy to get wrong: the extremes sit in the first and the last
// sample, in a bucket that is still filling, and right after a fold.
std::vector<double> Samples(int count, int extremeAt) {
    std::vector<double> samples(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        samples[static_cast<std::size_t>(i)] = (i % 7) - 3;
    }
    if (count > 0) {
        samples[static_cast<std::size_t>(extremeAt)] = 1000;
        samples[static_cast<std::size_t>(count - 1 - extremeAt)] = -1000;
    }
    return samples;
}

TEST(PreviewEnvelope, KeepsEveryExtremeWhateverTheLengthAndWidth) {
    // Samples, where the extremes are, capacity, then the samples a bucket and the buckets.
    const std::tuple<int, int, std::size_t, std::int64_t, std::size_t> cases[] = {
        {1, 0, 8, 1, 1},        // a single sample
        {8, 0, 8, 1, 8},        // exactly full: no fold yet
        {9, 8, 8, 2, 5},        // the ninth sample folds, then starts its own bucket
        {17, 16, 8, 4, 5},      // two folds
        {1000, 500, 8, 128, 8}, // many folds, last bucket partly filled
        {100000, 3, 4096, 32, 3125},
        {5, 2, 3, 1, 2 + 1}, // an odd capacity counts as the even one below it: 2
    };
    for (const auto& [count, extremeAt, capacity, perBucket, buckets] : cases) {
        SCOPED_TRACE(testing::Message() << count << " samples, capacity " << capacity);
        Envelope envelope(capacity);
        const auto samples = Samples(count, extremeAt);
        for (double sample : samples) {
            envelope.Add(sample);
        }
        EXPECT_EQ(envelope.Count(), count);
        if (capacity % 2 == 0) {
            EXPECT_EQ(envelope.SamplesPerBucket(), perBucket);
            EXPECT_EQ(envelope.Buckets(), buckets);
        }
        const double lowest = *std::min_element(samples.begin(), samples.end());
        const double highest = *std::max_element(samples.begin(), samples.end());
        EXPECT_EQ(envelope.Lowest(), lowest);
        EXPECT_EQ(envelope.Highest(), highest);
        // Each bucket holds exactly its own samples.
        for (std::size_t bucket = 0; bucket < envelope.Buckets(); ++bucket) {
            const auto first =
                samples.begin() + static_cast<std::ptrdiff_t>(bucket * envelope.SamplesPerBucket());
            const auto last =
                samples.begin() + std::min<std::ptrdiff_t>(count, first - samples.begin() +
                                                                      envelope.SamplesPerBucket());
            ASSERT_EQ(envelope.Minimum(bucket), *std::min_element(first, last)) << bucket;
            ASSERT_EQ(envelope.Maximum(bucket), *std::max_element(first, last)) << bucket;
        }
        for (int width : {1, 3, 640, 5000}) {
            const auto columns = envelope.Columns(width);
            ASSERT_EQ(columns.size(), static_cast<std::size_t>(width));
            double low = columns.front().minimum;
            double high = columns.front().maximum;
            for (const auto& column : columns) {
                low = std::min(low, column.minimum);
                high = std::max(high, column.maximum);
            }
            EXPECT_EQ(low, lowest) << width << " columns";
            EXPECT_EQ(high, highest) << width << " columns";
        }
    }
    Envelope empty; // an empty channel draws nothing
    EXPECT_TRUE(empty.Columns(100).empty());
    EXPECT_EQ(empty.Lowest(), 0);
    EXPECT_EQ(empty.Highest(), 0);
}

class PreviewRun : public ::testing::Test {
protected:
    std::filesystem::path WritePsn(const std::string& name, const std::vector<int>& values) {
        std::vector<std::string> texts;
        for (int value : values) {
            texts.push_back(std::to_string(value));
        }
        const auto path = folder / name;
        WriteFile(path, PsnText({"Start Time: 2015/03/01 12:30:45.250",
                                 "Number of Samples: " + std::to_string(values.size()), "SPS: 50",
                                 "Station Code: VBRX", "Component Name: HHN"},
                                texts));
        return path;
    }
    // Nothing of a preview stays in the work folder.
    bool WorkFolderIsEmpty() const { return std::filesystem::is_empty(engine.WorkFolder()); }

    TempFolder folder;
    ClsConverter engine{nullptr, folder.Path()};
    std::vector<double> steps;
    PreviewStep record = [this](double fraction) {
        steps.push_back(fraction);
        return true;
    };
};

// The run's polarity inversion is left on: the preview shows the recording as it is.
TEST_F(PreviewRun, ReadsTheRecordingWithItsOwnReaderAndStepsThroughIt) {
    engine.SetDataInversion(true);
    const int count = 3 * static_cast<int>(kPreviewStepSamples);
    std::vector<int> values(static_cast<std::size_t>(count));
    std::iota(values.begin(), values.end(), -count / 2);
    values[12345] = 8388607;
    values[54321] = -8388608;
    const auto preview = PreviewRecording(engine, WritePsn("long.psn", values), record, 256);

    ASSERT_EQ(preview.outcome, WaveformPreview::Outcome::Complete) << preview.errorText;
    ASSERT_EQ(preview.channels.size(), 1u);
    const ChannelPreview& channel = preview.channels.front();
    EXPECT_EQ(std::tie(channel.station, channel.component, channel.startTime),
              std::tuple("VBRX", "HHN", "2015/03/01 12:30:45.250"));
    EXPECT_EQ(channel.samplesPerSecond, 50);
    EXPECT_EQ(channel.envelope.Count(), count);
    EXPECT_EQ(channel.envelope.Lowest(), -8388608);
    EXPECT_EQ(channel.envelope.Highest(), 8388607);
    EXPECT_LE(channel.envelope.Buckets(), 256u);
    // Read once and scanned once: six steps, rising to the whole.
    ASSERT_EQ(steps.size(), 6u);
    EXPECT_TRUE(std::is_sorted(steps.begin(), steps.end()));
    EXPECT_DOUBLE_EQ(steps.back(), 1.0);
    EXPECT_TRUE(WorkFolderIsEmpty());
}

TEST_F(PreviewRun, StopsWhenAskedAndWhenTheFileCannotBeRead) {
    std::vector<int> values(static_cast<std::size_t>(2 * kPreviewStepSamples), 7);
    const auto good = WritePsn("good.psn", values);
    const auto stopped = PreviewRecording(engine, good, [](double) { return false; });
    EXPECT_EQ(stopped.outcome, WaveformPreview::Outcome::Stopped);
    EXPECT_TRUE(WorkFolderIsEmpty());

    WriteFile(folder / "text.txt", "not a recording\r\n");
    const auto unknown = PreviewRecording(engine, folder / "text.txt", record);
    EXPECT_EQ(unknown.outcome, WaveformPreview::Outcome::Failed);
    EXPECT_EQ(unknown.errorText, "Unrecognized file format.");

    // A miniSEED record whose fixed header is all zeros: its loader refuses it, with the
    // engine's text for a header that cannot be loaded.
    WriteFile(folder / "zero.mseed", "000001D " + std::string(504, '\0'));
    const auto bad = PreviewRecording(engine, folder / "zero.mseed", record);
    EXPECT_EQ(bad.outcome, WaveformPreview::Outcome::Failed);
    EXPECT_EQ(bad.errorText.rfind("Error loading file header.\r\n", 0), 0u) << bad.errorText;
    EXPECT_TRUE(bad.channels.empty());
    EXPECT_TRUE(WorkFolderIsEmpty());
    EXPECT_EQ(PreviewRecording(engine, folder / "missing.psn", record).outcome,
              WaveformPreview::Outcome::Failed);
}

} // namespace
} // namespace vibrex::test
