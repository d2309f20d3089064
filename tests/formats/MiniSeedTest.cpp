#include "engine/Codec.h"
#include "formats/ConversionTest.h"
#include "io/ByteOrder.h"
#include "io/TimeText.h"

#include <cstdio>
#include <functional>

namespace vibrex::test {
namespace {

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
    char sequence[8];
    std::snprintf(sequence, sizeof sequence, "%06d", f.sequence);
    std::string record = sequence + f.quality + f.codes + std::string(492, '\0');
    auto* at = reinterpret_cast<unsigned char*>(record.data());
    const std::pair<int, int> words[] = {
        {20, f.year},       {22, f.day},        {28, f.fraction},       {30, f.count}, {32, f.rate},
        {34, f.multiplier}, {44, f.dataOffset}, {46, f.firstBlockette}, {48, 1000}};
    for (const auto& [offset, value] : words) {
        StoreAs<std::uint16_t>(at + offset, static_cast<std::uint16_t>(value), f.order);
    }
    const std::pair<int, int> bytes[] = {
        {24, f.hour},     {25, f.minute},        {26, f.second},         {39, f.blockettes},
        {52, f.encoding}, {53, f.wordOrderByte}, {54, f.lengthExponent}, {63, f.frames}};
    for (const auto& [offset, value] : bytes) {
        at[offset] = static_cast<unsigned char>(value);
    }
    for (int i = 0; i < 112; ++i) {
        StoreAs<std::int32_t>(at + 64 + 4 * i, f.sequence * 1000 + i, f.order);
    }
    return record;
}

using Spoil = std::function<void(std::vector<RecordFields>&)>;

// Consecutive records of one second each (100 samples at 100 per second), spoiled as told.
std::string FileBytes(std::size_t count, const Spoil& spoil = {}) {
    std::vector<RecordFields> records(count);
    for (std::size_t i = 0; i < count; ++i) {
        records[i].sequence = static_cast<int>(i) + 1;
        records[i].second = static_cast<int>(i);
    }
    if (spoil) {
        spoil(records);
    }
    std::string bytes;
    for (const auto& record : records) {
        bytes += RecordBytes(record);
    }
    return bytes;
}

Spoil EveryRecord(const std::function<void(RecordFields&)>& spoil) {
    return [spoil](auto& records) { std::ranges::for_each(records, spoil); };
}

// The loader's message for a refused file; empty when it loads.
std::string Refusal(const std::filesystem::path& path) {
    return test::Refusal(FileFormat::miniSeed, path);
}

using MiniSeed = ConversionTest;

// Each check in turn, spoiling fields of a valid three-record file.
TEST_F(MiniSeed, LoaderChecksInOrder) {
    const Spoil littleEndian =
        EveryRecord([](auto& f) { f.order = ByteOrder::Little, f.wordOrderByte = 0; });
    const std::pair<Spoil, std::string> cases[] = {
        {[](auto& r) { r[0].blockettes = 0; }, "Wrong blockettes count (1)."},
        {[](auto& r) { r[0].blockettes = 3; }, "Wrong blockettes count (1)."},
        {[](auto& r) { r[0].wordOrderByte = 2; }, "Unrecognized endianess."},
        {[](auto& r) { r[0].multiplier = 0; }, "Unrecognized SPS multiplier (1)."},
        {[](auto& r) { r[0].dataOffset = 56; }, "Bad header length (1)."},
        {[](auto& r) { r[0].firstBlockette = 40; }, "Bad header length (1)."},
        {[](auto& r) { r[0].encoding = 4; }, "Unrecognized encoding (1)."},
        {[](auto& r) { r[0].lengthExponent = 12; }, "Bad packet length (1)."},
        {[](auto& r) { r[0].frames = 6; }, "Bad frames count (1)."},
        {[](auto& r) { r[1].sequence = 7; }, "Incoherent packet number (2)."},
        {[](auto& r) { r[2].quality = "M "; }, "Unrecognized packet (3)."},
        {[](auto& r) { r[1].codes[0] = 'X'; }, "Incoherent Station ID (2)."},
        {[](auto& r) { r[1].codes[6] = '1'; }, "Incoherent Location ID (2)."},
        {[](auto& r) { r[1].codes[9] = 'E'; }, "Incoherent Component ID (2)."},
        {[](auto& r) { r[1].codes[11] = 'Y'; }, "Incoherent Network ID (2)."},
        {[](auto& r) { r[1].fraction = 9002; }, "Time gap found (2)."},
        {[](auto& r) { r[1].second = 5, r[1].fraction = 8998; }, "Time gap found (2)."},
        {[](auto& r) { r[1].rate = 50; }, "Incoherent SPS (2)."},
        {[](auto& r) { r[1].multiplier = 0; }, "Unrecognized SPS multiplier (2)."},
        {[](auto& r) { r[1].blockettes = 1; }, "Wrong blockettes count (2)."},
        {[](auto& r) { r[1].dataOffset = 48; }, "Bad header length (2)."},
        {[](auto& r) { r[1].encoding = 10; }, "Incoherent encoding (2)."},
        {[](auto& r) { r[2].wordOrderByte = 0; }, "Incoherent endianess (3)."},
        {[](auto& r) { r[1].lengthExponent = 8; }, "Bad packet length (2)."},
        {[](auto& r) { r[1].frames = 0; }, "Bad frames count (2)."},
        {EveryRecord([](auto& f) { f.rate = 0; }), "Unrecognized SPS (1)."},
        // Little-endian files pass only as a single record.
        {littleEndian, "Incoherent endianess (2)."},
        // The first failing check wins.
        {[](auto& r) { r[1].codes[0] = 'X', r[1].rate = 1; }, "Incoherent Station ID (2)."},
        {[](auto& r) { r[1].sequence = 9, r[1].quality = "R "; }, "Incoherent packet number (2)."},
        // Tolerated: one ten-thousandth off, whole seconds late, frames uncounted, numbering
        // starting again after 999999.
        {[](auto& r) { r[1].fraction = 9001; }, ""},
        {[](auto& r) { r[1].second = 2; }, ""},
        {[](auto& r) { r[1].second = 9, r[1].fraction = 8999; }, ""},
        {EveryRecord([](auto& f) { f.blockettes = 1, f.frames = 0; }), ""},
        // 10 × 10 samples a second: 100 samples take one second, as at the rate 100 × 1.
        {EveryRecord([](auto& f) { f.rate = 10, f.multiplier = 10; }), ""},
        {[](auto& r) { r[0].sequence = 999998, r[1].sequence = 999999, r[2].sequence = 0; }, ""},
    };
    for (const auto& [spoil, message] : cases) {
        EXPECT_EQ(Refusal(Input("in.mseed", FileBytes(3, spoil))), message);
    }
    // A trailing part of a record counts as a record from its half on.
    const std::string one = FileBytes(1);
    EXPECT_EQ(Refusal(Input("in.mseed", one + one.substr(0, 256))),
              "Incoherent packet number (2).");
    EXPECT_EQ(Refusal(Input("in.mseed", one + one.substr(0, 255))), "");

    const auto single = Input("single.mseed", FileBytes(1, littleEndian));
    EXPECT_EQ(Refusal(single), "");
    const SampleList samples = ReadSamples(single);
    ASSERT_EQ(samples.size(), 100u);
    EXPECT_EQ(samples[99], 1099);
}

// The records' 64 header bytes, written out by hand: sequence number, quality, the codes cut
// or padded to their widths, start, sample count, rate 1004 ÷ 10, two blockettes, data at 64;
// blockette 1000 at 48 (Steim-2, big-endian, 2^9 bytes), then 1001 at 56 (timing quality 100,
// 7 frames).
TEST_F(MiniSeed, WrittenRecordsByteForByte) {
    const std::string bytes = ReadFile(WrittenMiniSeed(
        "w", RandomWalk(1500, 4, 3), // 721 per record
        {"Start Time: 2016/12/31 23:59:59.9990", "SPS: 100.4", "Station Code: ABCDEFG",
         "Sensor Location: 1", "Component Name: HHZ", "Network Affiliation: XX"}));
    ASSERT_EQ(bytes.size(), 3 * 512u);
    const auto header = [](const char* sequence, const char* startAndCount) {
        return sequence + std::string("D ABCDE1 HHZXX") + Hex(startAndCount) +
               Hex("03EC FFF6 000000 02 00000000 0040 0030"
                   "03E8 0038 0B 01 09 00 03E9 0000 64 00 00 07");
    };
    // 2016 day 366 23:59:59.9990, then 721 ÷ 100.4 = 7.1813 s later, twice.
    EXPECT_EQ(bytes.substr(0, 64), header("000000", "07E0 016E 17 3B 3B 00 2706 02D1"));
    EXPECT_EQ(bytes.substr(512, 64), header("000001", "07E1 0001 00 00 07 00 070B 02D1"));
    EXPECT_EQ(bytes.substr(1024, 64), header("000002", "07E1 0001 00 00 0E 00 0E20 003A"));
}

// A rate is stored exactly, by factor and multiplier, and reads back as itself with records
// that follow each other at it; one the two fields cannot state is refused before the run.
TEST_F(MiniSeed, RatesStoredExactlyOrRefused) {
    const std::tuple<std::string, std::string, std::string> rates[] = {
        {"100", "0064 0001", "100"},
        {"1", "0001 0001", "1"},
        {"75.19", "1D5F FF9C", "75.19"}, // 10 minutes end where they should, not 1.5 s late
        {"0.2", "0002 FFF6", "0.2"},
        {"40000", "0FA0 000A", "40000"},
        {"0.0125", "007D D8F0", "0.0125"},
        {"0.003125", "FEC0 0001", "0.003125"}, // 320 s a sample
        {"0.123456789", "", "miniSEED cannot state a rate of 0.123456789 samples per second"},
        {"", "", "needs a sampling rate"},
    };
    for (const auto& [rate, fields, back] : rates) {
        SCOPED_TRACE(rate);
        std::filesystem::remove(m_folder / "rate.mseed");
        const auto input = PsnInput("in.psn", RandomWalk(1500, 8, 5),
                                    {"Start Time: 2016/01/01 00:00:00", "SPS: " + rate});
        ASSERT_TRUE(Add(input, FileFormat::miniSeed, m_folder / "rate.mseed"));
        if (fields.empty()) {
            EXPECT_NE(m_engine.FileLimitProblem(0).find(back), std::string::npos)
                << m_engine.FileLimitProblem(0);
            ExpectFailure(back.substr(0, 40));
            continue;
        }
        EXPECT_EQ(m_engine.FileLimitProblem(0), "");
        ASSERT_EQ(Convert(), ConversionStatus::Success) << LastMessage();
        EXPECT_EQ(ReadFile(m_folder / "rate.mseed").substr(32, 4), Hex(fields));
        EXPECT_EQ(kMiniSeedCodec.loadHeader(m_folder / "rate.mseed").at(0)[kSps], back);
    }
    ASSERT_TRUE(Add(PsnInput("in.psn", {1, 2, 3}, {"Start Time: yesterday", "SPS: 100"}),
                    FileFormat::miniSeed, m_folder / "refused.mseed"));
    ExpectFailure("The start time \"yesterday\"");
}

// The widest steps come back exactly, a record boundary costs no extra record, and inversion
// negates every sample but one that has no negative in 32 bits.
TEST_F(MiniSeed, RoundTripsThroughTheEngine) {
    const std::vector<SampleList> sequences = {
        {kMin, kMax, 0, -1, kMin, kMin, kMax, 536870911, -536870912},
        RandomWalk(3 * 721, 4, 7), // ends exactly on a record boundary
    };
    for (const SampleList& samples : sequences) {
        EXPECT_EQ(ReadSamples(WrittenMiniSeed("rt", samples)), samples);
    }
    EXPECT_EQ(std::filesystem::file_size(m_folder / "rt.mseed"), 3 * 512u);
    const SampleList samples = RandomWalk(2000, 20, 8);
    EXPECT_EQ(ReadSamples(WrittenMiniSeed("inv", samples), true), Negated(samples));
    ASSERT_TRUE(
        Add(WrittenMiniSeed("min", {5, kMin, 7}), FileFormat::PSNINT, m_folder / "min.out.psn"));
    ExpectFailure("-2147483648", true);
}

// The reader ticks a record's samples at once: progress still steps at the very counts a PSN
// input of the same samples gives.
TEST_F(MiniSeed, ProgressStepsAsForPsn) {
    const SampleList samples = RandomWalk(3000, 12, 9);
    const auto mseed = WrittenMiniSeed("steps", samples);
    m_engine.SetShowUI(true);
    const auto progressOf = [&](const std::filesystem::path& input) {
        m_host.windowValues.clear();
        Converted(input, FileFormat::PSNINT, m_folder / "steps.out.psn");
        return m_host.windowValues;
    };
    EXPECT_EQ(progressOf(mseed), progressOf(PsnInput("steps.psn", samples)));
}

// A record claiming impossible counts fails the reader with its number; 800 is the most a
// record may claim.
TEST_F(MiniSeed, ImpossibleCountsFailTheReader) {
    const std::pair<std::string, std::string> claims[] = {
        {FileBytes(1, [](auto& r) { r[0].count = 801; }), "Record 1 claims 801"},
        {FileBytes(2, [](auto& r) { r[1].count = -5; }), "Record 2 claims -5"},
        {FileBytes(1, [](auto& r) { r[0].count = 800; }), ""}};
    for (const auto& [bytes, claim] : claims) {
        ExpectFault("in.mseed", bytes, claim, Stage::Converted);
    }
}

TEST(AddSecondsToTime, CarriesFractionsAcrossDaysAndYears) {
    EXPECT_EQ(AddSecondsToTime("2015/12/31 23:59:59.9990", 0.0011), "2016/01/01 00:00:00.0001");
    EXPECT_EQ(AddSecondsToTime("2016/02/28 23:59:59.5", 86400.5), "2016/03/01 00:00:00.0000");
    EXPECT_EQ(AddSecondsToTime("2015/03/01 12:30:45", 1.0 / 3), "2015/03/01 12:30:45.3333");
    EXPECT_EQ(AddSecondsToTime("2015/03/01 12:30:45.123456", 0), "2015/03/01 12:30:45.1234");
    EXPECT_EQ(AddSecondsToTime("2015/03/01 12:30:45.0000", -0.25), "2015/03/01 12:30:44.7500");
    EXPECT_FALSE(AddSecondsToTime("2015/13/01 00:00:00", 1));
    // Each month's last day is a date and the day after it is none; the 29th of February only
    // in leap years.
    const int lastDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    for (int month = 1; month <= 12; ++month) {
        const int last = lastDays[month - 1];
        for (const int day : {last, last + 1}) {
            char text[32];
            std::snprintf(text, sizeof text, "2015/%02d/%02d 00:00:00", month, day);
            EXPECT_EQ(AddSecondsToTime(text, 1).has_value(), day == last) << text;
        }
    }
    EXPECT_TRUE(AddSecondsToTime("2016/02/29 00:00:00", 1));
    EXPECT_FALSE(AddSecondsToTime("2016/02/30 00:00:00", 1));
    EXPECT_FALSE(AddSecondsToTime("2015/03/01 12:30:45.2a", 1));
}

} // namespace
} // namespace vibrex::test
