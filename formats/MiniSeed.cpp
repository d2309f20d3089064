// miniSEED: one channel as a file of 512-byte data records, each a 64-byte header (fixed
// header, blockette 1000 and optionally 1001) and seven 64-byte data frames. Records are read
// in Steim-1, Steim-2 or 32-bit integers of either word order and always written as big-endian
// Steim-2.
#include "engine/Codec.h"
#include "formats/ChannelValues.h"
#include "formats/ChannelWriter.h"
#include "formats/Steim.h"
#include "io/ByteOrder.h"
#include "io/FileIO.h"
#include "io/Numbers.h"
#include "io/TimeText.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace vibrex {

namespace {

constexpr int kRecordLength = 512;
constexpr int kRecordLengthExponent = 9;

// The record layout: offsets from the start of the record, 16-bit fields in the word order
// of kWordOrder.
constexpr int kSequenceNumber = 0;  // 6 ASCII digits, one more than the previous record's
constexpr int kQuality = 6;         // "D", then a reserved blank at 7
constexpr int kStation = 8;         // 5 ASCII, blank padded
constexpr int kLocation = 13;       // 2 ASCII
constexpr int kChannel = 15;        // 3 ASCII
constexpr int kNetwork = 18;        // 2 ASCII
constexpr int kYear = 20;           // u16, start time
constexpr int kDayOfYear = 22;      // u16, 1 = 1 January
constexpr int kHour = 24;           // u8; 27 is unused
constexpr int kMinute = 25;         // u8
constexpr int kSecond = 26;         // u8
constexpr int kFraction = 28;       // u16, ten-thousandths of a second
constexpr int kSampleCount = 30;    // i16, samples in this record
constexpr int kRateFactor = 32;     // i16, see RateOfFields
constexpr int kRateMultiplier = 34; // i16; 36-38 flags, not read
constexpr int kBlocketteCount = 39; // u8, 1 or 2; 40-43 time correction, not read
constexpr int kDataOffset = 44;     // u16, 64
constexpr int kFirstBlockette = 46; // u16, 48
constexpr int kBlockette1000 = 48;  // u16 type 1000
constexpr int kNextAfter1000 = 50;  // u16, 56 (blockette 1001) or 0
constexpr int kEncoding = 52;       // u8: 3 32-bit integers, 10 Steim-1, 11 Steim-2
constexpr int kWordOrder = 53;      // u8: 0 little-endian, 1 big-endian
constexpr int kLengthExponent = 54; // u8, record length as a power of two: 9; 55 reserved
constexpr int kBlockette1001 = 56;  // u16 type 1001; next blockette at 58: 0
constexpr int kTimingQuality = 60;  // u8, percent; microseconds at 61, reserved 62
constexpr int kFrameCount = 63;     // u8, data frames: 7
constexpr int kData = 64;           // 448 bytes: seven 64-byte frames
constexpr int kSequenceDigits = 6;
constexpr int kLastSequenceNumber = 999999;

constexpr int kStationWidth = 5;
constexpr int kLocationWidth = 2;
constexpr int kChannelWidth = 3;
constexpr int kNetworkWidth = 2;
constexpr int kCodesWidth = kStationWidth + kLocationWidth + kChannelWidth + kNetworkWidth;

constexpr int kFramesPerRecord = 7;
constexpr int kMaxRecordSamples = kSteimBufferSamples - 1;
constexpr int kWordOrderBig = 1;
constexpr int kTenThousandthsPerSecond = 10000;

using RecordBytes = std::array<unsigned char, kRecordLength>;

// ---- Sample rate -----------------------------------------------------------------------------

// A rate as a record states it: a positive factor counts samples per second, a negative one
// seconds per sample; a positive multiplier multiplies by itself, a negative one divides.
struct RateFields {
    int factor;
    int multiplier;
};

// 0 when either field is 0.
double RateOfFields(int factor, int multiplier) {
    if (factor == 0 || multiplier == 0) {
        return 0;
    }
    const double base = factor > 0 ? factor : -1.0 / factor;
    return multiplier > 0 ? base * multiplier : base / -multiplier;
}

// The fields that state `rate` exactly: a whole rate as itself, a decimal one as a factor
// divided by a power of ten (75.19 is 7519 and -100), a long period as a negative factor.
std::optional<RateFields> FieldsOfRate(double rate) {
    constexpr int kMostField = std::numeric_limits<std::int16_t>::max();
    if (!(rate > 0) || !std::isfinite(rate)) {
        return std::nullopt;
    }
    const auto exact = [rate](double stated) { return std::abs(stated - rate) <= 1e-9 * rate; };
    for (const int multiplier : {1, -10, -100, -1000, -10000, 10, 100, 1000, 10000}) {
        const double factor = std::round(rate / RateOfFields(1, multiplier));
        if (factor >= 1 && factor <= kMostField &&
            exact(RateOfFields(static_cast<int>(factor), multiplier))) {
            return RateFields{static_cast<int>(factor), multiplier};
        }
    }
    const double period = std::round(1 / rate);
    if (period >= 1 && period <= kMostField && exact(RateOfFields(-static_cast<int>(period), 1))) {
        return RateFields{-static_cast<int>(period), 1};
    }
    return std::nullopt;
}

std::string RateProblem(double rate) {
    if (FieldsOfRate(rate)) {
        return {};
    }
    return "miniSEED cannot state a rate of " + NumberToText(rate) +
           " samples per second exactly: its factor and multiplier hold whole numbers up to "
           "32767.";
}

// A file holds whole records; the count is rounded half to even, so a trailing partial record
// counts from half a record on (and then fails the checks).
std::int64_t RecordCount(std::uint64_t fileSize) {
    return static_cast<std::int64_t>(
        RoundHalfEven(static_cast<double>(fileSize) / static_cast<double>(kRecordLength)));
}

ByteOrder OrderOfWordOrderByte(int wordOrder) {
    return wordOrder == kWordOrderBig ? ByteOrder::Big : ByteOrder::Little;
}

// The fields of one record header in the byte order of its file.
class RecordHeader {
public:
    RecordHeader(const RecordBytes& record, ByteOrder order) : m_record(record), m_order(order) {}

