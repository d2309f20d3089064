#include "engine/FormatCatalogue.h"
#include "io/ByteOrder.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>
#include <map>

namespace vibrex::test {
namespace {

std::string Bytes(std::size_t size, char fill = '\x7f') {
    return std::string(size, fill);
}

template <typename T>
std::string With(std::string bytes, std::size_t offset, T value,
                 ByteOrder order = ByteOrder::Little) {
    StoreAs(reinterpret_cast<unsigned char*>(bytes.data()) + offset, value, order);
    return bytes;
}

std::string Sac(std::int32_t npts, std::size_t size, ByteOrder order = ByteOrder::Little,
                std::int32_t type = 1) {
    return With(With(Bytes(size, '\0'), 340, type, order), 316, npts, order);
}

// A trace header whose six checked fields are in range, with the value at `offset` replaced.
std::string Su(std::size_t offset = 160, std::int16_t value = 12) {
    return With(With(Bytes(240 + 40, '\0'), 158, std::int16_t{200}), offset, value);
}

FileFormat Detect(const std::string& bytes) {
    TempFolder folder;
    WriteFile(folder / "probe", bytes);
    return GuessFileFormat(folder / "probe");
}

// The content tests in their order: the more specific text before the one it extends, only the
// first comma-separated field, then the binary markers, each at the edges of what it accepts.
TEST(Detection, EachSignatureAtTheEdgesOfWhatItAccepts) {
    const std::string wid2 = "WID2 2005/08/31 02:33:49.850 RJOB    Z RJOB ";
    ASSERT_EQ(wid2.size(), 44u);
    const std::string seg2 = std::string("U:\x01\x00", 4);
    const std::pair<std::string, FileFormat> cases[] = {
        {"TIPO=3\r\n", FileFormat::Ondaro},
        {"! PSN ASCII CM6 File Format 2.0\r\n", FileFormat::PSNCM6},
        {"! PSN ASCII Event File Format 2.0\r\n", FileFormat::PSNINT},
        {"  ! psn ascii event file\n", FileFormat::PSNINT},
        {"! PSN,ASCII\r\n", FileFormat::Unknown},
        {wid2 + "CM6     2000 100.0\n", FileFormat::GSECM6},
        {"wid2 2005/08/31 02:33:49.850 rjob    z rjob cm6 \n", FileFormat::GSECM6},
        {wid2 + "INT     2000 100.0\n", FileFormat::GSEINT},
        {wid2 + "IN\n", FileFormat::Unknown},
        {"WID2,2005/08/31 02:33:49.850 RJOB    Z RJOB CM6\n", FileFormat::Unknown},
        {"DATA_TYPE GSE2.0\n" + wid2 + "CM6\n", FileFormat::Unknown},
        {seg2 + Bytes(100), FileFormat::SEG2},
        {"U", FileFormat::Unknown},
        {"SESAME ASCII data format (SAF) v. 1\n", FileFormat::SAF},
        {"! StrataRec datalog\n", FileFormat::Geonode},
        {"! GEONODE log\n", FileFormat::Geonode},
        {"", FileFormat::Unknown},
        {std::string("P\0\0\0", 4) + Bytes(60), FileFormat::Seisan},
        {std::string("\0\0\0P", 4) + Bytes(60), FileFormat::Seisan},
        {std::string("P\1\0\0", 4) + Bytes(60), FileFormat::Unknown},
        {std::string("P\0\1\0", 4) + Bytes(60), FileFormat::Unknown},
        {std::string("P\0\0\1", 4) + Bytes(60), FileFormat::Unknown},
        {std::string("\1\0\0P", 4) + Bytes(60), FileFormat::Unknown},
        {std::string("\0\1\0P", 4) + Bytes(60), FileFormat::Unknown},
        {std::string("\0\0\1P", 4) + Bytes(60), FileFormat::Unknown},
        {std::string("\0\0\0", 3), FileFormat::Unknown},
        {Sac(1, 636), FileFormat::SAC},
        {Sac(1, 636, ByteOrder::Big), FileFormat::SAC},
        {Sac(1, 636, ByteOrder::Little, 51), FileFormat::SAC},
        {Sac(1, 636, ByteOrder::Little, 5), FileFormat::Unknown},
        {Sac(0, 632), FileFormat::Unknown},
        {Sac(2, 636), FileFormat::Unknown},
        {"000001D " + Bytes(504), FileFormat::miniSeed},
        {"    12D " + Bytes(1024 - 8), FileFormat::miniSeed},
        {"-00001D " + Bytes(504), FileFormat::miniSeed},
        {"000001D " + Bytes(505), FileFormat::Unknown},
        {"000001R " + Bytes(504), FileFormat::Unknown},
        {"000001DX" + Bytes(504), FileFormat::Unknown},
        {"00A001D " + Bytes(504), FileFormat::Unknown},
        {"      D " + Bytes(504), FileFormat::Unknown},
        // A quality letter other than D falls through to the next test: SU takes in-range fields.
        {With("000001R " + Bytes(504, '\0'), 158, std::int16_t{1}), FileFormat::SU},
        {Su(), FileFormat::SU},
        {Su().substr(0, 239), FileFormat::Unknown},
    };
    for (const auto& [bytes, format] : cases) {
        EXPECT_EQ(Detect(bytes), format) << bytes.substr(0, 48);
    }
    // Each SU field at both ends of its range and one past them.
    for (const auto& [offset, low, high] : {std::tuple{34, 0, 2},
                                            {124, 0, 2},
                                            {158, 1, 366},
                                            {160, 0, 24},
                                            {162, 0, 60},
                                            {164, 0, 60}}) {
        for (const int value : {low - 1, low, high, high + 1}) {
            EXPECT_EQ(Detect(Su(offset, static_cast<std::int16_t>(value))),
                      value == low - 1 || value == high + 1 ? FileFormat::Unknown : FileFormat::SU)
                << offset << ": " << value;
        }
    }
}

// Every real recording is detected as the independent reader of the test data says.
TEST(Detection, RealRecordingsMatchTheManifest) {
    const auto data = TestDataFolder();
    if (data.empty()) {
        GTEST_SKIP() << "no test data folder";
    }
    std::map<std::string, int> expected;
    for (const auto& columns : ManifestRows(data)) {
        ASSERT_GE(columns.size(), 20u);
        expected[columns[0]] = std::stoi(columns[19]);
    }
    ASSERT_FALSE(expected.empty());
    for (const auto& [file, format] : expected) {
        EXPECT_EQ(static_cast<int>(GuessFileFormat(data / file)), format) << file;
    }
}

} // namespace
} // namespace vibrex::test
