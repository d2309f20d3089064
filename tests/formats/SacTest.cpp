#include "engine/Codec.h"
#include "formats/ByteOrder.h"
#include "formats/ConversionTest.h"
#include "formats/Numbers.h"

#include <array>
#include <bit>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <regex>
#include <sstream>

namespace vibrex::test {
namespace {

struct SacFields {
    float delta = 0.01f;
    std::array<std::int32_t, 6> time{2015, 60, 12, 30, 45, 250}; // NZYEAR .. NZMSEC
    float latitude = 45.5f;
    float longitude = -120.25f;
    float elevation = 1234;
    std::string station = "  AB    ";
    std::string component = "HHZ";
    std::string network = "XX";
    std::string instrument = std::string("DL\0junk", 7);
};

std::string SacFile(const SacFields& fields, const std::vector<float>& samples,
                    ByteOrder order = ByteOrder::Little) {
    std::string bytes(632 + 4 * samples.size(), '\0');
    auto* at = reinterpret_cast<unsigned char*>(bytes.data());
    StoreAs(at, fields.delta, order);
    for (std::size_t i = 0; i < fields.time.size(); ++i) {
        StoreAs(at + 280 + 4 * i, fields.time[i], order);
    }
    StoreAs(at + 124, fields.latitude, order);
    StoreAs(at + 128, fields.longitude, order);
    StoreAs(at + 132, fields.elevation, order);
    StoreAs(at + 316, static_cast<std::int32_t>(samples.size()), order);
    StoreAs(at + 340, std::int32_t{1}, order);
    bytes.replace(440, fields.station.size(), fields.station);
    bytes.replace(600, fields.component.size(), fields.component);
    bytes.replace(608, fields.network.size(), fields.network);
    bytes.replace(624, fields.instrument.size(), fields.instrument);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        StoreAs(at + 632 + 4 * i, samples[i], order);
    }
    return bytes;
}

void PatchInt(const std::filesystem::path& path, std::size_t offset, std::int32_t value) {
    std::string bytes = ReadFile(path);
    StoreAs(reinterpret_cast<unsigned char*>(bytes.data() + offset), value, ByteOrder::Little);
    WriteFile(path, bytes);
}

template <typename T> T LittleEndianAt(const std::string& bytes, std::size_t offset) {
    return LoadAs<T>(reinterpret_cast<const unsigned char*>(bytes.data() + offset),
                     ByteOrder::Little);
}

std::vector<std::uint32_t> SampleBits(const std::string& littleEndianSac) {
    std::vector<std::uint32_t> bits;
    for (std::size_t at = 632; at + 4 <= littleEndianSac.size(); at += 4) {
        bits.push_back(LittleEndianAt<std::uint32_t>(littleEndianSac, at));
    }
    return bits;
}

std::vector<std::uint32_t> Bits(const std::vector<float>& samples, float sign = 1) {
    std::vector<std::uint32_t> bits;
    for (float sample : samples) {
        bits.push_back(std::bit_cast<std::uint32_t>(sample * sign));
    }
    return bits;
}

std::vector<std::string> DataLines(const std::filesystem::path& psn) {
    const auto lines = ReadLines(psn);
    const auto data = std::find(lines.begin(), lines.end(), "Data: ");
    return data == lines.end() ? std::vector<std::string>() : std::vector(data + 1, lines.end());
}

HeaderValues LoadSac(const std::filesystem::path& path) {
    return kSacCodec.loadHeader(path).at(0);
}

// Floats whose text must read back to the very same bits: a fraction without an exact decimal,
// the smallest subnormal, the largest finite value, a sample beyond float integers.
const std::vector<float> kAwkwardSamples = {0.1f,        1e-45f,      -3.40282347e38f,
                                            16777216.0f, 123456.789f, -1.17549435e-38f};

TEST(SacLoad, HeaderFieldsInEitherByteOrder) {
    TempFolder folder;
    for (const ByteOrder order : {ByteOrder::Little, ByteOrder::Big}) {
        WriteFile(folder / "in.sac", SacFile(SacFields{}, {1, 2, 3}, order));
        const HeaderValues values = LoadSac(folder / "in.sac");
        EXPECT_EQ(values[kStartTime], "2015/03/01 12:30:45.250");
        EXPECT_EQ(values[kNumberOfSamples], "3");
        EXPECT_EQ(values[kSps], "100"); // 1 / 0.01 in single precision
        EXPECT_EQ(values[kSensorLatitude], "45.5");
        EXPECT_EQ(values[kSensorLongitude], "-120.25");
        EXPECT_EQ(values[kSensorElevation], "1234");
        EXPECT_EQ(values[kStationCode], "AB");
        EXPECT_EQ(values[kComponentName], "HHZ");
        EXPECT_EQ(values[kNetworkAffiliation], "XX");
        EXPECT_EQ(values[kDatalogger], "DL");
        EXPECT_EQ(values[kComment], "");
    }
}

TEST(SacLoad, StartTimeFromTheReferenceTime) {
    struct Case {
        std::array<std::int32_t, 6> time;
        const char* expected;
    };
    const Case cases[] = {
        {{2016, 60, 0, 0, 0, 0}, "2016/02/29 00:00:00.000"},
        {{2015, 60, 0, 0, 0, 0}, "2015/03/01 00:00:00.000"},
        {{2015, 365, 23, 59, 59, 999}, "2015/12/31 23:59:59.999"},
        {{0, 100, 5, 5, 5, 5}, "01/01/1980 00:00:00.000"},
        {{-7, 100, 5, 5, 5, 5}, "01/01/1980 00:00:00.000"},
    };
    TempFolder folder;
    for (const Case& c : cases) {
        SacFields fields;
        fields.time = c.time;
        WriteFile(folder / "in.sac", SacFile(fields, {1}));
        EXPECT_EQ(LoadSac(folder / "in.sac")[kStartTime], c.expected);
    }
}

TEST(SacLoad, ShortFileIsAHeaderLoadError) {
    TempFolder folder;
    WriteFile(folder / "short.sac", std::string(100, '\1'));
    EXPECT_THROW(LoadSac(folder / "short.sac"), HeaderLoadError);
}

class SacConversion : public ConversionTest {};

// Every real SAC recording of the test data loads with the recorded header values and converts
// with the recorded samples. (Detection, the NEGATIVE ones included, is tested with the engine.)
TEST_F(SacConversion, RealFilesBehaveAsTheManifestSays) {
    const auto testData = TestDataFolder();
    if (testData.empty()) {
        GTEST_SKIP() << "no test data folder";
    }
    int positives = 0;
    for (const auto& column : ManifestRows(testData)) {
        if (column.size() < 23 || column[1] != "SAC" || !column[21].starts_with("POSITIVE")) {
            continue;
        }
        SCOPED_TRACE(column[0]);
        const auto input = testData / column[0];
        ASSERT_EQ(GuessFileFormat(input), FileFormat::SAC);
        const HeaderValues values = LoadSac(input);
        EXPECT_EQ(values[kStationCode], column[5]);
        EXPECT_EQ(values[kNetworkAffiliation], column[6]);
        EXPECT_EQ(values[kComponentName], column[8]);
        EXPECT_EQ(values[kNumberOfSamples], column[9]);
        EXPECT_EQ(ParseNumber(values[kSps]), ParseNumber(column[10]));
        std::smatch reference;
        ASSERT_TRUE(std::regex_search(column[22], reference,
                                      std::regex(R"(NZ = (\d+)-(\d+)-(\d+)T([0-9:.]+))")));
        EXPECT_EQ(values[kStartTime], reference[1].str() + "/" + reference[2].str() + "/" +
                                          reference[3].str() + " " + reference[4].str());

        const auto output = m_folder / ("out" + std::to_string(++positives) + ".psn");
        ASSERT_TRUE(Add(input, FileFormat::PSNINT, output));
        m_engine.StartConversion();
        ASSERT_EQ(m_engine.FileStatus(m_engine.FilesCount() - 1), ConversionStatus::Success);
        const auto samples = DataLines(output);
        ASSERT_EQ(std::to_string(samples.size()), column[9]);
        std::stringstream first5(column[12]);
        for (std::size_t i = 0; i < 5; ++i) {
            std::string expected;
            first5 >> expected;
            EXPECT_EQ(ParseFloat(samples[i]), ParseFloat(expected)) << "sample " << i;
        }
        EXPECT_EQ(ParseFloat(samples.back()), ParseFloat(column[13]));
    }
    EXPECT_GT(positives, 0);
}

// The layout written, checked field by field against values computed by hand: 0.01f is
// 0x3C23D70A, 45.5f 0x42360000, -120.25f 0xC2F08000, 1234f 0x449A4000, 3000000f 0x4A371B00;
// 29 February 2016 is day 60; the fraction .123999 keeps its first three digits.
TEST_F(SacConversion, WrittenHeaderByteForByte) {
    const auto input =
        Input("in.psn",
              PsnText({"Start Time: 2016/02/29 12:34:56.123999", "Number of Samples: 3", "SPS: 100",
                       "Sensor Latitude: 45.5", "Sensor Longitude: -120.25",
                       "Sensor Elevation: 1234", "Component Name: HHZ", "Network Affiliation: XX",
                       "Datalogger: DL1", "Station Code: LONGSTATION9", "Comment: not carried"},
                      {"1", "-2.5", "3000000"}));
    ASSERT_TRUE(Add(input, FileFormat::SAC, m_folder / "out.sac"));
    ASSERT_EQ(Convert(), ConversionStatus::Success);

    std::string expected(632 + 12, '\0');
    const std::pair<std::size_t, std::vector<std::uint8_t>> words[] = {
        {0, {0x0A, 0xD7, 0x23, 0x3C}},
        {12, {1, 0, 0, 0}},
        {124, {0x00, 0x00, 0x36, 0x42}},
        {128, {0x00, 0x80, 0xF0, 0xC2}},
        {132, {0x00, 0x40, 0x9A, 0x44}},
        {280, {0xE0, 0x07, 0, 0}},
        {284, {60, 0, 0, 0}},
        {288, {12, 0, 0, 0}},
        {292, {34, 0, 0, 0}},
        {296, {56, 0, 0, 0}},
        {300, {123, 0, 0, 0}},
        {304, {6, 0, 0, 0}},
        {316, {3, 0, 0, 0}},
        {340, {1, 0, 0, 0}},
        {420, {1, 0, 0, 0}},
        {632, {0x00, 0x00, 0x80, 0x3F}},
        {636, {0x00, 0x00, 0x20, 0xC0}},
        {640, {0x00, 0x1B, 0x37, 0x4A}},
    };
    for (const auto& [offset, bytes] : words) {
        expected.replace(offset, 4, std::string(bytes.begin(), bytes.end()));
    }
    expected.replace(440, 8, "LONGSTAT");
    expected.replace(600, 8, "HHZ     ");
    expected.replace(608, 8, "XX      ");
    expected.replace(624, 8, "DL1     ");
    EXPECT_EQ(ReadFile(m_folder / "out.sac"), expected);
}

TEST_F(SacConversion, WrittenReferenceTimeFromStartTimeText) {
    const std::pair<const char*, std::array<std::int32_t, 6>> cases[] = {
        {"2015/03/01 12:30:45.5", {2015, 60, 12, 30, 45, 500}},
        {"2015/03/01 12:30:45", {2015, 60, 12, 30, 45, 0}},
        {"01/01/1980 00:00:00.000", {0, 0, 0, 0, 0, 0}}, // read from a file without one
    };
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        const auto name = std::to_string(i);
        ASSERT_TRUE(Add(Input(name + ".psn", PsnText({std::string("Start Time: ") + cases[i].first,
                                                      "Number of Samples: 1"},
                                                     {"1"})),
                        FileFormat::SAC, m_folder / (name + ".sac")));
        ASSERT_EQ(Convert(), ConversionStatus::Success);
    }
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        const std::string sac = ReadFile(m_folder / (std::to_string(i) + ".sac"));
        ASSERT_EQ(sac.size(), 636u);
        for (std::size_t field = 0; field < 6; ++field) {
            EXPECT_EQ(LittleEndianAt<std::int32_t>(sac, 280 + 4 * field), cases[i].second[field])
                << cases[i].first << ", field " << field;
        }
    }
}

