#include "engine/Codec.h"
#include "engine/FormatCatalogue.h"
#include "formats/ConversionTest.h"
#include "io/ByteOrder.h"
#include "io/Numbers.h"

#include <bit>
#include <functional>
#include <map>

// SEG2, Seismic Unix and Seisan: the multichannel binary formats, written from merges and read
// back, damaged, and as other writers lay them out.
namespace vibrex::test {
namespace {

const FileFormat kFormats[] = {FileFormat::SEG2, FileFormat::SU, FileFormat::Seisan};

const FormatCodec& CodecOf(FileFormat format) {
    return FindFormat(format)->codec;
}

class MultichannelBinary : public ConversionTest {
protected:
    // Merges the inputs into one file of the format; false when the merge did not succeed.
    bool Merge(const std::vector<std::filesystem::path>& inputs, FileFormat format,
               const std::filesystem::path& output) {
        return ConversionTest::Merge(inputs, format, output) == ConversionStatus::Success;
    }

    // Each channel's sample lines, through PSN text outputs.
    std::vector<std::vector<std::string>> ChannelSamples(const std::filesystem::path& input,
                                                         bool inversion = false) {
        const auto output = m_folder / "channels.psn";
        EXPECT_EQ(ConvertOne(input, FileFormat::PSNINT, output, inversion),
                  ConversionStatus::Success);
        const int channels = m_engine.FileChannelsCount(0);
        std::vector<std::vector<std::string>> samples;
        for (int channel = 1; channel <= channels; ++channel) {
            samples.push_back(DataLines(
                channels == 1 ? output
                              : m_folder / ("channels" + std::to_string(channel) + ".psn")));
        }
        return samples;
    }

    // The bytes of `samples` twice, as two channels of their own start and rate merged into the
    // file "two" of the format.
    std::string TwoChannels(const SampleList& samples, FileFormat format) {
        EXPECT_TRUE(Merge({Channel("TWOE.psn", Texts(samples), "2001/01/13 17:42:24.9240", "20"),
                           Channel("TWON.psn", Texts(samples), "2001/01/13 17:42:25.0000", "50")},
                          format, m_folder / "two"));
        return ReadFile(m_folder / "two");
    }

