#include "engine/FormatCatalogue.h"
#include "io/ByteOrder.h"
#include "support/TestSupport.h"

#include <cctype>
#include <gtest/gtest.h>
#include <map>

namespace vibrex {
namespace {

using test::ManifestRows;
using test::TempFolder;
using test::TestDataFolder;
using test::WriteFile;

std::string Bytes(std::size_t size, char fill = '\x7f') {
    return std::string(size, fill);
}

template <typename T> void Put(std::string& bytes, std::size_t offset, T value, ByteOrder order) {
    StoreAs(reinterpret_cast<unsigned char*>(bytes.data()) + offset, value, order);
}

std::string SacBytes(std::int32_t npts, std::size_t size, ByteOrder order) {
    std::string bytes = Bytes(size, '\0');
    Put<std::int32_t>(bytes, 340, 1, order);
    Put<std::int32_t>(bytes, 316, npts, order);
    return bytes;
}

std::string SuBytes() {
    std::string bytes = Bytes(240 + 40, '\0');
    Put<std::int16_t>(bytes, 158, 200, ByteOrder::Little); // day of year
    Put<std::int16_t>(bytes, 160, 12, ByteOrder::Little);
    return bytes;
}

std::string LowerCase(std::string text) {
    for (char& c : text) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return text;
}

FileFormat Detect(const std::string& bytes) {
    TempFolder folder;
    WriteFile(folder / "probe", bytes);
    return GuessFileFormat(folder / "probe");
}

TEST(Detection, TextSignaturesInOrder) {
    const std::string wid2 = "WID2 2005/08/31 02:33:49.850 RJOB    Z RJOB ";
    ASSERT_EQ(wid2.size(), 44u);
    EXPECT_EQ(Detect("TIPO=3\r\n"), FileFormat::Ondaro);
    EXPECT_EQ(Detect("! PSN ASCII CM6 File Format 2.0\r\n"), FileFormat::PSNCM6);
    EXPECT_EQ(Detect("! PSN ASCII Event File Format 2.0\r\n"), FileFormat::PSNINT);
    EXPECT_EQ(Detect("  ! psn ascii event file\n"), FileFormat::PSNINT);
    EXPECT_EQ(Detect(wid2 + "CM6     2000 100.0\n"), FileFormat::GSECM6);
    EXPECT_EQ(Detect(LowerCase(wid2) + "cm6 \n"), FileFormat::GSECM6);
    EXPECT_EQ(Detect(wid2 + "INT     2000 100.0\n"), FileFormat::GSEINT);
    EXPECT_EQ(Detect("DATA_TYPE GSE2.0\n" + wid2 + "CM6\n"), FileFormat::Unknown);
    EXPECT_EQ(Detect(std::string("U:\x01\x00", 4) + Bytes(100)), FileFormat::SEG2);
    EXPECT_EQ(Detect("SESAME ASCII data format (SAF) v. 1\n"), FileFormat::SAF);
    EXPECT_EQ(Detect("! StrataRec datalog\n"), FileFormat::Geonode);
    EXPECT_EQ(Detect("! GEONODE log\n"), FileFormat::Geonode);
    EXPECT_EQ(Detect(""), FileFormat::Unknown);
}

// Only the first comma-separated field is looked at.
TEST(Detection, CommaCutsTheFirstField) {
    EXPECT_EQ(Detect("! PSN,ASCII\r\n"), FileFormat::Unknown);
    const std::string wid2 = "WID2,2005/08/31 02:33:49.850 RJOB    Z RJOB CM6\n";
    EXPECT_EQ(Detect(wid2), FileFormat::Unknown);
}

TEST(Detection, BinarySignatures) {
    EXPECT_EQ(Detect(std::string("P\0\0\0", 4) + Bytes(60)), FileFormat::Seisan);
    EXPECT_EQ(Detect(std::string("\0\0\0P", 4) + Bytes(60)), FileFormat::Seisan);
    EXPECT_EQ(Detect(SacBytes(1, 636, ByteOrder::Little)), FileFormat::SAC);
    EXPECT_EQ(Detect(SacBytes(1, 636, ByteOrder::Big)), FileFormat::SAC);
    EXPECT_EQ(Detect(SacBytes(0, 632, ByteOrder::Little)), FileFormat::Unknown);
    EXPECT_EQ(Detect(SacBytes(2, 636, ByteOrder::Little)), FileFormat::Unknown);
    EXPECT_EQ(Detect("000001D " + Bytes(504)), FileFormat::miniSeed);
    EXPECT_EQ(Detect("    12D " + Bytes(1024 - 8)), FileFormat::miniSeed);
    EXPECT_EQ(Detect("000001D " + Bytes(505)), FileFormat::Unknown);
    EXPECT_EQ(Detect("000001R " + Bytes(504)), FileFormat::Unknown);
    EXPECT_EQ(Detect("00A001D " + Bytes(504)), FileFormat::Unknown);
    EXPECT_EQ(Detect(SuBytes()), FileFormat::SU);
}

// A quality letter other than D falls through to the next test: SU accepts in-range fields.
TEST(Detection, MiniSeedWithOtherQualityFallsThroughToSu) {
    std::string bytes = "000001R " + Bytes(504, '\0');
    Put<std::int16_t>(bytes, 158, 1, ByteOrder::Little);
    EXPECT_EQ(Detect(bytes), FileFormat::SU);
}

TEST(Detection, SuRangesAreChecked) {
    std::string bytes = SuBytes();
    Put<std::int16_t>(bytes, 158, 367, ByteOrder::Little);
    EXPECT_EQ(Detect(bytes), FileFormat::Unknown);
    bytes = SuBytes();
    Put<std::int16_t>(bytes, 164, 61, ByteOrder::Little);
    EXPECT_EQ(Detect(bytes), FileFormat::Unknown);
    EXPECT_EQ(Detect(SuBytes().substr(0, 239)), FileFormat::Unknown);
}

TEST(Detection, UnreadablePathIsUnknown) {
    TempFolder folder;
    EXPECT_EQ(GuessFileFormat(folder / "absent"), FileFormat::Unknown);
    EXPECT_EQ(GuessFileFormat(folder.Path()), FileFormat::Unknown);
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
} // namespace vibrex
