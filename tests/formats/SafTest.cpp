#include "engine/Codec.h"
#include "formats/ConversionTest.h"

#include <map>
#include <tuple>

namespace vibrex::test {
namespace {

const std::string kIdentification = "SESAME ASCII data format (saf) v. 1";

// A SAF file: the identification line, the header lines, the separator, the data rows.
std::string SafText(const std::vector<std::string>& header, const std::vector<std::string>& rows,
                    const std::string& separator = "####--------------------") {
    return Lines({kIdentification}, "\r\n") + Lines(header, "\r\n") + separator + "\r\n" +
           Lines(rows, "\r\n");
}

class Saf : public ConversionTest {
protected:
    // A single-channel PSN input of the samples under the header lines.
    std::filesystem::path Channel(const std::string& name, std::vector<std::string> header,
                                  const std::vector<std::string>& samples) {
        header.push_back("Number of Samples: " + std::to_string(samples.size()));
        return Input(name, PsnText(header, samples));
    }

    // Channels of two samples at 100 per second, the third of `rows`, each with a header line
    // of `changes` added.
    std::vector<std::filesystem::path> Channels(const std::vector<std::string>& changes,
                                                std::size_t rows = 2, std::size_t count = 3) {
        std::vector<std::filesystem::path> inputs;
        for (std::size_t c = 0; c < count; ++c) {
            std::vector<std::string> header = {"Start Time: 2021/03/04 05:06:07.25", "SPS: 100"};
            if (c < changes.size() && !changes[c].empty()) {
                header.push_back(changes[c]);
            }
            inputs.push_back(Channel("c" + std::to_string(c) + ".psn", header,
                                     std::vector<std::string>(c == 2 ? rows : 2, "1")));
        }
        return inputs;
    }
};

// What other writers put in a header reads: keys in any case or with a colon, unpadded dates with
// fractional seconds, several blanks, extra keywords and free lines, the properties kept in
// comments; a comment holding a keyword SAF has is left alone.
TEST_F(Saf, LenientHeaderReading) {
    struct Case {
        std::vector<std::string> header;
        std::string separator;
        std::map<std::pair<int, int>, std::string> expected; // (channel, property) -> value
    };
    const Case cases[] = {
        {{"start_time =  2004 1 5   3 4  2.5", "Samp_Freq=100", "ndat = 0000000002"},
         "####--------------------",
         {{{0, kStartTime}, "2004/01/05 03:04:02.5000"},
          {{2, kSps}, "100"},
          {{1, kNumberOfSamples}, "2"}}},
        {{"STA_CODE: AB C", "NDAT: 2", "UNITS :m/s", "START_TIME = 20May2019_131046"},
         "####------------------------------------------- ",
         {{{1, kStationCode}, "AB C"},
          {{2, kSensorMeasurementUnit}, "m/s"},
          {{0, kStartTime}, "20May2019_131046"}}},
        {{"NDAT = 2", "VOLTAGE GAIN = 0.00080566", "Recording channels :  1  2  3",
          "NORTH_ROT = 30", "CH0_ID = S Z", "CH2_ID = E", "CH3_ID = W", "# STA_CODE = OLD",
          "SENSOR_TYPE = Vel", "# CH1_NORTH_ROT = 31", "# SENSOR_ID = S-7", "# CH2_CH_GAIN = 4",
          "# CH_GAIN = 2", "# SENSOR_DAMPING = 0.7"},
         "####--------------------",
         {{{0, kSensorOrientation}, ""},
          {{1, kSensorOrientation}, "31"},
          {{2, kSensorOrientation}, "30"},
          {{0, kComponentName}, "S Z"},
          {{1, kComponentName}, ""},
          {{2, kComponentName}, "E"},
          {{0, kStationCode}, ""},
          {{2, kSensorType}, "Vel"},
          {{1, kSensorId}, "S-7"},
          {{0, kChGain}, "2"},
          {{2, kChGain}, "4"},
          {{1, kSensorDampingFactor}, "0.7"}}},
    };
    for (const Case& c : cases) {
        const auto channels =
            kSafCodec.loadHeader(Input("in.saf", SafText(c.header, {}, c.separator)));
        ASSERT_EQ(channels.size(), 3u);
        for (const auto& [where, value] : c.expected) {
            const auto [channel, property] = where;
            EXPECT_EQ(channels[static_cast<std::size_t>(channel)][property], value)
                << c.header.front() << ": channel " << channel << ", property " << property;
        }
    }
}

// The file written from three channels, exactly: the values SAF has keywords for, the others as
// comments, a channel's own value where it differs; a channel without a component is labelled
// by its column.
TEST_F(Saf, WrittenFileExactly) {
    const std::vector<std::string> common = {"Start Time: 2021/03/04 05:06:07.25",
                                             "SPS: 100",
                                             "Station Code: SITE",
                                             "Sensor Measurement Unit: counts",
                                             "Sensor Type: Velocity",
                                             "Sensor Damping Factor: 0.7",
                                             "Ch Gain: 2"};
    const auto with = [&](std::vector<std::string> extra) {
        extra.insert(extra.begin(), common.begin(), common.end());
        return extra;
    };
    const std::vector<std::filesystem::path> inputs = {
        Channel("z.psn", with({"Component Name: HHZ", "Sensor ID: S-1"}), {"1", "-2", "3"}),
        Channel("n.psn", with({"Component Name: HHN", "Sensor ID: S-1", "Sensor Orientation: 15"}),
                {"10", "-20", "30"}),
        Channel("e.psn", with({"Sensor ID: S-3", "Sensor Orientation: 15"}),
                {"100", "200.5", "-3e2"}),
    };
    ASSERT_EQ(Merge(inputs, FileFormat::SAF, m_folder / "out.saf"), ConversionStatus::Success)
        << LastMessage();
    EXPECT_EQ(ReadFile(m_folder / "out.saf"),
              "SESAME ASCII data format (saf) v. 1   (this line must not  be modified)\r\n"
              "# Written by Vibrex\r\n"
              "START_TIME = 2021 03 04 05 06 07.2500\r\nSAMP_FREQ = 100\r\nNDAT = 3\r\n"
              "CH0_ID = HHZ\r\nCH1_ID = HHN\r\nCH2_ID = E\r\n"
              "STA_CODE = SITE\r\nUNITS = counts\r\nNORTH_ROT = 15\r\n"
              "# SENSOR_TYPE = Velocity\r\n# SENSOR_ID = S-1\r\n# CH2_SENSOR_ID = S-3\r\n"
              "# SENSOR_DAMPING = 0.7\r\n# CH_GAIN = 2\r\n"
              "####--------------------------------------------\r\n"
              "1 10 100\r\n-2 -20 200.5\r\n3 30 -3e2\r\n");
}

// An orientation that is not a number of degrees (a letter, as GSE2.0 gives it) is no NORTH_ROT
// value: each channel keeps its own in a comment line.
TEST_F(Saf, OrientationThatIsNoAngleStaysInComments) {
    ASSERT_EQ(
        Merge(Channels({"Sensor Orientation: Z", "Sensor Orientation: N", "Sensor Orientation: E"}),
              FileFormat::SAF, m_folder / "out.saf"),
        ConversionStatus::Success);
    const std::string text = ReadFile(m_folder / "out.saf");
    EXPECT_EQ(text.find("\nNORTH_ROT"), std::string::npos);
    EXPECT_NE(text.find("# CH0_NORTH_ROT = Z\r\n# CH1_NORTH_ROT = N\r\n# CH2_NORTH_ROT = E\r\n"),
              std::string::npos)
        << text;
}

// SAF states one start, rate and length for three channels: anything else is refused with a
// text that names what does not fit, and no file is written.
TEST_F(Saf, ChannelsThatDoNotFitAreRefused) {
    const std::tuple<std::vector<std::string>, std::size_t, std::size_t, std::string> cases[] = {
        {{}, 2, 2, "SAF holds exactly three channels; this recording has 2."},
        {{}, 2, 4, "SAF holds exactly three channels; this recording has 4."},
        {{"", "Start Time: 2021/03/04 05:06:07.26"},
         2,
         3,
         "SAF holds three channels of the same start time: channel 2 has \"2021/03/04 "
         "05:06:07.26\", channel 1 \"2021/03/04 05:06:07.25\"."},
        {{"", "", "SPS: 100.5"}, 2, 3, "same sampling rate: channel 3 has \"100.5\""},
        {{}, 3, 3, "same number of samples: channel 3 has \"3\", channel 1 \"2\"."},
        {{"Start Time: 4 March 2021"},
         2,
         3,
         "The start time \"4 March 2021\" is not a date and time that SAF can hold."},
        {{"SPS: 0"}, 2, 3, "SAF needs a sampling rate; channel 1 has \"0\"."},
    };
    for (const auto& [changes, rows, count, detail] : cases) {
        EXPECT_EQ(Merge(Channels(changes, rows, count), FileFormat::SAF, m_folder / "out.saf"),
                  ConversionStatus::Failed);
        EXPECT_NE(LastMessage().find(detail), std::string::npos) << LastMessage();
        EXPECT_FALSE(std::filesystem::exists(m_folder / "out.saf"));
        EXPECT_TRUE(WorkFolderIsEmpty());
    }
}

// A damaged file is refused when it is added, or fails its conversion, with a text that says
// where; nothing is left behind.
TEST_F(Saf, DamagedFilesNameTheirCause) {
    const std::vector<std::string> rows = {"1 2 3", "4 5 6"};
    // Three channels of two samples at 50 per second.
    const std::vector<std::string> header = {"STA_CODE = ABC", "START_TIME = 2021 1 2 3 4 5",
                                             "SAMP_FREQ = 50", "NDAT = 2"};
    const std::vector<std::string> withoutCount(header.begin(), header.end() - 1);
    const auto withCount = [&](const std::string& count) {
        auto lines = header;
        lines.back() = "NDAT = " + count;
        return lines;
    };
    const std::tuple<std::string, Stage, std::string> cases[] = {
        {kIdentification + "\r\nNDAT = 2\r\n1 2 3\r\n4 5 6\r\n", Stage::Added,
         "No \"####----\" separator line ends the header (4)."},
        {SafText(withoutCount, rows), Stage::Added, "The header has no NDAT line (5)."},
        {SafText(withCount("many"), rows), Stage::Added, "NDAT is not a number of samples (5)."},
        {SafText(withCount("2.5"), rows), Stage::Added, "NDAT is not a number of samples (5)."},
        {SafText(withCount("0"), rows), Stage::Added, "File corrupted: unreadable samples count."},
        {SafText(withCount("3"), rows), Stage::Converted,
         "NDAT announces 3 samples per channel but the file holds 2 data lines."},
        {SafText(withCount("1"), rows), Stage::Converted,
         "The file holds more data lines than the 1 of NDAT."},
        {SafText(header, {"1 2 3", "4 five 6"}), Stage::Converted,
         "Data line 8: the sample \"five\" is not a number."},
        {SafText(header, {"1 2 3", "4 5"}), Stage::Converted, "Data line 8: not three samples."},
        {SafText(header, {"1 2 3 4", "4 5 6"}), Stage::Converted,
         "Data line 7: not three samples."},
    };
    for (const auto& [text, stage, detail] : cases) {
        ExpectFault("damaged", text, detail, stage);
    }
}

} // namespace
} // namespace vibrex::test
