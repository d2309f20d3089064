#include "formats/ConversionTest.h"
#include "formats/Steim.h"

#include <cmath>
#include <cstring>
#include <libmseed.h>

// libmseed, an independent reader and writer, checks every miniSEED file Vibrex writes and
// every file it reads.
namespace vibrex::test {
namespace {

// What libmseed logs while decoding: its Steim integrity check reports there.
std::vector<std::string> g_libmseedMessages;

void CollectMessage(char* message) {
    g_libmseedMessages.emplace_back(message);
}

struct LibmseedTrace {
    SampleList samples;
    std::string first; // the first record's source, start and rate
};

LibmseedTrace ReadWithLibmseed(const std::filesystem::path& path) {
    ms_loginit(CollectMessage, nullptr, CollectMessage, nullptr);
    g_libmseedMessages.clear();
    LibmseedTrace trace;
    MSFileParam* file = nullptr;
    MSRecord* record = nullptr;
    while (ms_readmsr_r(&file, &record, path.c_str(), 0, nullptr, nullptr, 1, 1, 0) == MS_NOERROR) {
        if (char source[64]; trace.first.empty()) {
            trace.first = std::string(msr_srcname(record, source, 0)) + " " +
                          std::to_string(record->starttime) + " " +
                          std::to_string(record->samprate);
        }
        EXPECT_EQ(record->sampletype, 'i');
        const auto* data = static_cast<const std::int32_t*>(record->datasamples);
        trace.samples.insert(trace.samples.end(), data, data + record->numsamples);
    }
    ms_readmsr_r(&file, &record, nullptr, 0, nullptr, nullptr, 0, 0, 0);
    return trace;
}

void AppendRecord(char* record, int length, void* file) {
    static_cast<std::string*>(file)->append(record, static_cast<std::size_t>(length));
}

// The samples as libmseed packs them into 512-byte big-endian records starting 2020/04/09
// (day 100) 12:00:00.5.
std::string PackWithLibmseed(SampleList samples, int encoding, bool withBlockette1001) {
    MSRecord* record = msr_init(nullptr);
    std::strcpy(record->network, "XX");
    std::strcpy(record->station, "LIBM");
    std::strcpy(record->channel, "BHZ");
    record->dataquality = 'D';
    record->starttime = ms_time2hptime(2020, 100, 12, 0, 0, 500000);
    record->samprate = 100;
    record->reclen = 512;
    record->encoding = static_cast<std::int8_t>(encoding);
    record->byteorder = 1;
    record->datasamples = samples.data();
    record->numsamples = static_cast<std::int64_t>(samples.size());
    record->sampletype = 'i';
    if (withBlockette1001) {
        // Blockette 1000 first, so the layout is the standard 1000 at 48, 1001 at 56.
        blkt_1000_s blockette1000{};
        msr_addblockette(record, reinterpret_cast<char*>(&blockette1000), sizeof blockette1000,
                         1000, 0);
        blkt_1001_s blockette1001{};
        blockette1001.framecnt = 7;
        msr_addblockette(record, reinterpret_cast<char*>(&blockette1001), sizeof blockette1001,
                         1001, 0);
    }
    std::string file;
    std::int64_t packed = 0;
    EXPECT_GT(msr_pack(record, AppendRecord, &file, &packed, 1, 0), 0);
    EXPECT_EQ(packed, record->numsamples);
    record->datasamples = nullptr; // ours
    msr_free(&record);
    return file;
}

using LibmseedCrossCheck = ConversionTest;

TEST_F(LibmseedCrossCheck, EveryFileWeWriteDecodesInLibmseed) {
    std::vector<SampleList> sequences = {RandomWalk(5000, 32, 1)}; // steps beyond 30 bits
    for (const std::size_t length : {1, 2, 720, 721, 722, 1442, 1443, 20000}) {
        for (const int bits : {4, 12, 30}) {
            sequences.push_back(RandomWalk(length, bits, static_cast<unsigned>(length) + bits));
        }
    }
    for (const SampleList& samples : sequences) {
        SCOPED_TRACE(testing::Message() << samples.size() << " samples");
        const LibmseedTrace trace = ReadWithLibmseed(WrittenMiniSeed("ours", samples));
        EXPECT_EQ(g_libmseedMessages, std::vector<std::string>());
        EXPECT_EQ(trace.samples, samples);
        EXPECT_EQ(trace.first, "XX_STAT_00_HHZ " +
                                   std::to_string(ms_time2hptime(2016, 60, 23, 59, 58, 123400)) +
                                   " " + std::to_string(100.0));
    }
}

TEST_F(LibmseedCrossCheck, EveryFileLibmseedPacksReadsInVibrex) {
    const SampleList longest = RandomWalk(5000, 14, 2);
    const std::pair<int, bool> packings[] = {
        {DE_STEIM1, false}, {DE_STEIM2, false}, {DE_STEIM2, true}, {DE_INT32, true}};
    for (const auto& [encoding, blockette1001] : packings) {
        for (const std::size_t length : {1, 99, 1000, 5000}) {
            SCOPED_TRACE(testing::Message()
                         << "encoding " << encoding << ", " << length << " samples");
            const SampleList samples(longest.begin(), longest.begin() + length);
            WriteFile(m_folder / "libmseed.mseed",
                      PackWithLibmseed(samples, encoding, blockette1001));
            EXPECT_EQ(ReadSamples(m_folder / "libmseed.mseed"), samples);
            EXPECT_EQ(m_engine.HeaderProperty(0, 0, kStartTime), "2020/04/09 12:00:00.5000");
        }
    }
}

TEST_F(LibmseedCrossCheck, OurSteim2IsNoLargerThanLibmseeds) {
    std::vector<SampleList> sets(2); // two sine waves, then random walks of every width
    for (std::size_t i = 0; i < 30000; ++i) {
        sets[0].push_back(static_cast<std::int32_t>(1000 * std::sin(0.01 * i)));
        sets[1].push_back(static_cast<std::int32_t>(5e6 * std::sin(0.01 * i)));
    }
    for (const int bits : {4, 9, 16, 29}) {
        sets.push_back(RandomWalk(30000, bits, static_cast<unsigned>(bits)));
    }
    if (const auto folder = TestDataFolder(); !folder.empty()) {
        sets.push_back(ReadSamples(folder / "mseed" / "CH.BALST..LHE.D.2025.314"));
    }
    for (const SampleList& samples : sets) {
        const auto ours = std::filesystem::file_size(WrittenMiniSeed("ours", samples));
        EXPECT_LE(ours, PackWithLibmseed(samples, DE_STEIM2, true).size());
    }
}

// Our decoder against libmseed's on every 512-byte record of the real files, whatever their
// encoding, word order or quality letter.
TEST(LibmseedCodec, DecodesEveryRealRecordAsLibmseedDoes) {
    const auto folder = TestDataFolder();
    if (folder.empty()) {
        GTEST_SKIP() << "no test data folder";
    }
    ms_loginit(CollectMessage, nullptr, CollectMessage, nullptr);
    int compared = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder / "mseed")) {
        std::string bytes = ReadFile(entry.path());
        for (std::size_t offset = 0; offset + 512 <= bytes.size(); offset += 512) {
            char* raw = bytes.data() + offset;
            MSRecord* record = nullptr;
            if (msr_parse(raw, 512, &record, 512, 1, 0) != MS_NOERROR) {
                continue;
            }
            // Only whole 512-byte records, not parts of longer ones.
            if (record->Blkt1000 != nullptr && record->Blkt1000->reclen == 9) {
                SCOPED_TRACE(entry.path().filename().string() + " at " + std::to_string(offset));
                std::array<std::int32_t, kSteimBufferSamples> samples;
                decode_steim(reinterpret_cast<unsigned char*>(raw) + 64, samples.data(),
                             record->encoding, record->Blkt1000->byteorder);
                const auto* theirs = static_cast<const std::int32_t*>(record->datasamples);
                EXPECT_TRUE(std::equal(theirs, theirs + record->numsamples, samples.begin()));
                ++compared;
            }
            msr_free(&record);
        }
    }
    EXPECT_GT(compared, 400);
}

} // namespace
} // namespace vibrex::test