class SacRoundTrip : public SacConversion, public ::testing::WithParamInterface<ByteOrder> {};

TEST_P(SacRoundTrip, SacToSacKeepsEveryBitAndInversionNegatesOnce) {
    const auto input = Input("in.sac", SacFile(SacFields{}, kAwkwardSamples, GetParam()));
    ASSERT_TRUE(Add(input, FileFormat::SAC, m_folder / "plain.sac"));
    ASSERT_EQ(Convert(), ConversionStatus::Success);
    m_engine.SetFileOutputPath(0, (m_folder / "inverted.sac").string());
    ASSERT_EQ(Convert(true), ConversionStatus::Success);

    EXPECT_EQ(SampleBits(ReadFile(m_folder / "plain.sac")), Bits(kAwkwardSamples));
    EXPECT_EQ(SampleBits(ReadFile(m_folder / "inverted.sac")), Bits(kAwkwardSamples, -1));
    HeaderValues expected = LoadSac(input);
    expected[kStationCode] = "AB"; // written blank-padded, read back trimmed
    EXPECT_EQ(LoadSac(m_folder / "plain.sac"), expected);
    EXPECT_TRUE(WorkFolderIsEmpty());
}

INSTANTIATE_TEST_SUITE_P(BothByteOrders, SacRoundTrip,
                         ::testing::Values(ByteOrder::Little, ByteOrder::Big),
                         [](const auto& info) {
                             return info.param == ByteOrder::Little ? "Little" : "Big";
                         });

