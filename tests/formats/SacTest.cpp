#include "engine/Codec.h"
#include "formats/ConversionTest.h"
#include "io/ByteOrder.h"

#include <array>

namespace vibrex::test {
namespace {

// A SAC file of the samples, 0.01 s apart, with its header in the given byte order: recorded
// at 45.5, -120.25, 1234 by station "  AB    ", HHZ, XX, instrument "DL" ended by a zero byte.
std::string SacFile(const std::vector<float>& samples, ByteOrder order = ByteOrder::Little,
                    const std::array<std::int32_t, 6>& time = {2015, 60, 12, 30, 45, 250}) {
    std::string bytes(632 + 4 * samples.size(), '\0');
    auto* at = reinterpret_cast<unsigned char*>(bytes.data());
    for (const auto& [offset, value] :
         {std::pair<std::size_t, float>{0, 0.01f}, {124, 45.5f}, {128, -120.25f}, {132, 1234.0f}}) {
        StoreAs(at + offset, value, order);
    }
    for (std::size_t i = 0; i < time.size(); ++i) {
        StoreAs(at + 280 + 4 * i, time[i], order); // NZYEAR .. NZMSEC
    }
    StoreAs(at + 316, static_cast<std::int32_t>(samples.size()), order);
    StoreAs(at + 340, std::int32_t{1}, order);
    bytes.replace(440, 8, "  AB    ");
    bytes.replace(600, 3, "HHZ");
    bytes.replace(608, 2, "XX");
    bytes.replace(624, 7, std::string("DL\0junk", 7));
    for (std::size_t i = 0; i < samples.size(); ++i) {
        StoreAs(at + 632 + 4 * i, samples[i], order);
    }
    return bytes;
}

HeaderValues LoadSac(const std::filesystem::path& path) {
    return kSacCodec.loadHeader(path).at(0);
}

// Floats whose text must read back to the very same bits: a fraction without an exact decimal,
// the smallest subnormal, the largest finite value, a sample beyond float integers.
const std::vector<float> kAwkwardSamples = {0.1f,        1e-45f,      -3.40282347e38f,
                                            16777216.0f, 123456.789f, -1.17549435e-38f};

using Sac = ConversionTest;

// The file written, byte for byte, against values worked out by hand: 0.01f is 0x3C23D70A,
// 45.5f 0x42360000, -120.25f 0xC2F08000, 1234f 0x449A4000, 3000000f 0x4A371B00; SCALE is the
// integer 1; 29 February 2016 is day 60; the fraction .123999 keeps its first three digits.
TEST_F(Sac, WrittenFileByteForByte) {
    const auto input =
        Input("in.psn",
              PsnText({"Start Time: 2016/02/29 12:34:56.123999", "Number of Samples: 3", "SPS: 100",
                       "Sensor Latitude: 45.5", "Sensor Longitude: -120.25",
                       "Sensor Elevation: 1234", "Component Name: HHZ", "Network Affiliation: XX",
                       "Datalogger: DL1", "Station Code: LONGSTATION9", "Comment: not carried"},
                      {"1", "-2.5", "3000000"}));
    Converted(input, FileFormat::SAC, m_folder / "out.sac");
    std::string expected(632 + 12, '\0');
    const std::pair<std::size_t, std::string> fields[] = {
        {0, Hex("0AD7233C")},
        {12, Hex("01000000")},
        {124, Hex("00003642 0080F0C2 00409A44")},
        {280, Hex("E0070000 3C000000 0C000000 22000000 38000000 7B000000 06000000")},
        {316, Hex("03000000")},
        {340, Hex("01000000")},
        {420, Hex("01000000")},
        {440, "LONGSTAT"},
        {600, "HHZ     XX      "},
        {624, "DL1     "},
        {632, Hex("0000803F 000020C0 001B374A")},
    };
    for (const auto& [offset, bytes] : fields) {
        expected.replace(offset, bytes.size(), bytes);
    }
    EXPECT_EQ(ReadFile(m_folder / "out.sac"), expected);
}

// The reference time is read as the start time text and written back from it: a fraction keeps
// its first three digits, and a start without a date (read from a file without a reference
// time) or a fraction that is not digits leaves the fields 0.
TEST_F(Sac, ReferenceTimeReadAndWritten) {
    const auto sac = [](const std::array<std::int32_t, 6>& time) {
        return SacFile({1}, ByteOrder::Little, time);
    };
    const auto psn = [](const std::string& start) {
        return PsnText({"Start Time: " + start, "Number of Samples: 1", "SPS: 1"}, {"1"});
    };
    const std::tuple<std::string, std::string, std::array<std::int32_t, 6>> cases[] = {
        {sac({2016, 60, 0, 0, 0, 0}), "2016/02/29 00:00:00.000", {2016, 60, 0, 0, 0, 0}},
        {sac({2015, 60, 0, 0, 0, 0}), "2015/03/01 00:00:00.000", {2015, 60, 0, 0, 0, 0}},
        {sac({2015, 365, 23, 59, 59, 999}),
         "2015/12/31 23:59:59.999",
         {2015, 365, 23, 59, 59, 999}},
        {sac({1, 1, 0, 0, 0, 0}), "0001/01/01 00:00:00.000", {1, 1, 0, 0, 0, 0}},
        {sac({0, 100, 5, 5, 5, 5}), "01/01/1980 00:00:00.000", {0, 0, 0, 0, 0, 0}},
        {sac({-7, 100, 5, 5, 5, 5}), "01/01/1980 00:00:00.000", {0, 0, 0, 0, 0, 0}},
        {psn("2015/03/01 12:30:45.5"), "2015/03/01 12:30:45.5", {2015, 60, 12, 30, 45, 500}},
        {psn("2015/03/01 12:30:45"), "2015/03/01 12:30:45", {2015, 60, 12, 30, 45, 0}},
        {psn("2015/03/01 12:30:45.x5"), "2015/03/01 12:30:45.x5", {0, 0, 0, 0, 0, 0}},
    };
    for (const auto& [bytes, start, written] : cases) {
        ASSERT_TRUE(Add(Input("in", bytes), FileFormat::SAC, m_folder / "out.sac"));
        EXPECT_EQ(m_engine.HeaderProperty(0, 0, kStartTime), start);
        ASSERT_EQ(Convert(), ConversionStatus::Success);
        // NZYEAR .. NZMSEC as a file of that reference time holds them.
        EXPECT_EQ(ReadFile(m_folder / "out.sac").substr(280, 24),
                  SacFile({}, ByteOrder::Little, written).substr(280, 24))
            << start;
    }
}

// Every bit of the awkward samples and the header survive both ways: a big-endian file read
// with inversion into SAC, and a little-endian file through PSN text and back.
TEST_F(Sac, RoundTripsKeepEveryBit) {
    const auto big = Input("big.sac", SacFile(kAwkwardSamples, ByteOrder::Big));
    const HeaderValues values = LoadSac(big);
    std::string read; // the rate is 1 / 0.01 in single precision
    for (const int property :
         {kStartTime, kNumberOfSamples, kSps, kSensorLatitude, kSensorLongitude, kSensorElevation,
          kStationCode, kComponentName, kNetworkAffiliation, kDatalogger}) {
        read += values[property] + "|";
    }
    EXPECT_EQ(read, "2015/03/01 12:30:45.250|6|100|45.5|-120.25|1234|AB|HHZ|XX|DL|");
    const auto inverted = Converted(big, FileFormat::SAC, m_folder / "inverted.sac", true);
    std::vector<float> negated;
    for (const float sample : kAwkwardSamples) {
        negated.push_back(-sample);
    }
    EXPECT_EQ(ReadFile(inverted).substr(632), SacFile(negated).substr(632));
    EXPECT_EQ(LoadSac(inverted), values);

    const auto little = Input("little.sac", SacFile(kAwkwardSamples));
    const auto out = Converted(Converted(little, FileFormat::PSNINT, m_folder / "mid.psn"),
                               FileFormat::SAC, m_folder / "out.sac");
    EXPECT_EQ(ReadFile(out).substr(632), SacFile(kAwkwardSamples).substr(632));
    EXPECT_EQ(LoadSac(out), values);
    EXPECT_TRUE(WorkFolderIsEmpty());
    // Samples are copied 16384 at a time; one more makes a second chunk.
    const std::vector<float> many(16385, 7.0f);
    EXPECT_EQ(ReadSamples(Input("many.sac", SacFile(many))).size(), many.size());

    // Each of SAC's five file types tells a big-endian file from a little-endian one.
    for (const std::int32_t type : {1, 2, 3, 4, 51}) {
        std::string bytes = SacFile({1, 2}, ByteOrder::Big);
        StoreAs(reinterpret_cast<unsigned char*>(&bytes[340]), type, ByteOrder::Big);
        EXPECT_EQ(LoadSac(Input("type.sac", bytes))[kNumberOfSamples], "2") << type;
    }
}

// SAC's "undefined" marker, -12345 in a float field or as the text of a text field, is a
// property that is not set, never a value.
TEST_F(Sac, UndefinedMarkerIsNotSet) {
    const std::tuple<std::size_t, int, bool> fields[] = {
        {0, kSps, false},
        {124, kSensorLatitude, false},
        {128, kSensorLongitude, false},
        {132, kSensorElevation, false},
        {440, kStationCode, true},
        {600, kComponentName, true},
        {624, kDatalogger, true},
        {608, kNetworkAffiliation, true},
    };
    const HeaderValues whole = LoadSac(Input("whole.sac", SacFile({1, 2})));
    for (const auto& [offset, property, text] : fields) {
        SCOPED_TRACE(HeaderPropertyDisplayName(property));
        std::string bytes = SacFile({1, 2});
        if (text) {
            bytes.replace(offset, 8, "-12345  ");
        } else {
            StoreAs(reinterpret_cast<unsigned char*>(&bytes[offset]), -12345.0f, ByteOrder::Little);
        }
        HeaderValues expected = whole;
        expected[static_cast<std::size_t>(property)] = "";
        EXPECT_EQ(LoadSac(Input("marked.sac", bytes)), expected);
    }
}

// A header value or a sample that is not a number fails the writer, and so does a channel
// without a rate. (A file changed after it was added fails before its reader starts.)
TEST_F(Sac, FailuresNameTheirCause) {
    const std::pair<std::string, std::string> cases[] = {
        {PsnText({"SPS: fast", "Number of Samples: 1"}, {"1"}),
         "The header value \"SPS: fast\" is not a number."},
        {PsnText({"Number of Samples: 1", "SPS: 1"}, {"one"}),
         "The sample \"one\" is not a number."},
        {PsnText({"Number of Samples: 1"}, {"1"}),
         "SAC needs a sampling rate; the channel has none."},
        {PsnText({"SPS: inf", "Number of Samples: 1"}, {"1"}),
         "SAC needs a sampling rate; the channel has \"inf\"."},
        {PsnText({"SPS: 0", "Number of Samples: 1"}, {"1"}),
         "SAC needs a sampling rate; the channel has \"0\"."},
    };
    for (const auto& [bytes, detail] : cases) {
        ASSERT_TRUE(Add(Input("in", bytes), FileFormat::SAC, m_folder / "out.sac"));
        ExpectFailure(detail);
    }
}

} // namespace
} // namespace vibrex::test