    std::int16_t Int16(int offset) const {
        return LoadAs<std::int16_t>(m_record.data() + offset, m_order);
    }
    std::uint16_t UInt16(int offset) const {
        return LoadAs<std::uint16_t>(m_record.data() + offset, m_order);
    }
    int Byte(int offset) const { return m_record[static_cast<std::size_t>(offset)]; }
    std::string_view Text(int offset, int width) const {
        return std::string_view(reinterpret_cast<const char*>(m_record.data()) + offset,
                                static_cast<std::size_t>(width));
    }

    double SequenceNumber() const { return LeadingNumber(Text(kSequenceNumber, kSequenceDigits)); }
    int SampleCount() const { return Int16(kSampleCount); }
    int RateFactor() const { return Int16(kRateFactor); }
    int RateMultiplier() const { return Int16(kRateMultiplier); }
    int Fraction() const { return UInt16(kFraction); }

    // The start the header states; fields beyond their range run over into the next unit.
    PreciseTime Start() const {
        const std::int64_t seconds = std::int64_t{Byte(kHour)} * 3600 + Byte(kMinute) * 60 +
                                     Byte(kSecond) + Fraction() / kTenThousandthsPerSecond;
        return PreciseTime{AddSeconds(DateFromYearDay(UInt16(kYear), UInt16(kDayOfYear)), seconds),
                           Fraction() % kTenThousandthsPerSecond};
    }

