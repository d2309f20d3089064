#include "engine/Codec.h"
#include "engine/FormatCatalogue.h"
#include "formats/ConversionTest.h"
#include "io/Numbers.h"
#include "io/TimeText.h"

#include <map>
#include <regex>

// Real recordings from other programs, against MANIFEST.tsv: values read by independent means.
namespace vibrex::test {
namespace {

namespace fs = std::filesystem;

// A MANIFEST.tsv time, "2013-01-07T10:30:41.000000", as a time.
std::optional<PreciseTime> ManifestTime(std::string text) {
    std::replace(text.begin(), text.end(), '-', '/');
    std::replace(text.begin(), text.end(), 'T', ' ');
    return ParseTimeText(text);
}

// A channel's sample lines against its row: the count, the first five and the last. Whole
// numbers must match exactly, others in single precision, as the manifest gives them.
void ExpectManifestSamples(const std::vector<std::string>& lines,
                           const std::vector<std::string>& row) {
    ASSERT_EQ(std::to_string(lines.size()), row[9]);
    std::stringstream expected(row[12] + " " + row[13]);
    for (const std::size_t i : {0ul, 1ul, 2ul, 3ul, 4ul, lines.size() - 1}) {
        std::string text;
        expected >> text;
        if ((lines[i] + text).find_first_of(".eE") == std::string::npos) {
            EXPECT_EQ(lines[i], text) << "sample " << i;
        } else {
            EXPECT_EQ(std::stof(lines[i]), std::stof(text)) << "sample " << i;
        }
    }
}

// The manifest's start of a SAC file adds the offset B to the reference time; Vibrex's start is
// the reference time itself, which the notes give.
std::string ExpectedStart(const std::vector<std::string>& row) {
    std::smatch reference;
    if (row[1] == "SAC" &&
        std::regex_search(row[22], reference, std::regex(R"(reference time NZ = ([0-9:.T-]+))"))) {
        return reference[1];
    }
    return row[11];
}

using RealRecordings = ConversionTest;

// POSITIVE files load with the recorded channels, codes, count, rate and start, and convert with
// the recorded samples; NEGATIVE ones are refused, a miniSEED one with the loader's recorded
// text. (Detection is the engine's to check.) SAC's "-12345" is a code not set.
TEST_F(RealRecordings, LoadAndConvertAsTheManifestSays) {
    const fs::path folder = TestDataFolder();
    if (folder.empty()) {
        GTEST_SKIP() << "no test data folder";
    }
    std::map<std::string, int> rows;
    std::string loaded;
    int channels = 0;
    for (const auto& row : ManifestRows(folder)) {
        ASSERT_GE(row.size(), 23u);
        SCOPED_TRACE(row[0] + " channel " + row[18]);
        ++rows[row[1]];
        const fs::path path = folder / row[0];
        if (!row[21].starts_with("POSITIVE")) {
            EXPECT_FALSE(m_engine.AddFile(path.string()));
            if (row[1] == "miniSEED") {
                const std::string& loader = row[20];
                const auto forced = loader.find("forced: ");
                EXPECT_EQ(Refusal(FileFormat::miniSeed, path),
                          forced == std::string::npos ? loader : loader.substr(forced + 8));
            }
            continue;
        }
        if (loaded != row[0]) {
            loaded = row[0];
            Converted(path, FileFormat::PSNINT, m_folder / "real.psn");
            channels = m_engine.FileChannelsCount(0);
            ASSERT_EQ(std::to_string(channels), row[4]);
        }
        const int channel = std::stoi(row[18]) - 1;
        const auto value = [&](int property) {
            return m_engine.HeaderProperty(0, channel, property);
        };
        // The codes where the format carries them and the manifest gives them.
        const int codes[] = {kStationCode, kNetworkAffiliation, kSensorLocation, kComponentName};
        for (std::size_t i = 0; i < std::size(codes); ++i) {
            if (!row[5 + i].empty() &&
                IsHeaderPropertyAvailable(m_engine.FileFormat(0), codes[i])) {
                EXPECT_EQ(value(codes[i]), row[5 + i] == "-12345" ? "" : row[5 + i]) << i;
            }
        }
        EXPECT_EQ(value(kNumberOfSamples), row[9]);
        EXPECT_EQ(ParseNumber(value(kSps)), ParseNumber(row[10]));
        EXPECT_EQ(ParseTimeText(value(kStartTime)), ManifestTime(ExpectedStart(row)));
        ExpectManifestSamples(
            DataLines(channels == 1 ? m_folder / "real.psn"
                                    : m_folder / ("real" + std::to_string(channel + 1) + ".psn")),
            row);
    }
    EXPECT_EQ(rows, (std::map<std::string, int>{{"GSE2.0", 4},
                                                {"SAC", 7},
                                                {"SAF", 3},
                                                {"SEG-2", 28},
                                                {"SEISAN", 21},
                                                {"Seismic Unix", 26},
                                                {"miniSEED", 10}}));
}

} // namespace
} // namespace vibrex::test
