#include "engine/Codec.h"
#include "engine/FormatCatalogue.h"
#include "formats/ConversionTest.h"
#include "io/ByteOrder.h"
#include "io/Numbers.h"
#include "io/TimeText.h"

// Every format of the catalogue that has a writer, against every other: a three-channel
// recording written in it is detected as that format, by no other test, and loads back with the
// header values the format carries and every sample.
namespace vibrex::test {
namespace {

constexpr int kChannels = 3;
// A header value for every property, in forms every format that carries it can hold: a start
// time in whole seconds (as Seismic Unix holds it), short codes, and 32 A/D converter bits,
// which WAV output (32 bits unless told otherwise) holds unscaled. Empty values differ between
// the channels. In property order, six a row:
//   start, samples, rate, lock indicator, time reference, comment;
//   A/D bits, data maximum, data minimum, location, latitude, longitude;
//   elevation, orientation, incidence, azimuth, sensor type, unit;
//   sensitivity, sensor ID, magnitude correction, component, network, datalogger;
//   station, generator constant, free period, damping, gain, filter frequency;
//   filter poles, offset.
const std::string kStart = "2021/03/04 05:06:07";
const HeaderValues kHeader = {kStart, "300",  "100",   "1",   "GPS",      "format matrix",
                              "32",   "1000", "-1000", "00",  "45.5",     "-120.25",
                              "1234", "",     "",      "",    "Velocity", "counts",
                              "1.5",  "S1",   "0",     "",    "XX",       "DL1",
                              "STA",  "2.5",  "1",     "0.7", "2",        "10",
                              "2",    "100"};
const int kSamples = std::stoi(kHeader[kNumberOfSamples]);

// What differs between the channels: component, then orientation, azimuth and incidence.
struct ChannelValue {
    int property;
    const char* values[kChannels];
};
constexpr ChannelValue kChannelValues[] = {
    {kComponentName, {"HHZ", "HHN", "HHE"}},
    {kSensorOrientation, {"Z", "N", "E"}},
    {kSensorAzimuth, {"0", "0", "90"}},
    {kSensorIncident, {"0", "90", "90"}},
};

// Every format of the catalogue: each writes, WAV included.
std::vector<const FormatEntry*> WritableFormats() {
    std::vector<const FormatEntry*> entries;
    for (int value = 1; value < kFormatsCount; ++value) {
        if (const FormatEntry* entry = FindFormat(static_cast<FileFormat>(value))) {
            entries.push_back(entry);
        }
    }
    return entries;
}

// Header texts that mean the same: equal, the same time, or the same number in single precision
// (the width some formats store it in).
bool SameValue(int property, const std::string& expected, const std::string& actual) {
    if (TrimBlanks(expected) == TrimBlanks(actual)) {
        return true;
    }
    if (property == kStartTime) {
        const auto time = ParseTimeText(expected);
        return time && time == ParseTimeText(actual);
    }
    const auto number = ParseNumber(expected);
    const auto other = ParseNumber(actual);
    return number && other && static_cast<float>(*number) == static_cast<float>(*other);
}

class FormatMatrix : public ConversionTest {
protected:
    void SetUp() override {
        for (int c = 0; c < kChannels; ++c) {
            HeaderValues values = kHeader;
            for (const ChannelValue& value : kChannelValues) {
                values[value.property] = value.values[c];
            }
            std::vector<std::string> header;
            for (int property = 0; property < kHeaderPropertiesCount; ++property) {
                header.push_back(std::string(HeaderPropertyLabel(property)) + values[property]);
            }
            const SampleList walk = RandomWalk(kSamples, 12, static_cast<unsigned>(c + 1));
            m_inputs.push_back(
                Input("c" + std::to_string(c + 1) + ".psn", PsnText(header, Texts(walk))));
            m_values.push_back(values);
            m_samples.push_back(walk);
        }
    }

    // The recording written in the format: one file, or one per channel for a single-channel
    // format.
    std::vector<std::filesystem::path> WriteAs(const FormatEntry& entry) {
        const std::string name = "out" + std::to_string(static_cast<int>(entry.value));
        const std::string extension(entry.extensions.front());
        const auto output = m_folder / (name + extension);
        EXPECT_EQ(Merge(m_inputs, entry.value, output), ConversionStatus::Success)
            << entry.displayName << ": " << LastMessage();
        if (entry.multichannel) {
            return {output};
        }
        std::vector<std::filesystem::path> files;
        for (int c = 1; c <= kChannels; ++c) {
            files.push_back(m_folder / (name + std::to_string(c) + extension));
        }
        return files;
    }

    // Loads the file back and reads its samples: channel `first` on are the file's channels.
    void ExpectLoadsBack(const FormatEntry& entry, const std::filesystem::path& file, int first) {
        ASSERT_TRUE(Add(file, FileFormat::PSNINT, m_folder / "back.psn")) << LastMessage();
        const int channels = m_engine.FileChannelsCount(0);
        ASSERT_EQ(channels, entry.multichannel ? kChannels : 1);
        for (int c = 0; c < channels; ++c) {
            for (int property = 0; property < kHeaderPropertiesCount; ++property) {
                if (IsHeaderPropertyAvailable(entry.value, property)) {
                    EXPECT_PRED3(SameValue, property,
                                 m_values[static_cast<std::size_t>(first + c)][property],
                                 m_engine.HeaderProperty(0, c, property))
                        << "channel " << c + first << ", " << HeaderPropertyDisplayName(property);
                }
            }
        }
        ASSERT_EQ(Convert(), ConversionStatus::Success) << LastMessage();
        for (int c = 0; c < channels; ++c) {
            const auto back = channels == 1 ? m_folder / "back.psn"
                                            : m_folder / ("back" + std::to_string(c + 1) + ".psn");
            EXPECT_EQ(DataLines(back), Texts(m_samples[static_cast<std::size_t>(first + c)]))
                << "channel " << c + first;
        }
    }

