#include "formats/ConversionTest.h"

#include <tuple>

// The two data-logger text formats: Geonode datalogs and Ondaro files.
namespace vibrex::test {
namespace {

// An Ondaro file of two channels: rates, lengths and loggers of their own. Loggers end their
// lines with CR LF.
const std::string kOndaro =
    "TIPO=ONDARO2\r\nCHANNELS=2\r\n"
    "[CHANNEL 1]\r\nDATALOGGER=Unit 7\r\nSTART TIME=2021/03/04 05:06:07.250\r\nSPS=100\r\n"
    "SAMPLES=3\r\nGAIN=1\r\nDATA=\r\n-100\r\n-63\r\n5\r\n"
    "[CHANNEL 2]\r\nDATALOGGER=Unit 8\r\nSTART TIME=2021/03/04 05:06:08\r\nSPS=50\r\n"
    "SAMPLES=2\r\nGAIN=0.5\r\nDATA=\r\n1.5\r\n-2e3\r\n";

using Datalogger = ConversionTest;

// Datalogs as loggers write them read: no header, "index,value", "time value" or tab-separated
// lines, blank lines; the "! Key: value" lines the intermediate file knows give header values, but
// the count is always that of the sample lines.
TEST_F(Datalogger, GeonodeDatalogsAsLoggersWriteThem) {
    const std::tuple<std::string, std::vector<std::string>, std::string, std::string> cases[] = {
        {"! STRATAREC log\n0,-100\n1,-63\n\n2, 5\n3\t9\n", {"-100", "-63", "5", "9"}, "", ""},
        {"! GEONODE datalog\r\n! Start Time: 2021/03/04 05:06:07.250\r\n! SPS: 100\r\n"
         "! Number of Samples: 99\r\n! a comment\r\n12:00:00.01 7\r\n  -3.5  \r\n1e3\r\n",
         {"7", "-3.5", "1e3"},
         "2021/03/04 05:06:07.250",
         "100"},
    };
    for (const auto& [text, samples, start, sps] : cases) {
        ASSERT_TRUE(Add(Input("log.dat", text), FileFormat::PSNINT, m_folder / "out.psn"));
        EXPECT_EQ(m_engine.HeaderProperty(0, 0, kNumberOfSamples), std::to_string(samples.size()));
        EXPECT_EQ(m_engine.HeaderProperty(0, 0, kStartTime), start);
        EXPECT_EQ(m_engine.HeaderProperty(0, 0, kSps), sps);
        ASSERT_EQ(Convert(), ConversionStatus::Success) << LastMessage();
        EXPECT_EQ(DataLines(m_folder / "out.psn"), samples);
    }
}

// PSN -> Geonode -> PSN: the datalog holds the marker and the samples as they were written, and
// reading it back with inversion negates each in its own kind of number.
TEST_F(Datalogger, GeonodeWrittenExactlyAndReadInverted) {
    const auto input = Input("in.psn", PsnText({"Number of Samples: 4", "SPS: 100"},
                                               {"1", "-2.5", "3e2", "2147483647"}));
    const auto log = Converted(input, FileFormat::Geonode, m_folder / "log.dat");
    EXPECT_EQ(ReadFile(log), "! GEONODE datalog\r\n1\r\n-2.5\r\n3e2\r\n2147483647\r\n");
    EXPECT_EQ(DataLines(Converted(log, FileFormat::PSNINT, m_folder / "back.psn", true)),
              (std::vector<std::string>{"-1", "2.5", "-300", "-2147483647"}));
}

// The Ondaro file written from two recordings of their own rate and length, exactly.
TEST_F(Datalogger, OndaroWrittenExactly) {
    const auto first = Input(
        "a.psn", PsnText({"Start Time: 2021/03/04 05:06:07.250", "Number of Samples: 3", "SPS: 100",
                          "Datalogger: Unit 7", "Ch Gain: 1", "Station Code: not carried"},
                         {"-100", "-63", "5"}));
    const auto second =
        Input("b.psn", PsnText({"Start Time: 2021/03/04 05:06:08", "Number of Samples: 2",
                                "SPS: 50", "Datalogger: Unit 8", "Ch Gain: 0.5"},
                               {"1.5", "-2e3"}));
    ASSERT_EQ(Merge({first, second}, FileFormat::Ondaro, m_folder / "pair.ond"),
              ConversionStatus::Success)
        << LastMessage();
    EXPECT_EQ(ReadFile(m_folder / "pair.ond"), kOndaro);
}

// Lenient reading: keys in any case with blanks around "=", unknown keys and free text ignored,
// LF line ends, and a block without SAMPLES counted by its lines.
TEST_F(Datalogger, OndaroReadLeniently) {
    const std::string text =
        Lines({"TIPO=anything", "Recorded on site", "channels = 2", "[channel 1]", " sps = 20 ",
               "Colour=blue", "data =", "4", "", "5", "[CHANNEL 2]", "DATA=", "6"});
    ASSERT_TRUE(Add(Input("in.dat", text), FileFormat::PSNINT, m_folder / "out.psn"));
    EXPECT_EQ(m_engine.HeaderProperty(0, 0, kSps), "20");
    EXPECT_EQ(m_engine.HeaderProperty(0, 0, kNumberOfSamples), "2");
    EXPECT_EQ(m_engine.HeaderProperty(0, 1, kNumberOfSamples), "1");
    ASSERT_EQ(Convert(), ConversionStatus::Success) << LastMessage();
    EXPECT_EQ(DataLines(m_folder / "out1.psn"), (std::vector<std::string>{"4", "5"}));
    EXPECT_EQ(DataLines(m_folder / "out2.psn"), (std::vector<std::string>{"6"}));
}

// Damaged files are refused when added, or fail their conversion, with a text that names the
// channel or line; nothing is left behind.
TEST_F(Datalogger, DamagedFilesNameTheirCause) {
    const auto ondaro = [](const std::string& text, const std::string& replacement) {
        std::string damaged = kOndaro;
        return damaged.replace(damaged.find(text), text.size(), replacement);
    };
    const std::tuple<std::string, Stage, std::string> cases[] = {
        {ondaro("DATA=\r\n1.5", "1.5"), Stage::Added, "Missing DATA= line (2)."},
        {ondaro("CHANNELS=2", "CHANNELS=3"), Stage::Added,
         "CHANNELS=3 but the file holds 2 [CHANNEL blocks (2)."},
        {ondaro("CHANNELS=2", "CHANNELS=1"), Stage::Added,
         "CHANNELS=1 but the file holds more [CHANNEL blocks (2)."},
        {ondaro("CHANNELS=2", "CHANNELS=two"), Stage::Added,
         "CHANNELS=two is not a number of channels (2)."},
        {ondaro("CHANNELS=2\r\n", ""), Stage::Added, "Missing CHANNELS= line (2)."},
        {ondaro("SAMPLES=3", "SAMPLES=3.5"), Stage::Added,
         "SAMPLES=3.5 is not a number of samples (1)."},
        {Lines({"TIPO=1", "CHANNELS=1"}, "\r\n"), Stage::Added,
         "CHANNELS=1 but the file holds 0 [CHANNEL blocks (2)."},
        {ondaro("SAMPLES=3", "SAMPLES=4"), Stage::Converted,
         "Channel 1 holds 3 samples, not the 4 of its SAMPLES= line."},
        {ondaro("SAMPLES=2", "SAMPLES=1"), Stage::Converted,
         "Channel 2 holds 2 samples, not the 1 of its SAMPLES= line."},
        {ondaro("-63", "-6x3"), Stage::Converted, "Line 11: \"-6x3\" is not a sample."},
        {Lines({"! GEONODE", "1", "", "0,two"}, "\r\n"), Stage::Converted,
         "Line 4: \"two\" is not a sample."},
        {Lines({"! GEONODE", "1", "5,"}, "\r\n"), Stage::Converted,
         "Line 3: \"\" is not a sample."},
    };
    for (const auto& [text, stage, detail] : cases) {
        ExpectFault("damaged", text, detail, stage);
    }
}

} // namespace
} // namespace vibrex::test