    // The layout every record needs: data at 64 after blockettes from 48, 512 bytes long, and
    // seven frames when blockette 1001 counts them.
    bool HasStandardOffsets() const {
        return UInt16(kDataOffset) == kData && UInt16(kFirstBlockette) == kBlockette1000;
    }
    bool HasRecordLength() const { return Byte(kLengthExponent) == kRecordLengthExponent; }
    bool HasFrameCount(int blockettes) const {
        return blockettes != 2 || Byte(kFrameCount) == kFramesPerRecord;
    }

private:
    const RecordBytes& m_record;
    ByteOrder m_order;
};

// ---- Header loader -------------------------------------------------------------------------

constexpr const char* kLoaderName = "LoadHeader_miniSeed";

[[noreturn]] void Refuse(const char* message) {
    throw HeaderLoadError(kLoaderName, message);
}

[[noreturn]] void Refuse(const char* check, std::int64_t record) {
    throw HeaderLoadError(kLoaderName, std::string(check) + " (" + std::to_string(record) + ").");
}

struct CodeField {
    int offset;
    int width;
    const char* mismatch;
};

constexpr std::array<CodeField, 4> kCodeFields = {{
    {kStation, kStationWidth, "Incoherent Station ID"},
    {kLocation, kLocationWidth, "Incoherent Location ID"},
    {kChannel, kChannelWidth, "Incoherent Component ID"},
    {kNetwork, kNetworkWidth, "Incoherent Network ID"},
}};

// Record 1 fixes what every later record must repeat; each later record must also follow on
// from the one before it.
class RecordChecker {
public:
    explicit RecordChecker(const RecordBytes& first) {
        m_blockettes = first[kBlocketteCount];
        if (m_blockettes != 1 && m_blockettes != 2) {
            Refuse("Wrong blockettes count", 1);
        }
        const int wordOrder = first[kWordOrder];
        if (wordOrder > kWordOrderBig) {
            Refuse("Unrecognized endianess.");
        }
        m_order = OrderOfWordOrderByte(wordOrder);
        // Later records compare their word-order byte with this mode number (1 big-endian,
        // 2 little-endian), so a little-endian file passes only as a single record.
        m_orderMode = m_order == ByteOrder::Big ? 1 : 2;
        const RecordHeader header(first, m_order);
        m_codes = header.Text(kStation, kCodesWidth);
        m_start = header.Start();
        m_total = header.SampleCount();
        m_factor = header.RateFactor();
        m_multiplier = header.RateMultiplier();
        if (m_multiplier == 0) {
            Refuse("Unrecognized SPS multiplier", 1);
        }
        m_rate = RateOfFields(m_factor, m_multiplier);
        if (m_rate == 0) {
            Refuse("Unrecognized SPS", 1);
        }
        Follow(m_start, header.SampleCount());
        if (!header.HasStandardOffsets()) {
            Refuse("Bad header length", 1);
        }
        m_encoding = header.Byte(kEncoding);
        if (m_encoding != kEncodingInt32 && m_encoding != kEncodingSteim1 &&
            m_encoding != kEncodingSteim2) {
            Refuse("Unrecognized encoding", 1);
        }
        CheckLength(header, 1);
        m_sequence = header.SequenceNumber();
    }

    void CheckNext(const RecordBytes& record, std::int64_t number) {
        const RecordHeader header(record, m_order);
        const double sequence = header.SequenceNumber();
        // Six digits wrap after 999999, as in every long recording (ours included).
        const bool wrapped = m_sequence == kLastSequenceNumber && sequence == 0;
        if (sequence != m_sequence + 1 && !wrapped) {
            Refuse("Incoherent packet number", number);
        }
        m_sequence = sequence;
        if (header.Text(kQuality, 2) != "D ") {
            Refuse("Unrecognized packet", number);
        }
        CheckCodes(header, number);
        const PreciseTime start = header.Start();
        // Only the ten-thousandths are compared, with one unit of tolerance.
        if (start != m_expected && std::abs(m_expected.tenThousandths - header.Fraction()) > 1) {
            Refuse("Time gap found", number);
        }
        m_total += header.SampleCount();
        if (header.RateFactor() != m_factor) {
            Refuse("Incoherent SPS", number);
        }
        if (header.RateMultiplier() != m_multiplier) {
            Refuse("Unrecognized SPS multiplier", number);
        }
        Follow(start, header.SampleCount());
        CheckLayout(header, number);
    }

