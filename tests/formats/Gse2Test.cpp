#include "engine/Codec.h"
#include "formats/ConversionTest.h"

#include <cctype>

namespace vibrex::test {
namespace {

// A block of the five samples 12, -10, 16, 33, 9 (CM6 "Al0VENl7", checksum 60).
const std::string kWid2 = "WID2 2005/08/31 02:33:49.850 RJOB  Z   RJOB CM6        5  200.000000 "
                          "9.4900e-02   1.000         -1.0 -1.0";

// The WID2 line with columns `first` (1-based) on replaced by `text`.
std::string Wid2With(std::size_t first, const std::string& text) {
    std::string line = kWid2;
    return line.replace(first - 1, text.size(), text);
}

using Gse2 = ConversionTest;

// Every column checked by hand: the time rounded to the millisecond carries into 1 March of
// the leap year; codes cut to their widths; calibration with four decimals in e10 form;
// orientation "E" as 90°/90°; elevation in kilometres.
TEST_F(Gse2, WrittenBlocksColumnByColumn) {
    const auto input =
        PsnInput("in.psn", {12, -10, 16, 33, 9},
                 {"Start Time: 2016/02/29 23:59:59.9996", "SPS: 100", "Station Code: STATION",
                  "Component Name: HHZ", "Sensor Location: 00", "Network Affiliation: XX",
                  "Sensor Latitude: 45.5", "Sensor Longitude: -120.25", "Sensor Elevation: 1234",
                  "Sensor Sensitivity: 0.0949", "Sensor Free Period: 2", "Sensor Type: STS-2 long",
                  "Sensor Orientation: E", "Comment: not carried"});
    const std::string wid2 = "WID2 2016/03/01 00:00:00.000 STATI HHZ 00   CM6        5  100.000000 "
                             "9.4900e-02   2.000 STS-2   90.0 90.0";
    const std::string sta2 = "STA2 XX         45.50000 -120.25000 WGS-84       1.234 0.000";
    ASSERT_EQ(wid2.size(), 105u);
    EXPECT_EQ(ReadLines(Converted(input, FileFormat::GSECM6, m_folder / "out.gse")),
              (std::vector<std::string>{wid2, sta2, "DAT2", "Al0VENl7", "CHK2       60"}));
    EXPECT_EQ(ReadLines(Converted(input, FileFormat::GSEINT, m_folder / "out.gse")),
              (std::vector<std::string>{std::string(wid2).replace(44, 3, "INT"), sta2, "DAT2",
                                        "12 -10 16 33 9", "CHK2       60"}));

    const HeaderValues values = kGseIntCodec.loadHeader(m_folder / "out.gse").at(0);
    // The other values come back as the format matrix checks them.
    const std::pair<int, std::string> expected[] = {
        {kStartTime, "2016/03/01 00:00:00.0000"},
        {kStationCode, "STATI"},
        {kSensorOrientation, "E"},
        {kSensorAzimuth, "90"},
        {kSensorIncident, "90"},
        {kSensorType, "STS-2"},
        {kComment, ""},
    };
    for (const auto& [property, value] : expected) {
        EXPECT_EQ(values[static_cast<std::size_t>(property)], value) << property;
    }
}

// A latitude out of range (SAC's "undefined") and an elevation not given are written as
// unknown.
TEST_F(Gse2, MissingPositionsAreUnknown) {
    const auto gse = Converted(PsnInput("in.psn", {1},
                                        {"Start Time: 2020/01/01 00:00:00", "SPS: 50",
                                         "Sensor Latitude: -12345", "Sensor Longitude: 12.5"}),
                               FileFormat::GSEINT, m_folder / "out.gse");
    EXPECT_EQ(ReadLines(gse).at(1), "STA2           -99.00000   12.50000 WGS-84       -.999 0.000");
    // A STA2 line may end after the latitude, a WID2 line one column into its last field.
    const auto cut = Input("cut.gse", Lines({kWid2.substr(0, 101) + "9", "STA2 XX         45.50000",
                                             "DAT2", "Al0VENl7", "CHK2 60"}));
    const HeaderValues values = kGseCm6Codec.loadHeader(cut).at(0);
    EXPECT_EQ(values[kSensorLatitude] + "|" + values[kSensorLongitude] + "|" +
                  values[kSensorIncident],
              "45.5||9");
}

// Samples come back exactly, the widest steps included; fractions are rounded half to even;
// inversion negates each.
TEST_F(Gse2, RoundTripsSampleForSample) {
    SampleList extremes = {kMax, kMin, kMax, 0, kMin, kMin, -1, kMax};
    extremes.insert(extremes.end(), 1000, 0);
    extremes.insert(extremes.end(), {kMin, kMax, kMin});
    for (const SampleList& samples : {extremes, RandomWalk(5000, 32, 3)}) {
        for (const FileFormat format : {FileFormat::GSECM6, FileFormat::GSEINT}) {
            EXPECT_EQ(
                ReadSamples(Converted(PsnInput("rt.psn", samples), format, m_folder / "rt.gse")),
                samples);
        }
    }
    const auto fractions = Input(
        "f.psn", PsnText({"Start Time: 2020/01/01 00:00:00", "SPS: 10", "Number of Samples: 6"},
                         {"0.5", "1.5", "2.5", "-1.5", "1234567.5", "3.25"}));
    EXPECT_EQ(ReadSamples(Converted(fractions, FileFormat::GSEINT, m_folder / "f.gse")),
              (SampleList{0, 2, 2, -2, 1234568, 3}));
    EXPECT_EQ(ReadSamples(Input("five.gse", Lines({kWid2, "DAT2", "Al0VENl7", "CHK2 60"})), true),
              (SampleList{-12, 10, -16, -33, -9}));
}

// Each fault gives its text and line, when the file is added or when it is converted; blocks
// that only look odd load. Detection reads the first WID2 line only, so the faults it would
// hide sit in a second block.
TEST_F(Gse2, BrokenFilesGiveTheirText) {
    const std::string data = "Al0VENl7";
    const std::string block = Lines({kWid2, "DAT2", data, "CHK2 60"});
    std::string lowerWid2 = kWid2;
    std::transform(lowerWid2.begin(), lowerWid2.end(), lowerWid2.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    const std::pair<std::string, std::string> cases[] = {
        {Lines({kWid2, "DAT2", data, "CHK2       61"}),
         "The checksum in the file, 61, does not match the checksum of its samples, 60 (4)."},
        {Lines({kWid2, "DAT2", "Al0VEN", "CHK2       60"}),
         "The data end after 4 of the 5 samples announced (4)."},
        {Lines({kWid2, "DAT2", "Al0VEN"}), "The file ends before its CHK2 line (3)."},
        // A blank ends a line's data: what follows it is padding.
        {Lines({kWid2, "DAT2", "Al0 VENl7", "CHK2 60"}),
         "The data end after 2 of the 5 samples announced (4)."},
        {Lines({kWid2, "DAT2", data, "Al", "CHK2 60"}),
         "A CHK2 line should follow the 5 samples announced (4)."},
        {Lines({kWid2, "DAT2", "Al0V#Nl7", "CHK2 60"}),
         "The character \"#\" (code 35) is not CM6 text (3)."},
        {Lines({kWid2, data, "CHK2 60"}), "No DAT2 line follows the WID2 line (3)."},
        {Lines({Wid2With(49, "      5x")}),
         "The WID2 sample count \"      5x\" is not a whole number (1)."},
        {Lines({Wid2With(58, "        abc")}),
         "The WID2 sampling rate \"        abc\" is not a positive number (1)."},
        {Lines({Wid2With(58, "   0.000000")}), "is not a positive number (1)."},
        {Lines({Wid2With(6, "2005/13/31")}),
         "The WID2 date and time \"2005/13/31 02:33:49.850\" is not a valid time (1)."},
        {Lines({Wid2With(70, "nonsense!!")}),
         "The WID2 calibration \"nonsense!!\" is not a number (1)."},
        {Lines({Wid2With(45, "INT"), "DAT2", "12 -10 16 x 9", "CHK2 60"}),
         "The INT sample \"x\" is not a 32-bit integer (3)."},
        {block + Lines({Wid2With(45, "CM8")}), "The WID2 data type \"CM8\" is not CM6 or INT (5)."},
        {block + Lines({"WID2 2005/08/31"}), "is not a valid time (5)."},
        {block + Lines({"WID2"}), "The WID2 date and time"},
        // Accepted: a negative checksum, LF CR line ends, a WID2 line continued after a
        // backslash, blank padding, a STA2 line of placeholders, a STOP line after the block,
        // the line names in lower case, the shortest CHK2 line.
        {Lines({kWid2, "STA2           -99.0000  -999.00000              -.999 -.999", "DAT2",
                data + "      ", "CHK2      -60", "STOP"},
               "\n\r"),
         ""},
        {Lines({kWid2.substr(0, 79) + "\\", kWid2.substr(79), "DAT2", data, "CHK2 60"}), ""},
        {Lines({lowerWid2, "dat2", data, "chk2 60"}), ""},
        {Lines({Wid2With(49, "       1"), "DAT2", "3", "CHK2 5"}), ""},
        // An empty line among the data, and CM6 text that begins with the letters CHK2, which
        // is data: 14, 25, 30, 39.
        {Lines({Wid2With(49, "       4"), "DAT2", "", "CHK2", "CHK2      108"}), ""},
    };
    for (const auto& [text, message] : cases) {
        ExpectFault("bad.gse", text, message);
    }
    EXPECT_EQ(ReadSamples(m_folder / "bad.gse"), (SampleList{14, 25, 30, 39}));
}

} // namespace
} // namespace vibrex::test