TEST_F(SacConversion, ThroughPsnAndBackIsSampleExact) {
    const auto input = Input("in.sac", SacFile(SacFields{}, kAwkwardSamples));
    ASSERT_TRUE(Add(input, FileFormat::PSNINT, m_folder / "mid.psn"));
    ASSERT_EQ(Convert(true), ConversionStatus::Success);
    ASSERT_TRUE(Add(m_folder / "mid.psn", FileFormat::SAC, m_folder / "out.sac"));
    ASSERT_EQ(Convert(), ConversionStatus::Success);

    EXPECT_EQ(SampleBits(ReadFile(m_folder / "out.sac")), Bits(kAwkwardSamples, -1));
    EXPECT_EQ(LoadSac(m_folder / "out.sac")[kStartTime], "2015/03/01 12:30:45.250");
}

// Aborting stops the reader (no output at all) or the writer (the output stops short) at once.
TEST_F(SacConversion, AbortStopsEitherStage) {
    const auto input = Input("in.sac", SacFile(SacFields{}, std::vector<float>(1000, 1.5f)));
    ASSERT_TRUE(Add(input, FileFormat::SAC, m_folder / "out.sac"));
    int abortAtPercent = 10;
    m_host.onDoEvents = [&] {
        if (m_engine.FileProgress(0) >= abortAtPercent) {
            m_engine.Abort();
        }
    };
    EXPECT_EQ(Convert(), ConversionStatus::Aborted);
    EXPECT_FALSE(std::filesystem::exists(m_folder / "out.sac"));
    abortAtPercent = 60; // in the writer, with 200 of the 1000 samples written
    EXPECT_EQ(Convert(), ConversionStatus::Aborted);
    EXPECT_FALSE(std::filesystem::exists(m_folder / "out.sac")); // no truncated output is left
    EXPECT_TRUE(WorkFolderIsEmpty());
}