    HeaderValues Values() const {
        HeaderValues values;
        values[kStartTime] = FormatTimeText(m_start);
        values[kNumberOfSamples] = std::to_string(m_total);
        values[kSps] = NumberToText(m_rate);
        values[kStationCode] = m_codes.substr(0, kStationWidth);
        values[kSensorLocation] = m_codes.substr(kLocation - kStation, kLocationWidth);
        values[kComponentName] = m_codes.substr(kChannel - kStation, kChannelWidth);
        values[kNetworkAffiliation] = m_codes.substr(kNetwork - kStation, kNetworkWidth);
        return values;
    }

private:
    void Follow(const PreciseTime& start, int sampleCount) {
        m_expected = AddSecondsToTime(start, static_cast<double>(sampleCount) / m_rate);
    }

    void CheckCodes(const RecordHeader& header, std::int64_t number) const {
        for (const CodeField& field : kCodeFields) {
            const auto firstRecord =
                std::string_view(m_codes).substr(static_cast<std::size_t>(field.offset - kStation),
                                                 static_cast<std::size_t>(field.width));
            if (header.Text(field.offset, field.width) != firstRecord) {
                Refuse(field.mismatch, number);
            }
        }
    }

    void CheckLayout(const RecordHeader& header, std::int64_t number) const {
        if (header.Byte(kBlocketteCount) != m_blockettes) {
            Refuse("Wrong blockettes count", number);
        }
        if (!header.HasStandardOffsets()) {
            Refuse("Bad header length", number);
        }
        if (header.Byte(kEncoding) != m_encoding) {
            Refuse("Incoherent encoding", number);
        }
        if (header.Byte(kWordOrder) != m_orderMode) {
            Refuse("Incoherent endianess", number);
        }
        CheckLength(header, number);
    }

    void CheckLength(const RecordHeader& header, std::int64_t number) const {
        if (!header.HasRecordLength()) {
            Refuse("Bad packet length", number);
        }
        if (!header.HasFrameCount(m_blockettes)) {
            Refuse("Bad frames count", number);
        }
    }

