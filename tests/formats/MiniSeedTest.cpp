#include "engine/Codec.h"
#include "formats/ByteOrder.h"
#include "formats/ConversionTest.h"
#include "formats/TimeText.h"

#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <random>
#include <sstream>

namespace vibrex::test {
namespace {

constexpr std::int32_t kMin = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kMax = std::numeric_limits<std::int32_t>::max();

// One hand-made record with 32-bit integer data; every field can be spoiled on its own.
struct RecordFields {
    int sequence = 1;
    std::string quality = "D ";
    std::string codes = "STAT 00HHZXX"; // station, location, channel, network
    int year = 2020, day = 60, hour = 10, minute = 0, second = 0, fraction = 9000;
    int count = 100, rate = 100, multiplier = 1;
    int blockettes = 2, dataOffset = 64, firstBlockette = 48;
    int encoding = 3, wordOrderByte = 1, lengthExponent = 9, frames = 7;
    ByteOrder order = ByteOrder::Big;
};

std::string RecordBytes(const RecordFields& f) {
    std::string record(512, '\0');
    auto* at = reinterpret_cast<unsigned char*>(record.data());
    const auto put16 = [&](int offset, int value) {
        StoreAs<std::uint16_t>(at + offset, static_cast<std::uint16_t>(value), f.order);
    };
    char sequence[8];
    std::snprintf(sequence, sizeof sequence, "%06d", f.sequence);
    record.replace(0, 6, sequence);
    record.replace(6, 2, f.quality);
    record.replace(8, 12, f.codes);
    put16(20, f.year);
    put16(22, f.day);
    at[24] = static_cast<unsigned char>(f.hour);
    at[25] = static_cast<unsigned char>(f.minute);
    at[26] = static_cast<unsigned char>(f.second);
    put16(28, f.fraction);
    put16(30, f.count);
    put16(32, f.rate);
    put16(34, f.multiplier);
    at[39] = static_cast<unsigned char>(f.blockettes);
    put16(44, f.dataOffset);
    put16(46, f.firstBlockette);
    put16(48, 1000);
    at[52] = static_cast<unsigned char>(f.encoding);
    at[53] = static_cast<unsigned char>(f.wordOrderByte);
    at[54] = static_cast<unsigned char>(f.lengthExponent);
    at[63] = static_cast<unsigned char>(f.frames);
    for (int i = 0; i < 112; ++i) {
        StoreAs<std::int32_t>(at + 64 + 4 * i, f.sequence * 1000 + i, f.order);
    }
    return record;
}

// Consecutive records of one second each (100 samples at 100 per second).
std::vector<RecordFields> Consecutive(int count) {
    std::vector<RecordFields> records(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        records[static_cast<std::size_t>(i)].sequence = i + 1;
        records[static_cast<std::size_t>(i)].second = i;
    }
    return records;
}

std::string FileBytes(const std::vector<RecordFields>& records) {
    std::string bytes;
    for (const auto& record : records) {
        bytes += RecordBytes(record);
    }
    return bytes;
}

HeaderValues Load(const std::filesystem::path& path) {
    return kMiniSeedCodec.loadHeader(path).at(0);
}

// The loader's message for a refused file; empty when it loads.
std::string Refusal(const std::filesystem::path& path) {
    try {
        Load(path);
    } catch (const HeaderLoadError& error) {
        EXPECT_EQ(error.Source(), "LoadHeader_miniSeed");
        return error.what();
    }
    return "";
}

using MiniSeed = ConversionTest;

// Each check in turn, spoiling one field of one record of a valid three-record file.
TEST_F(MiniSeed, LoaderChecksInOrder) {
    struct Case {
        std::size_t record;
        std::function<void(RecordFields&)> spoil;
        std::string message;
    };
    const std::vector<Case> cases = {
        {0, [](auto& f) { f.blockettes = 0; }, "Wrong blockettes count (1)."},
        {0, [](auto& f) { f.blockettes = 3; }, "Wrong blockettes count (1)."},
        {0, [](auto& f) { f.wordOrderByte = 2; }, "Unrecognized endianess."},
        {0, [](auto& f) { f.multiplier = 2; }, "Unrecognized SPS multiplier (1)."},
        {0, [](auto& f) { f.dataOffset = 56; }, "Bad header length (1)."},
        {0, [](auto& f) { f.firstBlockette = 40; }, "Bad header length (1)."},
        {0, [](auto& f) { f.encoding = 4; }, "Unrecognized encoding (1)."},
        {0, [](auto& f) { f.lengthExponent = 12; }, "Bad packet length (1)."},
        {0, [](auto& f) { f.frames = 6; }, "Bad frames count (1)."},
        {1, [](auto& f) { f.sequence = 7; }, "Incoherent packet number (2)."},
        {2, [](auto& f) { f.quality = "M "; }, "Unrecognized packet (3)."},
        {1, [](auto& f) { f.codes[0] = 'X'; }, "Incoherent Station ID (2)."},
        {1, [](auto& f) { f.codes[6] = '1'; }, "Incoherent Location ID (2)."},
        {1, [](auto& f) { f.codes[9] = 'E'; }, "Incoherent Component ID (2)."},
        {1, [](auto& f) { f.codes[11] = 'Y'; }, "Incoherent Network ID (2)."},
        {1, [](auto& f) { f.fraction = 9002; }, "Time gap found (2)."},
        {1, [](auto& f) { f.second = 5, f.fraction = 8998; }, "Time gap found (2)."},
        {1, [](auto& f) { f.rate = 50; }, "Incoherent SPS (2)."},
        {1, [](auto& f) { f.multiplier = 0; }, "Unrecognized SPS multiplier (2)."},
        {1, [](auto& f) { f.blockettes = 1; }, "Wrong blockettes count (2)."},
        {1, [](auto& f) { f.dataOffset = 48; }, "Bad header length (2)."},
        {1, [](auto& f) { f.encoding = 10; }, "Incoherent encoding (2)."},
        {2, [](auto& f) { f.wordOrderByte = 0; }, "Incoherent endianess (3)."},
        {1, [](auto& f) { f.lengthExponent = 8; }, "Bad packet length (2)."},
        {1, [](auto& f) { f.frames = 0; }, "Bad frames count (2)."},
        // The first failing check wins.
        {1, [](auto& f) { f.codes[0] = 'X', f.rate = 1; }, "Incoherent Station ID (2)."},
        {1, [](auto& f) { f.sequence = 9, f.quality = "R "; }, "Incoherent packet number (2)."},
        // Tolerated: one ten-thousandth off, whole seconds late, frames uncounted.
        {1, [](auto& f) { f.fraction = 9001; }, ""},
        {1, [](auto& f) { f.second = 2; }, ""},
        {1, [](auto& f) { f.second = 9, f.fraction = 8999; }, ""},
    };
    for (const Case& c : cases) {
        auto records = Consecutive(3);
        c.spoil(records[c.record]);
        EXPECT_EQ(Refusal(Input("in.mseed", FileBytes(records))), c.message)
            << "record " << c.record + 1;
    }
    auto allZeroRate = Consecutive(2);
    allZeroRate[0].rate = allZeroRate[1].rate = 0;
    EXPECT_EQ(Refusal(Input("in.mseed", FileBytes(allZeroRate))), "Unrecognized SPS (1).");
    auto uncounted = Consecutive(2);
    uncounted[0].blockettes = uncounted[1].blockettes = 1;
    uncounted[0].frames = uncounted[1].frames = 0;
    EXPECT_EQ(Refusal(Input("in.mseed", FileBytes(uncounted))), "");
    auto wrapping = Consecutive(3);
    wrapping[0].sequence = 999998;
    wrapping[1].sequence = 999999;
    wrapping[2].sequence = 0;
    EXPECT_EQ(Refusal(Input("in.mseed", FileBytes(wrapping))), "");
}

// Little-endian files pass only as a single record; a trailing half record counts as one.
TEST_F(MiniSeed, ByteOrderAndPartialRecords) {
    auto little = Consecutive(2);
    for (auto& record : little) {
        record.order = ByteOrder::Little;
        record.wordOrderByte = 0;
    }
    const auto single = Input("single.mseed", RecordBytes(little[0]));
    EXPECT_EQ(Refusal(single), "");
    EXPECT_EQ(Refusal(Input("in.mseed", FileBytes(little))), "Incoherent endianess (2).");
    const SampleList samples = ReadMiniSeed(single);
    ASSERT_EQ(samples.size(), 100u);
    EXPECT_EQ(samples[99], 1099);

    const std::string one = RecordBytes(Consecutive(1)[0]);
    EXPECT_EQ(Refusal(Input("in.mseed", one + one.substr(0, 256))),
              "Incoherent packet number (2).");
    EXPECT_EQ(Refusal(Input("in.mseed", one + one.substr(0, 255))), "");
}

// A record that claims impossible counts fails the conversion and leaves no intermediate file.
TEST_F(MiniSeed, NonsenseCountsFailTheReader) {
    auto tooMany = Consecutive(1);
    tooMany[0].count = 801;
    auto negative = Consecutive(2);
    negative[1].count = -5;
    for (const auto& [records, claim] : {std::pair{tooMany, std::string("Record 1 claims 801")},
                                         std::pair{negative, std::string("Record 2 claims -5")}}) {
        const auto input = Input("in.mseed", FileBytes(records));
        ASSERT_EQ(Refusal(input), "");
        EXPECT_EQ(ConvertOne(input, FileFormat::PSNINT, m_folder / "out.psn"),
                  ConversionStatus::Failed);
        EXPECT_NE(LastMessage().find(claim), std::string::npos);
        EXPECT_TRUE(WorkFolderIsEmpty());
    }
}

std::uint16_t BigEndian16(const std::string& bytes, std::size_t offset) {
    return LoadAs<std::uint16_t>(reinterpret_cast<const unsigned char*>(bytes.data()) + offset,
                                 ByteOrder::Big);
}

TEST_F(MiniSeed, WriterLaysOutNumberedRecords) {
    const SampleList samples = RandomWalk(1500, 4, 3); // 721 per record
    const auto file = WrittenMiniSeed("w", samples,
                                      {"Start Time: 2016/12/31 23:59:59.9990", "SPS: 100.4",
                                       "Station Code: ABCDEFG", "Sensor Location: 1",
                                       "Component Name: HHZ", "Network Affiliation: XX"});
    const std::string bytes = ReadFile(file);
    ASSERT_EQ(bytes.size(), 3 * 512u);
    EXPECT_EQ(bytes.substr(0, 20), "000000D ABCDE1 HHZXX");
    EXPECT_EQ(bytes.substr(512, 6), "000001");
    EXPECT_EQ(bytes.substr(1024, 6), "000002");
    const std::vector<std::pair<std::size_t, int>> header = {
        {20, 2016},  {22, 366}, {28, 9990},  {30, 721},  {32, 100},  {34, 1},
        {44, 64},    {46, 48},  {48, 1000},  {50, 56},   {56, 1001}, {58, 0},
        {532, 2017}, {534, 1},  {540, 2090}, {542, 721}, {1054, 58}};
    for (const auto& [offset, value] : header) {
        EXPECT_EQ(BigEndian16(bytes, offset), value) << "offset " << offset;
    }
    EXPECT_EQ(bytes.substr(24, 3), "\x17\x3B\x3B");            // 23:59:59
    EXPECT_EQ(bytes.substr(536, 3), std::string("\0\0\7", 3)); // 00:00:07
    EXPECT_EQ(bytes.substr(52, 3), "\x0B\x01\x09");            // Steim-2, big-endian, 512 bytes
    EXPECT_EQ(bytes[39], 2);
    EXPECT_EQ(bytes[60], 100);
    EXPECT_EQ(bytes[63], 7);

    const HeaderValues values = Load(file);
    EXPECT_EQ(values[kStartTime], "2016/12/31 23:59:59.9990");
    EXPECT_EQ(values[kNumberOfSamples], "1500");
    EXPECT_EQ(values[kSps], "100");
    EXPECT_EQ(values[kStationCode], "ABCDE");
    EXPECT_EQ(values[kSensorLocation], "1 ");
    EXPECT_EQ(ReadMiniSeed(file), samples);
}

TEST_F(MiniSeed, WriterRefusesWhatItCannotStore) {
    const std::vector<std::pair<std::vector<std::string>, std::string>> headers = {
        {{"Start Time: 2016/01/01 00:00:00", "SPS: 0.2"}, "The sampling rate \"0.2\""},
        {{"Start Time: 2016/01/01 00:00:00", "SPS: 40000"}, "The sampling rate \"40000\""},
        {{"Start Time: yesterday", "SPS: 100"}, "The start time \"yesterday\""},
    };
    for (const auto& [lines, detail] : headers) {
        const auto output = m_folder / "refused.mseed";
        EXPECT_EQ(ConvertOne(PsnInput("in.psn", {1, 2, 3}, lines), FileFormat::miniSeed, output),
                  ConversionStatus::Failed);
        EXPECT_NE(LastMessage().find(detail), std::string::npos) << detail;
        EXPECT_TRUE(WorkFolderIsEmpty());
        EXPECT_FALSE(std::filesystem::exists(output)); // no half-written output is left
    }
    Input("text.psn",
          PsnText({"Start Time: 2016/01/01 00:00:00", "SPS: 100", "Number of Samples: 2"},
                  {"1", "one"}));
    EXPECT_EQ(ConvertOne(m_folder / "text.psn", FileFormat::miniSeed, m_folder / "t.mseed"),
              ConversionStatus::Failed);
    EXPECT_NE(LastMessage().find("\"one\""), std::string::npos);
}

TEST_F(MiniSeed, RoundTripsThroughTheEngine) {
    const std::vector<SampleList> sequences = {
        {kMin, kMax, 0, -1, kMin, kMin, kMax, 536870911, -536870912},
        RandomWalk(5000, 32, 4),
        RandomWalk(1, 4, 5),
        RandomWalk(722, 4, 6),
        RandomWalk(3 * 721, 4, 7), // ends exactly on a record boundary
    };
    for (const SampleList& samples : sequences) {
        const auto file = WrittenMiniSeed("rt", samples);
        EXPECT_EQ(ReadMiniSeed(file), samples);
    }
    EXPECT_EQ(std::filesystem::file_size(m_folder / "rt.mseed"), 3 * 512u);

    // Inversion negates once, reading miniSEED and through a miniSEED to miniSEED conversion.
    const SampleList samples = RandomWalk(2000, 20, 8);
    SampleList negated;
    for (const std::int32_t sample : samples) {
        negated.push_back(-sample);
    }
    const auto file = WrittenMiniSeed("inv", samples);
    EXPECT_EQ(ReadMiniSeed(file, true), negated);
    ASSERT_EQ(ConvertOne(file, FileFormat::miniSeed, m_folder / "inverted.mseed", true),
              ConversionStatus::Success);
    EXPECT_EQ(ReadMiniSeed(m_folder / "inverted.mseed"), negated);

    const auto extreme = WrittenMiniSeed("min", {5, kMin, 7});
    EXPECT_EQ(ConvertOne(extreme, FileFormat::PSNINT, m_folder / "min.psn", true),
              ConversionStatus::Failed);
    EXPECT_NE(LastMessage().find("-2147483648"), std::string::npos);
    EXPECT_TRUE(WorkFolderIsEmpty());
}

// The reader ticks a record's samples at once: progress still steps at the very counts a PSN
// input of the same samples gives, and aborting while it reads leaves nothing behind.
TEST_F(MiniSeed, ReaderProgressAsSampleBySample) {
    const SampleList samples = RandomWalk(3000, 12, 9);
    const auto mseed = WrittenMiniSeed("steps", samples);
    const auto psn = PsnInput("steps.psn", samples);
    m_engine.SetShowUI(true);
    const auto progressOf = [&](const std::filesystem::path& input) {
        m_host.windowValues.clear();
        EXPECT_EQ(ConvertOne(input, FileFormat::PSNINT, m_folder / "steps.out.psn"),
                  ConversionStatus::Success);
        return m_host.windowValues;
    };
    EXPECT_EQ(progressOf(mseed), progressOf(psn));

    m_host.onDoEvents = [&] {
        if (m_engine.FileProgress(0) >= 20) {
            m_engine.Abort();
        }
    };
    std::filesystem::remove(m_folder / "steps.out.psn");
    EXPECT_EQ(ConvertOne(mseed, FileFormat::PSNINT, m_folder / "steps.out.psn"),
              ConversionStatus::Aborted);
    EXPECT_FALSE(std::filesystem::exists(m_folder / "steps.out.psn"));
    EXPECT_TRUE(WorkFolderIsEmpty());
}

// POSITIVE files load with the recorded header and samples, and survive a miniSEED round
// trip; NEGATIVE ones are refused with the recorded message.
TEST_F(MiniSeed, RealFilesBehaveAsTheManifestSays) {
    const auto folder = TestDataFolder();
    if (folder.empty()) {
        GTEST_SKIP() << "no test data folder";
    }
    int files = 0;
    for (const auto& row : ManifestRows(folder)) {
        if (row.size() < 21 || row[1] != "miniSEED" || row[18] != "1") {
            continue; // another format, or a further channel of the same file
        }
        ++files;
        SCOPED_TRACE(row[0]);
        const auto path = folder / row[0];
        const std::string& loader = row[20];
        if (!loader.starts_with("OK ")) {
            const auto forced = loader.find("forced: ");
            EXPECT_EQ(Refusal(path),
                      forced == std::string::npos ? loader : loader.substr(forced + 8));
            continue;
        }
        const HeaderValues values = Load(path);
        EXPECT_EQ(loader, "OK (START TIME " + values[kStartTime] + ", NUMBER OF SAMPLES " +
                              values[kNumberOfSamples] + ", SPS " + values[kSps] + ")");
        EXPECT_EQ(values[kStationCode], row[5]);
        EXPECT_EQ(values[kNetworkAffiliation], row[6]);
        EXPECT_EQ(values[kSensorLocation], row[7]);
        EXPECT_EQ(values[kComponentName], row[8]);
        const SampleList samples = ReadMiniSeed(path);
        ASSERT_EQ(std::to_string(samples.size()), row[9]);
        std::string first5;
        for (std::size_t i = 0; i < 5; ++i) {
            first5 += (i > 0 ? " " : "") + std::to_string(samples[i]);
        }
        EXPECT_EQ(first5, row[12]);
        EXPECT_EQ(std::to_string(samples.back()), row[13]);
        EXPECT_EQ(ReadMiniSeed(WrittenMiniSeed("real", samples)), samples);
    }
    EXPECT_EQ(files, 8);
}

// Damaged copies of a valid file: refused, or converted to the end or failed cleanly.
TEST_F(MiniSeed, DamagedFilesNeverCrash) {
    std::mt19937 random(11);
    const std::string valid = ReadFile(WrittenMiniSeed("valid", RandomWalk(3000, 24, 12)));
    for (int round = 0; round < 150; ++round) {
        std::string bytes = valid;
        const int damage = std::uniform_int_distribution<int>(1, 40)(random);
        for (int i = 0; i < damage; ++i) {
            const auto at = std::uniform_int_distribution<std::size_t>(0, bytes.size() - 1)(random);
            bytes[at] = static_cast<char>(random());
        }
        if (round % 10 == 0) {
            bytes.resize(std::uniform_int_distribution<std::size_t>(0, bytes.size())(random));
        }
        const auto status =
            ConvertOne(Input("in.mseed", bytes), FileFormat::PSNINT, m_folder / "d.psn");
        EXPECT_NE(status, ConversionStatus::InProgress);
        EXPECT_TRUE(WorkFolderIsEmpty());
    }
}

TEST(AddSecondsToTime, CarriesFractionsAcrossDaysAndYears) {
    EXPECT_EQ(AddSecondsToTime("2015/12/31 23:59:59.9990", 0.0011), "2016/01/01 00:00:00.0001");
    EXPECT_EQ(AddSecondsToTime("2016/02/28 23:59:59.5", 86400.5), "2016/03/01 00:00:00.0000");
    EXPECT_EQ(AddSecondsToTime("2015/03/01 12:30:45", 1.0 / 3), "2015/03/01 12:30:45.3333");
    EXPECT_EQ(AddSecondsToTime("2015/03/01 12:30:45.123456", 0), "2015/03/01 12:30:45.1234");
    EXPECT_EQ(AddSecondsToTime("2015/03/01 12:30:45.0000", -0.25), "2015/03/01 12:30:44.7500");
    EXPECT_FALSE(AddSecondsToTime("2015/13/01 00:00:00", 1));
    EXPECT_FALSE(AddSecondsToTime("2015/03/01 12:30:45.2a", 1));
}

} // namespace
} // namespace vibrex::test