// A file that changed after it was added: the reader must neither crash nor leave files behind.
TEST_F(SacConversion, FileChangedAfterLoadingFailsCleanly) {
    struct Case {
        std::size_t offset;
        std::int32_t value;
        std::string detail;
    };
    const Case cases[] = {
        {316, 1000000000, "The header announces 1000000000 samples but the file holds only 3."},
        {340, 0, "Can't open an intermediate file:"}, // no longer SAC in either order
    };
    for (const Case& c : cases) {
        const auto input = Input("in.sac", SacFile(SacFields{}, {1, 2, 3}));
        ASSERT_TRUE(Add(input, FileFormat::SAC, m_folder / "out.sac"));
        PatchInt(input, c.offset, c.value);
        EXPECT_EQ(Convert(), ConversionStatus::Failed);
        EXPECT_NE(LastMessage().find(c.detail), std::string::npos) << LastMessage();
        EXPECT_TRUE(WorkFolderIsEmpty());
        EXPECT_FALSE(std::filesystem::exists(m_folder / "out.sac"));
        m_engine.RemoveFile(0);
    }
}

TEST_F(SacConversion, UnreadableNumbersFailTheWriter) {
    struct Case {
        std::vector<std::string> header, samples;
        std::string detail;
    };
    const Case cases[] = {
        {{"SPS: fast", "Number of Samples: 1"},
         {"1"},
         "The header value \"SPS: fast\" is not a number."},
        {{"Number of Samples: 1e12"},
         {"1"},
         "The header value \"Number of Samples: 1e12\" is not a 32-bit whole number."},
        {{"Number of Samples: 2"}, {"1", "one"}, "The sample \"one\" is not a number."},
    };
    for (const Case& c : cases) {
        ASSERT_TRUE(Add(Input("in.psn", PsnText(c.header, c.samples)), FileFormat::SAC,
                        m_folder / "out.sac"));
        EXPECT_EQ(Convert(), ConversionStatus::Failed);
        EXPECT_NE(LastMessage().find(c.detail), std::string::npos) << LastMessage();
        m_engine.RemoveFile(0);
    }
}