    int m_blockettes = 0;
    ByteOrder m_order = ByteOrder::Big;
    int m_orderMode = 1;
    std::string m_codes;
    PreciseTime m_start;
    PreciseTime m_expected;
    std::int64_t m_total = 0;
    int m_factor = 0;
    int m_multiplier = 0;
    double m_rate = 0;
    int m_encoding = 0;
    double m_sequence = 0;
};

// A record of the loader's input; bytes past the end of the file read as zeros.
void ReadRecordOrZeros(InputFile& file, RecordBytes& record) {
    record.fill(0);
    file.Read(record.data(), record.size());
}

std::vector<HeaderValues> LoadHeaderMiniSeed(const std::filesystem::path& path) {
    InputFile file(path);
    if (!file.IsOpen()) {
        Refuse("Can't open the file.");
    }
    const std::int64_t records = RecordCount(file.Size());
    RecordBytes record;
    ReadRecordOrZeros(file, record);
    RecordChecker checker(record);
    for (std::int64_t number = 2; number <= records; ++number) {
        ReadRecordOrZeros(file, record);
        checker.CheckNext(record, number);
    }
    return {checker.Values()};
}

// ---- Reader --------------------------------------------------------------------------------

void ReadMiniSeed(ReaderContext& context) {
    InputFile input(context.InputPath());
    if (!input.IsOpen()) {
        throw std::runtime_error(CantOpenInputFile(context.InputPath()));
    }
    OutputFile channel = context.OpenChannelFile(0);
    const std::int64_t records = RecordCount(input.Size());
    const bool invert = context.DataInversion();
    RecordBytes record;
    std::array<std::int32_t, kSteimBufferSamples> samples;
    int encoding = 0;
    int wordOrder = 0;
    for (std::int64_t number = 1; number <= records; ++number) {
        if (!input.ReadExact(record.data(), record.size())) {
            throw std::runtime_error("The file ends inside record " + std::to_string(number) + ".");
        }
        if (number == 1) {
            // Record 1 names the encoding and word order of the whole file.
            encoding = record[kEncoding];
            wordOrder = record[kWordOrder];
        }
        const int count = RecordHeader(record, OrderOfWordOrderByte(wordOrder)).SampleCount();
        if (count < 0 || count > kMaxRecordSamples) {
            throw std::runtime_error("Record " + std::to_string(number) + " claims " +
                                     std::to_string(count) + " samples.");
        }
        decode_steim(record.data() + kData, samples.data(), encoding, wordOrder);
        const std::span<std::int32_t> decoded(samples.data(), static_cast<std::size_t>(count));
        if (invert) {
            std::transform(decoded.begin(), decoded.end(), decoded.begin(), InvertedSample);
        }
        channel.IntegerLines(decoded);
        if (!context.Tick(count)) {
            return;
        }
    }
    channel.Close();
}

// ---- Writer --------------------------------------------------------------------------------

void PutText(RecordBytes& record, int offset, int width, std::string_view text) {
    const std::size_t used = std::min(text.size(), static_cast<std::size_t>(width));
    std::fill_n(record.begin() + offset, width, static_cast<unsigned char>(' '));
    std::copy_n(text.begin(), used, record.begin() + offset);
}

void PutUInt16(RecordBytes& record, int offset, int value) {
    StoreAs<std::uint16_t>(record.data() + offset, static_cast<std::uint16_t>(value),
                           ByteOrder::Big);
}

PreciseTime StartOf(const HeaderValues& header) {
    const std::string& text = header[kStartTime];
    const auto start = ParseTimeText(text);
    if (!start) {
        throw std::runtime_error("The start time \"" + text + "\" is not a valid time.");
    }
    return *start;
}

// The rate's factor and multiplier; one the two fields cannot state exactly fails the file.
RateFields FieldsOf(const HeaderValues& header) {
    const auto fields = FieldsOfRate(RequiredRate(header, "miniSEED"));
    if (!fields) {
        throw std::runtime_error(RateProblem(*HeaderNumber(header, kSps)));
    }
    return *fields;
}

// Packs one channel's samples into big-endian Steim-2 records of its output file as they arrive.
class RecordWriter {
public:
    RecordWriter(const HeaderValues& header, OutputFile& out)
        : m_start(StartOf(header)), m_fields(FieldsOf(header)),
          m_rate(RateOfFields(m_fields.factor, m_fields.multiplier)), m_out(out) {
        PrepareTemplate(header);
    }

    void Add(std::int32_t sample) {
        m_samples[static_cast<std::size_t>(m_fill++)] = sample;
        if (m_fill == kSteimEncodeEnd) {
            m_fill = Encode();
            WriteRecord(kSteimEncodeEnd - m_fill);
        }
    }