    // A mono PCM WAV file of the channel, 32 bits a sample after the 44-byte header the WAV
    // tests check byte for byte; its two sizes state what was written.
    void ExpectWav(const std::filesystem::path& file, int channel) {
        const std::string bytes = ReadFile(file);
        ASSERT_GE(bytes.size(), 44u);
        const auto* at = reinterpret_cast<const unsigned char*>(bytes.data());
        EXPECT_EQ(LoadAs<std::uint32_t>(at + 4, ByteOrder::Little), bytes.size() - 8);
        EXPECT_EQ(LoadAs<std::uint32_t>(at + 40, ByteOrder::Little), bytes.size() - 44);
        SampleList samples;
        for (std::size_t sample = 44; sample + 4 <= bytes.size(); sample += 4) {
            samples.push_back(LoadAs<std::int32_t>(at + sample, ByteOrder::Little));
        }
        EXPECT_EQ(samples, m_samples[static_cast<std::size_t>(channel)]);
    }

    // Every detector runs over every output of the format: only the format's own test may accept
    // it, and none a WAV file. A PSN CM6 file is a PSN ASCII file too, which the more specific
    // test, coming first, takes. It loads back with the recording: its header values and every
    // sample, counted as written.
    void ExpectWrittenAndReadBack(const FormatEntry& entry) {
        const bool reads = entry.codec.read != nullptr;
        std::vector<FileFormat> matches;
        if (reads) {
            matches = {entry.value};
        }
        if (entry.value == FileFormat::PSNCM6) {
            matches.push_back(FileFormat::PSNINT);
        }
        const auto files = WriteAs(entry);
        for (std::size_t f = 0; f < files.size(); ++f) {
            const int first = static_cast<int>(f);
            EXPECT_EQ(MatchingFormats(files[f]), matches) << files[f];
            if (!reads) {
                EXPECT_EQ(GuessFileFormat(files[f]), FileFormat::Unknown);
                ExpectWav(files[f], first);
                continue;
            }
            EXPECT_EQ(GuessFileFormat(files[f]), entry.value);
            ExpectLoadsBack(entry, files[f], first);
        }
    }

    // Aborts the conversion of the file of the list once its progress reaches `percent`: the
    // codec must stop at once, with no further yield; no error is shown and no file is left, not
    // even the channels a writer had finished.
    void ExpectAbortAt(int percent) {
        int yieldsAfterAbort = -1;
        m_host.onDoEvents = [&] {
            if (yieldsAfterAbort >= 0) {
                ++yieldsAfterAbort;
            } else if (m_engine.FileProgress(0) >= percent) {
                m_engine.Abort();
                yieldsAfterAbort = 0;
            }
        };
        EXPECT_EQ(Convert(), ConversionStatus::Aborted);
        m_host.onDoEvents = nullptr;
        EXPECT_EQ(yieldsAfterAbort, 0);
        EXPECT_TRUE(m_host.messages.empty());
        EXPECT_TRUE(WorkFolderIsEmpty());
        for (const auto& file : std::filesystem::directory_iterator(m_folder.Path())) {
            EXPECT_FALSE(file.path().filename().string().starts_with("abort")) << file.path();
        }
    }

    // Makes the inputs' headers announce `count` samples, whatever they hold.
    void Announce(int count) {
        const std::string line = std::string(HeaderPropertyLabel(kNumberOfSamples));
        for (const auto& input : m_inputs) {
            std::string bytes = ReadFile(input);
            const std::size_t at = bytes.find(line) + line.size();
            bytes.replace(at, bytes.find('\r', at) - at, std::to_string(count));
            WriteFile(input, bytes);
        }
    }

    std::vector<std::filesystem::path> m_inputs;
    std::vector<HeaderValues> m_values;
    std::vector<SampleList> m_samples;
};

TEST_F(FormatMatrix, EveryWriterOutputIsDetectedAndLoadsBack) {
    for (const FormatEntry* entry : WritableFormats()) {
        SCOPED_TRACE(entry->displayName);
        ExpectWrittenAndReadBack(*entry);
    }
}

// A header that announces fewer or more samples than its channel holds (a damaged file, an
// edited header) misleads no writer: each states the samples it wrote.
TEST_F(FormatMatrix, EveryWriterStatesTheSamplesItWrote) {
    for (const int announced : {kSamples - 100, kSamples + 100}) {
        Announce(announced);
        for (const FormatEntry* entry : WritableFormats()) {
            SCOPED_TRACE(std::string(entry->displayName) + ", " + std::to_string(announced) +
                         " announced");
            ExpectWrittenAndReadBack(*entry);
        }
    }
}

// Aborting stops every codec at once, its writer and its reader: no further yield, no error and
// no file left, not even the channels a writer had finished.
TEST_F(FormatMatrix, AbortStopsEveryWriterAndReader) {
    const auto recording = WriteAs(*FindFormat(FileFormat::Ondaro)).front();
    for (const FormatEntry* entry : WritableFormats()) {
        SCOPED_TRACE(entry->displayName);
        ASSERT_TRUE(Add(recording, entry->value,
                        m_folder / ("abort" + std::string(entry->extensions.front()))));
        ExpectAbortAt(90); // in the last channel
        if (entry->codec.read != nullptr) {
            ASSERT_TRUE(Add(WriteAs(*entry).front(), FileFormat::PSNINT, m_folder / "abort.psn"));
            ExpectAbortAt(10);
            ExpectAbortAt(60);
        }
    }
}

} // namespace
} // namespace vibrex::test