// Headers of random words (with a valid type and count, so that they pass as SAC) load and
// convert without crashing, whatever their times, rates and texts hold.
TEST_F(SacConversion, RandomHeadersNeverCrash) {
    std::mt19937 random(20240229);
    for (int round = 0; round < 20; ++round) {
        std::string bytes(632 + 16, '\0');
        for (char& byte : bytes) {
            byte = static_cast<char>(random());
        }
        auto* at = reinterpret_cast<unsigned char*>(bytes.data());
        StoreAs(at + 316, std::int32_t{4}, ByteOrder::Little);
        StoreAs(at + 340, std::int32_t{1}, ByteOrder::Little);
        if (round == 0) { // the longest start time text there is
            StoreAs(at + 280, std::numeric_limits<std::int32_t>::max(), ByteOrder::Little);
            for (std::size_t field = 284; field < 304; field += 4) {
                StoreAs(at + field, std::numeric_limits<std::int32_t>::min(), ByteOrder::Little);
            }
        }
        const auto input = Input("random.sac", bytes);
        ASSERT_TRUE(Add(input, FileFormat::SAC, m_folder / "out.sac")) << "round " << round;
        const ConversionStatus status = Convert();
        EXPECT_TRUE(status == ConversionStatus::Success || status == ConversionStatus::Failed);
        EXPECT_TRUE(WorkFolderIsEmpty());
        m_engine.RemoveFile(0);
    }
}

} // namespace
} // namespace vibrex::test