    // Packs what is left. Padding repeats the last sample, so the last value the encoder packs,
    // which frame 0 names as the record's last sample, is a real one, and padding costs no
    // room. No record is written without samples.
    void Finish() {
        while (m_fill > 1) {
            const int pending = m_fill - 1;
            std::fill(m_samples.begin() + m_fill, m_samples.end(), m_samples[pending]);
            const int count = std::min(kSteimEncodeEnd - Encode(), pending);
            WriteRecord(count);
            m_fill -= count;
        }
    }

private:
    void PrepareTemplate(const HeaderValues& header) {
        m_record.fill(0);
        m_record[kQuality] = 'D';
        m_record[kQuality + 1] = ' ';
        PutText(m_record, kStation, kStationWidth, header[kStationCode]);
        PutText(m_record, kLocation, kLocationWidth, header[kSensorLocation]);
        PutText(m_record, kChannel, kChannelWidth, header[kComponentName]);
        PutText(m_record, kNetwork, kNetworkWidth, header[kNetworkAffiliation]);
        PutUInt16(m_record, kRateFactor, m_fields.factor);
        PutUInt16(m_record, kRateMultiplier, m_fields.multiplier);
        m_record[kBlocketteCount] = 2;
        PutUInt16(m_record, kDataOffset, kData);
        PutUInt16(m_record, kFirstBlockette, kBlockette1000);
        PutUInt16(m_record, kBlockette1000, 1000);
        PutUInt16(m_record, kNextAfter1000, kBlockette1001);
        m_record[kEncoding] = kEncodingSteim2;
        m_record[kWordOrder] = kWordOrderBig;
        m_record[kLengthExponent] = kRecordLengthExponent;
        PutUInt16(m_record, kBlockette1001, 1001);
        m_record[kTimingQuality] = 100;
        m_record[kFrameCount] = kFramesPerRecord;
    }

    int Encode() {
        return encode_steim(m_samples.data(), m_record.data() + kData, kEncodingSteim2,
                            kWordOrderBig);
    }

    void WriteRecord(int count) {
        PutSequenceNumber();
        PutStart();
        PutUInt16(m_record, kSampleCount, count);
        m_out.Write(m_record.data(), m_record.size());
        m_start = AddSecondsToTime(m_start, static_cast<double>(count) / m_rate);
        // Six digits: the numbering starts again after 999999, as recorders do.
        m_sequence = m_sequence == kLastSequenceNumber ? 0 : m_sequence + 1;
    }

    void PutSequenceNumber() {
        int rest = m_sequence;
        for (int digit = kSequenceDigits - 1; digit >= 0; --digit) {
            m_record[static_cast<std::size_t>(kSequenceNumber + digit)] =
                static_cast<unsigned char>('0' + rest % 10);
            rest /= 10;
        }
    }

    void PutStart() {
        const DateTime& time = m_start.time;
        PutUInt16(m_record, kYear, time.year);
        PutUInt16(m_record, kDayOfYear, DayOfYear(time));
        m_record[kHour] = static_cast<unsigned char>(time.hour);
        m_record[kMinute] = static_cast<unsigned char>(time.minute);
        m_record[kSecond] = static_cast<unsigned char>(time.second);
        PutUInt16(m_record, kFraction, m_start.tenThousandths);
    }

    PreciseTime m_start;
    RateFields m_fields;
    double m_rate;
    OutputFile& m_out;
    int m_sequence = 0;
    RecordBytes m_record;
    std::array<std::int32_t, kSteimBufferSamples> m_samples{};
    int m_fill = 1;
};

// False when the user aborted.
bool WriteChannel(ChannelFiles& files, WriterContext& context) {
    RecordWriter records(files.in.Header(), files.out);
    std::array<std::int32_t, kSampleBlock> samples;
    while (const std::size_t filled =
               ReadSampleBlock(files.in, samples,
                               [](std::string_view text) { return SampleWholeNumber(text); })) {
        for (std::size_t i = 0; i < filled; ++i) {
            records.Add(samples[i]);
        }
        if (!context.Tick(static_cast<std::int64_t>(filled))) {
            return false;
        }
    }
    records.Finish();
    return true;
}

void WriteMiniSeed(WriterContext& context) {
    WriteEachChannel(context, [&](ChannelFiles& files) { return WriteChannel(files, context); });
}

} // namespace

const FormatCodec kMiniSeedCodec = {LoadHeaderMiniSeed,
                                    ReadMiniSeed,
                                    WriteMiniSeed,
                                    {.needsRate = true, .rateProblem = RateProblem}};

} // namespace vibrex