    // A PSN input of the samples, with its own start, rate and station: "ABCN.psn" is station
    // ABC, component HHN.
    std::filesystem::path Channel(const std::string& name, const std::vector<std::string>& samples,
                                  const std::string& start, const std::string& rate) {
        const std::size_t letter = name.find('.') - 1;
        return Input(
            name, PsnText({"Start Time: " + start, "SPS: " + rate,
                           "Number of Samples: " + std::to_string(samples.size()),
                           "Station Code: " + name.substr(0, letter),
                           "Component Name: HH" + name.substr(letter, 1), "Network Affiliation: XX",
                           "Offset: 25", "Sensor Latitude: 45.5", "Sensor Longitude: -120.25",
                           "Sensor Elevation: 12", "Sensor Free Period: 1234.567"},
                          samples));
    }
};

void PutWord(std::string& bytes, std::size_t at, std::uint32_t value) {
    StoreAs(reinterpret_cast<unsigned char*>(bytes.data() + at), value, ByteOrder::Little);
}

std::uint32_t WordAt(const std::string& bytes, std::size_t at) {
    return LoadAs<std::uint32_t>(reinterpret_cast<const unsigned char*>(bytes.data() + at),
                                 ByteOrder::Little);
}

// The data format code of a SEG2 file's first trace.
int Seg2FormatCode(const std::string& bytes) {
    return static_cast<unsigned char>(bytes[WordAt(bytes, 32) + 12]);
}

// Where a written Seisan file's first channel header starts: after the main header's twelve
// 80-character records, for up to 30 channels.
constexpr std::size_t kSeisanChannel1 = 12 * 88 + 4;

// Four channels of their own start, rate and length merge into each format and read back
// sample for sample, each with its own header, or negated under inversion; a second trip
// through the written file gives the very same file.
TEST_F(MultichannelBinary, MergedChannelsKeepTheirOwnHeaders) {
    const SampleList samples[] = {RandomWalk(700, 14, 1), RandomWalk(450, 20, 2),
                                  RandomWalk(1000, 8, 3), RandomWalk(20, 8, 4)};
    const char* starts[] = {"2016/02/29 23:59:58.1230", "2016/03/01 00:00:01.5000",
                            "2016/02/29 23:59:59.0000", "2016/03/01 00:00:00"};
    const char* rates[] = {"100", "50", "250", "500"};
    std::vector<std::filesystem::path> inputs;
    std::vector<std::vector<std::string>> expected, inverted;
    for (std::size_t c = 0; c < std::size(samples); ++c) {
        inputs.push_back(Channel("ABCDE" + std::string(1, "ENZ1"[c]) + ".psn", Texts(samples[c]),
                                 starts[c], rates[c]));
        expected.push_back(Texts(samples[c]));
        inverted.push_back(Texts(Negated(samples[c])));
    }
    for (const FileFormat format : kFormats) {
        SCOPED_TRACE(FindFormat(format)->displayName);
        const auto merged = m_folder / "merged";
        ASSERT_TRUE(Merge(inputs, format, merged));
        EXPECT_EQ(ChannelSamples(merged), expected);
        EXPECT_EQ(ChannelSamples(merged, true), inverted);
        const HeaderValues values = CodecOf(format).loadHeader(merged).at(1);
        EXPECT_EQ(values[kNumberOfSamples] + " " + values[kSps], "450 50");
        // Seisan keeps milliseconds, SU whole seconds.
        EXPECT_EQ(values[kStartTime],
                  "2016/03/01 00:00:01." + std::string(format == FileFormat::SU ? "0000" : "5000"));
        const std::string written = ReadFile(merged);
        if (format == FileFormat::Seisan) {
            EXPECT_EQ(values[kStationCode] + values[kComponentName] + values[kNetworkAffiliation] +
                          " " + values[kSensorFreePeriod],
                      "ABCDEHHNXX 1234.567"); // a constant filling its eight columns
            // Every main header record holds 80 characters, the channel index three slots a
            // line. A channel header has its start in columns 10 to 35 (the network's letters
            // in 17 and 20), latitude, longitude and elevation in columns 52, 61 and 71.
            for (std::size_t record = 0; record < 12; ++record) {
                EXPECT_EQ(WordAt(written, record * 88), 80u) << "record " << record;
            }
            // The index's first slot: station, component band, orientation, the station's fifth
            // letter.
            EXPECT_EQ(written.substr(2 * 88 + 4, 10), " ABCDHH EE");
            EXPECT_EQ(written.substr(kSeisanChannel1 + 9, 27), "116  60X 2X29 23 59 58.123 ");
            EXPECT_EQ(written.substr(kSeisanChannel1 + 51, 25), " 45.5000 -120.2500    12 ");
            // From the earliest start to the latest end, 12.377 s later, in columns 61 to 69.
            EXPECT_EQ(written.substr(4 + 60, 9), "   12.377");
        } else {
            EXPECT_EQ(values[kOffset], "25");
        }
        Converted(merged, format, m_folder / "again");
        EXPECT_EQ(ReadFile(m_folder / "again"), written);
    }
}

// SEG2 writes 32-bit integers while every sample is one, exactly beyond 2^24, and floats from
// the first fraction on, the integers before it included; SAC's floats keep every bit.
TEST_F(MultichannelBinary, Seg2IntegersUntilTheFirstFraction) {
    const std::vector<std::string> wide = {"16777217", "-2147483648", "2147483647"};
    Converted(Channel("INTZ.psn", wide, "2020/01/01 00:00:00", "100"), FileFormat::SEG2,
              m_folder / "wide.seg2");
    EXPECT_EQ(Seg2FormatCode(ReadFile(m_folder / "wide.seg2")), 2);
    EXPECT_EQ(ChannelSamples(m_folder / "wide.seg2").at(0), wide);

    const std::vector<std::string> floats = {"0.1",      "1e-45",     "-3.4028235e+38",
                                             "16777216", "123456.79", "-1.1754944e-38"};
    const std::vector<std::string> mixed = {"16777217", "-5", "0.5", "3"};
    const auto sac = m_folder / "floats.sac";
    Converted(Channel("FLTZ.psn", floats, "2020/01/01 00:00:00", "100"), FileFormat::SAC, sac);
    const auto sacSamples = ChannelSamples(sac).at(0);
    ASSERT_TRUE(Merge({Channel("MIXZ.psn", mixed, "2020/01/01 00:00:00", "100"), sac},
                      FileFormat::SEG2, m_folder / "mixed.seg2"));
    const std::vector<std::string> mixedAsFloats = {"16777216", "-5", "0.5", "3"};
    EXPECT_EQ(ChannelSamples(m_folder / "mixed.seg2"),
              (std::vector<std::vector<std::string>>{mixedAsFloats, sacSamples}));
}

// Where the files of DamagedFiles lie: the written channels have 700, 450 and 1000 samples.
constexpr std::size_t kSeg2Pointer2 = 36;
constexpr std::size_t kSuTrace2 = 240 + 700 * 4;
constexpr std::size_t kSeisanData1 = kSeisanChannel1 + 1040 + 4;

struct Damage {
    FileFormat format;
    std::string refusal; // the end of the loader's text
    std::function<void(std::string&)> damage;
};

std::function<void(std::string&)> CutTo(std::size_t size) {
    return [size](std::string& bytes) { bytes.resize(std::min(size, bytes.size())); };
}

// The file without its last ten bytes.
void CutEnd(std::string& bytes) {
    bytes.resize(bytes.size() - 10);
}

std::function<void(std::string&)> Replace(std::size_t at, std::string text) {
    return [at, text](std::string& bytes) { bytes.replace(at, text.size(), text); };
}

std::function<void(std::string&)> Seg2Trace1(std::size_t field, std::uint32_t value) {
    return [field, value](std::string& bytes) { PutWord(bytes, WordAt(bytes, 32) + field, value); };
}

const std::vector<Damage> kDamages = {
    {FileFormat::SEG2, "The file descriptor block lies past the end of the file", CutTo(20)},
    {FileFormat::SEG2, "The samples of a trace run past the end of the file (3)", CutEnd},
    {FileFormat::SEG2, "A trace descriptor block lies past the end of the file (2)",
     [](std::string& bytes) { PutWord(bytes, kSeg2Pointer2, 0x7FFFFFF0); }},
    {FileFormat::SEG2, "A trace pointer leads to no trace descriptor block (2)",
     [](std::string& bytes) { PutWord(bytes, kSeg2Pointer2, 0); }},
    {FileFormat::SEG2, "The samples of a trace run past the end of the file (1)",
     Seg2Trace1(8, 0x10000000)},
    {FileFormat::SEG2, "A trace has the unknown data format code 7 (1)", Seg2Trace1(12, 7)},
    {FileFormat::SEG2, "announces 3 traces in 8 bytes of trace pointers",
     [](std::string& bytes) { bytes[4] = 8; }},
    {FileFormat::SU, "The samples of a trace run past the end of the file (3)", CutEnd},
    {FileFormat::SU, "The file ends inside a trace header (2)", CutTo(kSuTrace2 + 100)},
    {FileFormat::SU, "The samples of a trace run past the end of the file (1)",
     Replace(114, std::string("\x30\x75", 2))}, // 30000 samples
    {FileFormat::Seisan, "The file ends inside a record (18)", CutEnd},
    {FileFormat::Seisan, "The main header gives no number of channels (1)", Replace(4 + 30, "  0")},
    {FileFormat::Seisan, "The channel header's rate \"abcdefg\" is not a number (13)",
     Replace(kSeisanChannel1 + 36, "abcdefg")},
    {FileFormat::Seisan, "The channel header's number of samples \"9.9e+99\" is out of range (13)",
     Replace(kSeisanChannel1 + 43, "9.9e+99")},
    {FileFormat::Seisan, "The channel header's hour \"-1\" is out of range (13)",
     Replace(kSeisanChannel1 + 23, "-1")},
    {FileFormat::Seisan, "The channel header's year \"9e9\" is out of range (13)",
     Replace(kSeisanChannel1 + 9, "9e9")},
    {FileFormat::Seisan,
     "The data record of 2800 bytes does not hold the channel's 699 samples (14)",
     Replace(kSeisanChannel1 + 43, "    699")},
    {FileFormat::Seisan, "A record's end marker differs from its start marker (14)",
     [](std::string& bytes) { PutWord(bytes, kSeisanData1, 2796); }},
    {FileFormat::Seisan, "A record marker is out of range (14)",
     [](std::string& bytes) { PutWord(bytes, kSeisanData1, 0x7FFFFFFF); }},
    // Loads: without month and day, the day of the year gives the date, the last of a leap
    // year included.
    {FileFormat::Seisan, "", Replace(kSeisanChannel1 + 9, "116 366      ")},
};

// Damaged files are refused when added, with a text that says what is wrong and where; an
// empty text means the file loads.
TEST_F(MultichannelBinary, DamagedFilesAreRefusedWithTheirCause) {
    const std::vector<std::filesystem::path> inputs = {
        Channel("DMGE.psn", Texts(RandomWalk(700, 20, 7)), "2019/05/01 12:00:00", "100"),
        Channel("DMGN.psn", Texts(RandomWalk(450, 20, 8)), "2019/05/01 12:00:00", "100"),
        Channel("DMGZ.psn", Texts(RandomWalk(1000, 20, 9)), "2019/05/01 12:00:00", "100")};
    std::map<FileFormat, std::string> written;
    for (const FileFormat format : kFormats) {
        ASSERT_TRUE(Merge(inputs, format, m_folder / "whole"));
        written[format] = ReadFile(m_folder / "whole");
    }
    for (const Damage& damage : kDamages) {
        std::string bytes = written[damage.format];
        damage.damage(bytes);
        const std::string refusal = Refusal(damage.format, Input("damaged", bytes));
        EXPECT_TRUE(refusal.ends_with(damage.refusal) && refusal.empty() == damage.refusal.empty())
            << refusal << "\n"
            << damage.refusal;
    }
}

// A Seisan file as other writers lay it out: markers of `markerSize` bytes and samples of
// `sampleSize` bytes in `order`, the samples scaled by `gain` where one is given.
struct SeisanVariant {
    ByteOrder order;
    std::size_t markerSize;
    std::size_t sampleSize;
    std::string gain;
};

std::string Number(std::uint64_t value, std::size_t size, ByteOrder order) {
    std::string bytes(size, '\0');
    auto* at = reinterpret_cast<unsigned char*>(bytes.data());
    if (size == 2) {
        StoreAs(at, static_cast<std::uint16_t>(value), order);
    } else if (size == 4) {
        StoreAs(at, static_cast<std::uint32_t>(value), order);
    } else {
        StoreAs(at, value, order);
    }
    return bytes;
}

// Rewrites a file Vibrex wrote (little-endian, 4-byte markers and samples, twelve main header
// records) in the variant's layout.
// The records of a file Vibrex wrote, without the 4-byte little-endian markers around each.
std::vector<std::string> Payloads(const std::string& written) {
    std::vector<std::string> payloads;
    for (std::size_t at = 0; at < written.size(); at += WordAt(written, at) + 8) {
        payloads.push_back(written.substr(at + 4, WordAt(written, at)));
    }
    return payloads;
}

std::string Framed(const std::string& payload, std::size_t markerSize = 4,
                   ByteOrder order = ByteOrder::Little) {
    const std::string marker = Number(payload.size(), markerSize, order);
    return marker + payload + marker;
}

std::string Reframed(const std::string& written, const SeisanVariant& variant) {
    std::string bytes;
    for (std::size_t record = 0; std::string payload : Payloads(written)) {
        if (record >= 12 && record % 2 == 0 && !variant.gain.empty()) {
            payload.replace(75, 1, "G");
            payload.replace(147 + 12 - variant.gain.size(), variant.gain.size(), variant.gain);
        } else if (record >= 12 && record % 2 == 1) {
            std::string samples;
            for (std::size_t i = 0; i < payload.size(); i += 4) {
                samples += Number(WordAt(payload, i), variant.sampleSize, variant.order);
            }
            payload = samples;
        }
        bytes += Framed(payload, variant.markerSize, variant.order);
        ++record;
    }
    return bytes;
}

// Both byte orders, 4- and 8-byte markers, 2- and 4-byte samples and the gain factor read as
// the same channels with the same samples; only the converter bits follow the sample word.
TEST_F(MultichannelBinary, SeisanVariantsReadAlike) {
    const SampleList samples = RandomWalk(500, 8, 14); // within 16 bits
    const std::string written = TwoChannels(samples, FileFormat::Seisan);
    const auto headers = kSeisanCodec.loadHeader(m_folder / "two");
    const std::vector<SeisanVariant> variants = {
        {ByteOrder::Big, 4, 4, ""},       {ByteOrder::Big, 4, 2, ""},
        {ByteOrder::Little, 8, 4, ""},    {ByteOrder::Little, 4, 2, ""},
        {ByteOrder::Little, 4, 4, "0.5"},
    };
    for (const SeisanVariant& variant : variants) {
        SCOPED_TRACE(std::to_string(variant.markerSize) + "-byte markers, " +
                     std::to_string(variant.sampleSize) + "-byte samples, gain " + variant.gain);
        const auto path = Input("variant.seisan", Reframed(written, variant));
        auto expectedHeaders = headers;
        for (HeaderValues& values : expectedHeaders) {
            values[kAdConverterBits] = std::to_string(variant.sampleSize * 8); // the word stored
        }
        EXPECT_EQ(kSeisanCodec.loadHeader(path), expectedHeaders);
        std::vector<std::string> expected;
        for (const std::int32_t sample : samples) {
            expected.push_back(variant.gain.empty() ? std::to_string(sample)
                                                    : NumberToText(sample * 0.5));
        }
        EXPECT_EQ(ChannelSamples(path), (std::vector{expected, expected}));
    }
}

// A Seisan file counts its channels in three columns: one of 999 channels loads. It is made of
// a written file's first line, counting 999, its first index line for each three channels, the
// line after the index, and its first channel 999 times.
TEST_F(MultichannelBinary, SeisanLoadsTheMostChannelsItCounts) {
    const std::string written = TwoChannels(RandomWalk(20, 8, 16), FileFormat::Seisan);
    std::vector<std::string> records = Payloads(written);
    std::string bytes = Framed(records[0].replace(30, 3, "999"));
    for (int line = 0; line < 333; ++line) {
        bytes += Framed(records[1]);
    }
    bytes += Framed(records[11]);
    for (int channel = 0; channel < 999; ++channel) {
        bytes += Framed(records[12]) + Framed(records[13]);
    }
    EXPECT_EQ(kSeisanCodec.loadHeader(Input("many.seisan", bytes)).size(), 999u);
}

std::uint16_t HalfWordAt(const std::string& bytes, std::size_t at) {
    return LoadAs<std::uint16_t>(reinterpret_cast<const unsigned char*>(bytes.data() + at),
                                 ByteOrder::Little);
}

// A SEG2 file Vibrex wrote (32-bit integers) with samples of the data format `code`: 1 16-bit
// integers, 2 32-bit integers, 4 and 5 32- and 64-bit floats.
std::string Seg2Variant(const std::string& written, int code) {
    std::string bytes = written.substr(0, WordAt(written, 32));
    const std::size_t sampleSize = code == 1 ? 2 : code == 5 ? 8 : 4;
    for (std::size_t trace = 0; trace < HalfWordAt(written, 6); ++trace) {
        const std::size_t start = WordAt(written, 32 + 4 * trace);
        std::string block = written.substr(start, HalfWordAt(written, start + 2));
        const std::size_t count = WordAt(written, start + 8);
        PutWord(bytes, 32 + 4 * trace, static_cast<std::uint32_t>(bytes.size()));
        PutWord(block, 4, static_cast<std::uint32_t>(count * sampleSize));
        block[12] = static_cast<char>(code);
        bytes += block;
        for (std::size_t i = 0; i < count; ++i) {
            const auto sample =
                static_cast<std::int32_t>(WordAt(written, start + block.size() + 4 * i));
            const std::uint64_t bits =
                code == 4   ? std::bit_cast<std::uint32_t>(static_cast<float>(sample))
                : code == 5 ? std::bit_cast<std::uint64_t>(static_cast<double>(sample))
                            : static_cast<std::uint32_t>(sample);
            bytes += Number(bits, sampleSize, ByteOrder::Little);
        }
    }
    return bytes;
}

// SEG2 in every data format but the 20-bit one (a real recording has it) reads as the same
// channels with the same samples. Microseconds out of range leave the start unknown.
TEST_F(MultichannelBinary, Seg2VariantsReadAlike) {
    const SampleList samples = RandomWalk(400, 8, 15); // within 16 bits
    const std::string written = TwoChannels(samples, FileFormat::SEG2);
    const auto headers = kSeg2Codec.loadHeader(m_folder / "two");
    for (const int code : {1, 2, 4, 5}) {
        SCOPED_TRACE("data format " + std::to_string(code));
        const auto path = Input("variant.seg2", Seg2Variant(written, code));
        EXPECT_EQ(kSeg2Codec.loadHeader(path), headers);
        EXPECT_EQ(ChannelSamples(path), (std::vector{Texts(samples), Texts(samples)}));
    }
    std::string tabbed = written; // a tab parts keyword and value as a blank does
    tabbed.replace(tabbed.find("CHANNEL_NUMBER 1"), 16, "CHANNEL_NUMBER\t1");
    EXPECT_EQ(kSeg2Codec.loadHeader(Input("tabbed.seg2", tabbed)), headers);
    std::string late = written;
    late.replace(late.rfind("924000"), 6, "-24000");
    EXPECT_EQ(kSeg2Codec.loadHeader(Input("late.seg2", late)).at(0)[kStartTime], "");
}

// SEG2 holds at most 16383 traces: an SU file of as many single-sample traces becomes one, and
// one more trace fails the run.
TEST_F(MultichannelBinary, Seg2HoldsAtMost16383Traces) {
    const std::string trace =
        ReadFile(Converted(Channel("ONEZ.psn", {"5"}, "2020/01/01 00:00:00", "100"), FileFormat::SU,
                           m_folder / "1.su"));
    std::string traces;
    for (int count = 1; count <= 16384; ++count) {
        traces += trace;
        if (count == 16383) {
            Converted(Input("most.su", traces), FileFormat::SEG2, m_folder / "most.seg2");
            EXPECT_EQ(kSeg2Codec.loadHeader(m_folder / "most.seg2").size(), 16383u);
        }
    }
    ASSERT_TRUE(Add(Input("more.su", traces), FileFormat::SEG2, m_folder / "more.seg2"));
    ExpectFailure("SEG2 holds at most 16383 traces.");
}

// What SU cannot hold is refused before the run, and fails a run started anyway rather than be
// cut: it has no interval for 10 or 300 samples per second, one for 1000000 and 15.259...,
// and takes 32767 samples a trace.
TEST_F(MultichannelBinary, SuLimitsAreRefusedNotCut) {
    const std::vector<std::string> few = {"1", "2", "3"};
    for (const char* rate : {"10", "300"}) {
        ASSERT_TRUE(Add(Channel("RATZ.psn", few, "2020/01/01 00:00:00", rate), FileFormat::SU,
                        m_folder / "rate.su"));
        const std::string problem = "A rate of " + std::string(rate) +
                                    " samples per second cannot be written in SU, whose sampling "
                                    "interval is a whole number of microseconds from 1 to 65535.";
        EXPECT_TRUE(m_engine.FileLimitProblem(0).ends_with(problem));
        ExpectFailure(problem);
    }
    for (const char* rate : {"1000000", "15.2590218967"}) { // 1 and 65535 microseconds
        ASSERT_TRUE(Add(Channel("BNDZ.psn", few, "2020/01/01 00:00:00", rate), FileFormat::SU,
                        m_folder / "bound.su"));
        EXPECT_EQ(m_engine.FileLimitProblem(0), "") << rate;
    }
    ASSERT_TRUE(
        Add(Channel("LONZ.psn", Texts(RandomWalk(40000, 16, 10)), "2020/01/01 00:00:00", "1000"),
            FileFormat::SU, m_folder / "long.su"));
    EXPECT_EQ(m_engine.GoodSamplesCount(0), 32767);
    EXPECT_NE(m_engine.FileLimitProblem(0).find("SU holds at most 32767 samples a channel"),
              std::string::npos);
    ExpectFailure("The header announces 40000 samples but the channel holds more than 32767, the "
                  "most an SU trace can count.");
}

} // namespace
} // namespace vibrex::test
