#include "engine/Codec.h"
#include "formats/ChannelValues.h"
#include "formats/ChannelWriter.h"
#include "formats/SampleCopy.h"
#include "io/ByteOrder.h"
#include "io/FileIO.h"
#include "io/Numbers.h"
#include "io/TimeText.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

// Seisan: a Fortran unformatted sequential file, each record framed by its length before and
// after it (4 or 8 bytes, in either byte order). A main header of 80-character lines, then per
// channel a 1040-character channel header and one data record of 2- or 4-byte integers. All
// header content is fixed-column text. Written little-endian with 4-byte markers and samples.
namespace vibrex {

namespace {

// A fixed-column text field: its first column (1-based, as the format counts) and its width.
struct Column {
    std::size_t first;
    std::size_t width;
};

namespace column {
// Main header, first line. Its time fields follow the layout of a channel header's.
constexpr Column kNetworkName{2, 5};
constexpr Column kChannelCount{31, 3};
constexpr std::size_t kMainTime = 34;
constexpr Column kWindow{61, 9}; // seconds from the file's start to the end of the last channel
// Main header, channel index: three 26-column slots a line.
constexpr std::size_t kSlotWidth = 26;
constexpr Column kSlotStation{2, 4};
constexpr Column kSlotBand{6, 2};        // first two component characters
constexpr Column kSlotOrientation{9, 1}; // last component character
constexpr Column kSlotStationFifth{10, 1};
constexpr Column kSlotStart{11, 7};    // seconds after the file's start
constexpr Column kSlotDuration{19, 8}; // seconds
// Channel header.
constexpr Column kStation{1, 5};
constexpr Column kBand{6, 2};
constexpr Column kLocationFirst{8, 1};
constexpr Column kOrientation{9, 1};
constexpr std::size_t kChannelTime = 10;
constexpr Column kLocationSecond{13, 1};
constexpr Column kNetworkFirst{17, 1};
constexpr Column kNetworkSecond{20, 1};
constexpr Column kRate{37, 7};
constexpr Column kSamples{44, 7};
constexpr Column kLatitude{52, 8};
constexpr Column kLongitude{61, 9};
constexpr Column kElevation{71, 5};      // whole metres
constexpr Column kGainFlag{76, 1};       // "G": samples are multiplied by the gain factor
constexpr Column kSampleSizeFlag{77, 1}; // "4": 4-byte samples; "2" or blank: 2-byte
constexpr Column kResponseKind{78, 1};   // blank: instrument constants from column 161
constexpr Column kGainFactor{148, 12};
} // namespace column

// Time fields, by their offset from the first column of a time block (year - 1900 there).
namespace timefield {
constexpr Column kYear{0, 3};
constexpr Column kDayOfYear{4, 3};
constexpr Column kMonth{8, 2};
constexpr Column kDay{11, 2};
constexpr Column kHour{14, 2};
constexpr Column kMinute{17, 2};
constexpr Column kSecond{20, 6}; // F6.3
} // namespace timefield

// Instrument constants, 8 columns each, and the header properties they hold.
struct ConstantField {
    int property;
    std::size_t first;
};
constexpr std::array<ConstantField, 6> kConstants{{
    {kSensorFreePeriod, 161},
    {kSensorDampingFactor, 169},
    {kSensorGeneratorConstant, 177},
    {kChGain, 185},
    {kChFilterFrequency, 209},
    {kChFilterPoles, 217},
}};
constexpr std::size_t kConstantWidth = 8;

// Position fields: the property, its columns and the decimals written.
struct PositionField {
    int property;
    Column column;
    int decimals;
};
constexpr std::array<PositionField, 3> kPositions{{
    {kSensorLatitude, column::kLatitude, 4},
    {kSensorLongitude, column::kLongitude, 4},
    {kSensorElevation, column::kElevation, 0},
}};

constexpr std::size_t kLineLength = 80;
constexpr std::size_t kChannelHeaderLength = 1040;
constexpr int kMaxChannels = 999;
constexpr std::int64_t kMaxSamples = 9999999; // the channel header counts in seven columns
constexpr int kFirstYear = 1900;              // years are written as year - 1900 in three columns
constexpr ByteOrder kWrittenOrder = ByteOrder::Little;

// Time fields sit at the same offsets in the main header and in a channel header.
Column TimeField(std::size_t block, Column field) {
    return {block + field.first, field.width};
}

std::string_view Field(std::string_view text, Column column) {
    const std::size_t start = column.first - 1;
    return start < text.size() ? text.substr(start, column.width) : std::string_view();
}

// Text fields are left-justified and cut to their width.
void PutText(std::string& text, Column column, std::string_view value) {
    value = value.substr(0, column.width);
    text.replace(column.first - 1, value.size(), value);
}

// Numbers are right-justified; the caller makes them fit.
void PutNumber(std::string& text, Column column, std::string_view value) {
    const std::size_t width = std::min(value.size(), column.width);
    text.replace(column.first - 1 + column.width - width, width, value.substr(0, width));
}

// Lines of the main header's channel index: three channels a line, never fewer than ten lines.
int IndexLineCount(int channels) {
    return std::max(10, (channels + 2) / 3);
}

// ---- Reading ---------------------------------------------------------------------------------

// How the records are framed: the byte order and size of the length markers.
struct Framing {
    ByteOrder order;
    std::size_t markerSize;
};

// The first record is an 80-character line, so the file starts with a marker of 80: 4 bytes in
// either order, or 8, where the first four read as 80 (little-endian) or as 0 (big-endian).
std::optional<Framing> DetectFraming(const std::array<unsigned char, 8>& head) {
    const auto marker = [&](std::size_t at, ByteOrder order) {
        return LoadAs<std::int32_t>(head.data() + at, order);
    };
    if (marker(0, ByteOrder::Little) == 80) {
        return Framing{ByteOrder::Little, marker(4, ByteOrder::Little) == 0 ? 8u : 4u};
    }
    if (marker(0, ByteOrder::Big) == 80) {
        return Framing{ByteOrder::Big, 4};
    }
    if (marker(0, ByteOrder::Big) == 0 && marker(4, ByteOrder::Big) == 80) {
        return Framing{ByteOrder::Big, 8};
    }
    return std::nullopt;
}

// The records of a file in turn, each checked to lie whole within the file with matching
// markers. Failures end with the record's number in parentheses, as the engine's texts do.
class RecordReader {
public:
    RecordReader(InputFile& in, Framing framing) : m_in(in), m_framing(framing) {}

    // The next record's length; the file is left at its first byte.
    std::uint64_t Begin() {
        ++m_number;
        const std::uint64_t start = m_next;
        const std::int64_t length = MarkerAt(start);
        const std::uint64_t payload = start + m_framing.markerSize;
        if (length < 0 || static_cast<std::uint64_t>(length) > m_in.Size()) {
            Fail("A record marker is out of range");
        }
        m_next = payload + static_cast<std::uint64_t>(length) + m_framing.markerSize;
        if (m_next > m_in.Size()) {
            Fail("The file ends inside a record");
        }
        if (MarkerAt(payload + static_cast<std::uint64_t>(length)) != length) {
            Fail("A record's end marker differs from its start marker");
        }
        m_payload = payload;
        m_in.Seek(payload);
        return static_cast<std::uint64_t>(length);
    }
    std::uint64_t Payload() const { return m_payload; }

    // The record just begun as text, which must be at least `length` characters.
    std::string Text(std::uint64_t recordLength, std::size_t length, const char* what) {
        if (recordLength < length) {
            Fail(std::string(what) + " is shorter than " + std::to_string(length) + " characters");
        }
        std::string text(length, ' ');
        m_in.ReadExact(text.data(), length);
        return text;
    }

    [[noreturn]] void Fail(const std::string& what) const {
        throw std::runtime_error(what + " (" + std::to_string(m_number) + ")");
    }

private:
    std::int64_t MarkerAt(std::uint64_t offset) {
        std::array<unsigned char, 8> bytes{};
        if (!m_in.Seek(offset) || !m_in.ReadExact(bytes.data(), m_framing.markerSize)) {
            Fail("The file ends inside a record");
        }
        return m_framing.markerSize == 8 ? LoadAs<std::int64_t>(bytes.data(), m_framing.order)
                                         : LoadAs<std::int32_t>(bytes.data(), m_framing.order);
    }

    InputFile& m_in;
    Framing m_framing;
    std::uint64_t m_next = 0;
    std::uint64_t m_payload = 0;
    int m_number = 0;
};

// A channel as the file lays it out: its header values and where and how its samples lie.
struct ChannelLayout {
    HeaderValues values;
    std::uint64_t dataOffset = 0;
    std::int64_t count = 0;
    std::size_t sampleSize = 4;
    std::optional<double> gain;
};

class ChannelHeaderParser {
public:
    ChannelHeaderParser(const std::string& text, const RecordReader& records)
        : m_text(text), m_records(records) {}

    double Required(Column column, const char* what) const {
        const auto value = ParseNumber(Field(m_text, column));
        if (!value || !std::isfinite(*value)) {
            m_records.Fail(std::string("The channel header's ") + what + " \"" +
                           std::string(Field(m_text, column)) + "\" is not a number");
        }
        return *value;
    }

    // A number within [low, high]: columns hold numbers of a few digits, so anything else is
    // nonsense that must not reach the time arithmetic.
    double Bounded(Column column, const char* what, double low, double high) const {
        const double value = Required(column, what);
        if (value < low || value > high) {
            m_records.Fail(std::string("The channel header's ") + what + " \"" +
                           std::string(Field(m_text, column)) + "\" is out of range");
        }
        return value;
    }

    std::string Optional(Column column) const {
        const auto value = ParseNumber(Field(m_text, column));
        return value ? NumberToText(*value) : std::string();
    }

    std::string Trimmed(Column column) const {
        return std::string(TrimBlanks(Field(m_text, column)));
    }

    PreciseTime StartTime() const {
        const auto at = [](Column field) { return TimeField(column::kChannelTime, field); };
        const int year =
            kFirstYear + static_cast<int>(Bounded(at(timefield::kYear), "year", 0, 999));
        const auto month = ParseNumber(Field(m_text, at(timefield::kMonth)));
        const auto day = ParseNumber(Field(m_text, at(timefield::kDay)));
        PreciseTime start;
        if (month && day && *month >= 1 && *month <= 12 && *day >= 1 && *day <= 31) {
            start.time =
                DateFromDays(DaysFromCivil(year, static_cast<int>(*month), static_cast<int>(*day)));
        } else {
            start.time = DateFromYearDay(
                year,
                static_cast<int>(Bounded(at(timefield::kDayOfYear), "day of the year", 1, 366)));
        }
        const double seconds = Bounded(at(timefield::kHour), "hour", 0, 24) * 3600 +
                               Bounded(at(timefield::kMinute), "minute", 0, 60) * 60 +
                               Bounded(at(timefield::kSecond), "second", 0, 61);
        return AddSecondsToTime(start, seconds);
    }

    HeaderValues Values(std::int64_t count) const {
        HeaderValues values;
        values[kStartTime] = FormatTimeText(StartTime());
        values[kNumberOfSamples] = std::to_string(count);
        values[kSps] = NumberToText(Required(column::kRate, "rate"));
        values[kStationCode] = Trimmed(column::kStation);
        values[kComponentName] =
            std::string(TrimBlanks(std::string(Field(m_text, column::kBand)) +
                                   std::string(Field(m_text, column::kOrientation))));
        values[kSensorLocation] =
            Trimmed(column::kLocationFirst) + Trimmed(column::kLocationSecond);
        values[kNetworkAffiliation] =
            Trimmed(column::kNetworkFirst) + Trimmed(column::kNetworkSecond);
        for (const PositionField& position : kPositions) {
            values[position.property] = Optional(position.column);
        }
        if (Field(m_text, column::kResponseKind) == " ") {
            for (const ConstantField& constant : kConstants) {
                values[constant.property] = Optional({constant.first, kConstantWidth});
            }
        }
        return values;
    }

    std::int64_t Count() const {
        const double count = Bounded(column::kSamples, "number of samples", 0, kMaxSamples);
        if (count != std::floor(count)) {
            m_records.Fail("The channel header's number of samples \"" +
                           std::string(Field(m_text, column::kSamples)) +
                           "\" is not a whole number");
        }
        return static_cast<std::int64_t>(count);
    }

    std::optional<double> Gain() const {
        if (Field(m_text, column::kGainFlag) != "G") {
            return std::nullopt;
        }
        return Required(column::kGainFactor, "gain factor");
    }

private:
    const std::string& m_text;
    const RecordReader& m_records;
};

struct FileLayout {
    ByteOrder order;
    std::vector<ChannelLayout> channels;
};

// The channels of a file. Throws std::runtime_error for a file it cannot follow.
FileLayout ReadLayout(InputFile& in) {
    std::array<unsigned char, 8> head{};
    in.Read(head.data(), head.size());
    const auto framing = DetectFraming(head);
    if (!framing) {
        throw std::runtime_error("The file does not start with a record of 80 characters (1)");
    }
    RecordReader records(in, *framing);
    const std::string firstLine = records.Text(records.Begin(), kLineLength, "The first line");
    const auto channels = ParseNumber(Field(firstLine, column::kChannelCount));
    if (!channels || *channels < 1 || *channels > kMaxChannels ||
        *channels != std::floor(*channels)) {
        records.Fail("The main header gives no number of channels");
    }
    const int channelCount = static_cast<int>(*channels);
    for (int line = 0; line < 1 + IndexLineCount(channelCount); ++line) {
        records.Begin();
    }
    FileLayout layout{framing->order,
                      std::vector<ChannelLayout>(static_cast<std::size_t>(channelCount))};
    for (ChannelLayout& channel : layout.channels) {
        const std::string text =
            records.Text(records.Begin(), kChannelHeaderLength, "A channel header");
        const ChannelHeaderParser header(text, records);
        channel.count = header.Count();
        channel.values = header.Values(channel.count);
        channel.gain = header.Gain();
        const std::uint64_t bytes = records.Begin();
        channel.dataOffset = records.Payload();
        // The record's length tells the sample size more surely than column 77 does.
        if (bytes == static_cast<std::uint64_t>(channel.count) * 2 && channel.count > 0) {
            channel.sampleSize = 2;
        } else if (bytes != static_cast<std::uint64_t>(channel.count) * 4) {
            records.Fail("The data record of " + std::to_string(bytes) +
                         " bytes does not hold the channel's " + std::to_string(channel.count) +
                         " samples");
        }
        // Seisan has no field for the converter's resolution: the sample word it stores is
        // the nearest fact, so a written file (4-byte words) reads back as 32 bits.
        channel.values[kAdConverterBits] = std::to_string(channel.sampleSize * 8);
    }
    return layout;
}

std::vector<HeaderValues> LoadHeaderSeisan(const std::filesystem::path& path) {
    return LoadChannelValues(path, "LoadHeaderSeisan",
                             [](InputFile& in) { return ReadLayout(in).channels; });
}

// Copies one channel's samples; false when the user aborted.
bool CopyChannel(InputFile& in, const ChannelLayout& channel, ByteOrder order,
                 ReaderContext& context, OutputFile& out) {
    const bool invert = context.DataInversion();
    const auto sampleAt = [&](const unsigned char* bytes) -> std::int32_t {
        const std::int32_t sample = channel.sampleSize == 2 ? LoadAs<std::int16_t>(bytes, order)
                                                            : LoadAs<std::int32_t>(bytes, order);
        return invert ? InvertedSample(sample) : sample;
    };
    in.Seek(channel.dataOffset);
    const SampleGroups layout{channel.sampleSize, 1};
    if (channel.gain) {
        return CopySampleGroups(in, channel.count, layout, context,
                                [&](const unsigned char* bytes, std::size_t) {
                                    out.NumberLine(sampleAt(bytes) * *channel.gain);
                                });
    }
    return CopySampleGroups(
        in, channel.count, layout, context,
        [&](const unsigned char* bytes, std::size_t) { out.IntegerLine(sampleAt(bytes)); });
}

void ReadSeisan(ReaderContext& context) {
    InputFile in(context.InputPath());
    RequireOpen(in, context.InputPath());
    const FileLayout layout = ReadLayout(in);
    CopyEachChannel(context, layout.channels, [&](const ChannelLayout& channel, OutputFile& out) {
        return CopyChannel(in, channel, layout.order, context, out);
    });
}

// ---- Writing ---------------------------------------------------------------------------------

// `value` with as many of `decimals` as fit `width` columns; empty when not even the whole
// number fits.
std::string FixedText(double value, std::size_t width, int decimals) {
    char text[64];
    for (int places = decimals; places >= 0; --places) {
        const int length = std::snprintf(text, sizeof text, "%.*f", places, value);
        if (length > 0 && static_cast<std::size_t>(length) <= width) {
            return text;
        }
    }
    return {};
}

// The shortest text of the value, or fewer significant digits where it does not fit `width`.
std::string FittedNumber(double value, std::size_t width) {
    std::string text = NumberToText(value);
    for (int digits = 7; text.size() > width && digits > 0; --digits) {
        char shorter[64];
        std::snprintf(shorter, sizeof shorter, "%.*g", digits, value);
        text = shorter;
    }
    return text.size() <= width ? text : std::string();
}

// What the writer knows of a channel before its samples: start, rate and count.
struct ChannelPlan {
    PreciseTime start;
    double rate = 0;
    std::int64_t count = 0;
    std::string station;
    std::string component;
};

ChannelPlan PlanOf(const HeaderValues& values) {
    ChannelPlan plan;
    plan.start = ParseTimeText(values[kStartTime]).value_or(PreciseTime{});
    plan.rate = RequiredRate(values, "Seisan");
    plan.count = std::clamp<std::int64_t>(HeaderWholeNumber(values, kNumberOfSamples).value_or(0),
                                          0, kMaxSamples);
    plan.station = values[kStationCode];
    plan.component = values[kComponentName];
    return plan;
}

double Duration(const ChannelPlan& plan) {
    return plan.rate > 0 ? static_cast<double>(plan.count) / plan.rate : 0;
}

// Year - 1900, day of the year, month, day, hour, minute and second to the millisecond (the
// fourth decimal is dropped, so that a time never rounds up to a 60th second).
void PutTime(std::string& text, std::size_t block, const PreciseTime& time) {
    const DateTime& date = time.time;
    if (date.year < kFirstYear || date.year > kFirstYear + 999) {
        throw std::runtime_error("Seisan holds the years 1900 to 2899, not " +
                                 std::to_string(date.year) + ".");
    }
    const auto put = [&](Column field, const char* format, int value) {
        char number[16];
        std::snprintf(number, sizeof number, format, value);
        PutNumber(text, TimeField(block, field), number);
    };
    put(timefield::kYear, "%3d", date.year - kFirstYear);
    put(timefield::kDayOfYear, "%3d", DayOfYear(date));
    put(timefield::kMonth, "%2d", date.month);
    put(timefield::kDay, "%2d", date.day);
    put(timefield::kHour, "%2d", date.hour);
    put(timefield::kMinute, "%2d", date.minute);
    char second[16];
    std::snprintf(second, sizeof second, "%2d.%03d", date.second, time.tenThousandths / 10);
    PutNumber(text, TimeField(block, timefield::kSecond), second);
}

// The last component character apart, the first two before it.
void PutComponent(std::string& text, Column band, Column orientation, std::string_view component) {
    if (component.empty()) {
        return;
    }
    PutText(text, orientation, component.substr(component.size() - 1));
    PutText(text, band, component.substr(0, std::min<std::size_t>(2, component.size() - 1)));
}

std::string IndexSlot(const ChannelPlan& plan, const PreciseTime& fileStart) {
    std::string slot(column::kSlotWidth, ' ');
    PutText(slot, column::kSlotStation, plan.station);
    if (plan.station.size() > 4) {
        PutText(slot, column::kSlotStationFifth, plan.station.substr(4));
    }
    PutComponent(slot, column::kSlotBand, column::kSlotOrientation, plan.component);
    PutNumber(slot, column::kSlotStart,
              FixedText(SecondsBetween(fileStart, plan.start), column::kSlotStart.width, 2));
    PutNumber(slot, column::kSlotDuration,
              FixedText(Duration(plan), column::kSlotDuration.width, 2));
    return slot;
}

void AppendRecord(std::string& bytes, std::string_view payload) {
    unsigned char marker[4];
    StoreAs(marker, static_cast<std::int32_t>(payload.size()), kWrittenOrder);
    bytes.append(reinterpret_cast<const char*>(marker), sizeof marker);
    bytes.append(payload);
    bytes.append(reinterpret_cast<const char*>(marker), sizeof marker);
}

// The main header's records: the file's start, the time window and the channel index.
std::string MainHeader(const std::vector<ChannelPlan>& plans, std::string_view network) {
    PreciseTime fileStart = plans.front().start;
    for (const ChannelPlan& plan : plans) {
        if (SecondsBetween(plan.start, fileStart) > 0) {
            fileStart = plan.start;
        }
    }
    double window = 0;
    for (const ChannelPlan& plan : plans) {
        window = std::max(window, SecondsBetween(fileStart, plan.start) + Duration(plan));
    }
    std::string first(kLineLength, ' ');
    PutText(first, column::kNetworkName, network);
    PutNumber(first, column::kChannelCount, std::to_string(plans.size()));
    PutTime(first, column::kMainTime, fileStart);
    PutNumber(first, column::kWindow, FixedText(window, column::kWindow.width, 3));
    std::string bytes;
    AppendRecord(bytes, first);
    AppendRecord(bytes, std::string(kLineLength, ' '));
    for (int line = 0; line < IndexLineCount(static_cast<int>(plans.size())); ++line) {
        std::string index(kLineLength, ' ');
        for (std::size_t slot = 0; slot < 3; ++slot) {
            const std::size_t channel = static_cast<std::size_t>(line) * 3 + slot;
            if (channel < plans.size()) {
                index.replace(slot * column::kSlotWidth, column::kSlotWidth,
                              IndexSlot(plans[channel], fileStart));
            }
        }
        AppendRecord(bytes, index);
    }
    return bytes;
}

std::string ChannelHeader(const HeaderValues& values, const ChannelPlan& plan) {
    std::string text(kChannelHeaderLength, ' ');
    PutText(text, column::kStation, plan.station);
    PutComponent(text, column::kBand, column::kOrientation, plan.component);
    const std::string& location = values[kSensorLocation];
    PutText(text, column::kLocationFirst, location);
    PutText(text, column::kLocationSecond, location.size() > 1 ? location.substr(1) : "");
    const std::string& network = values[kNetworkAffiliation];
    PutText(text, column::kNetworkFirst, network);
    PutText(text, column::kNetworkSecond, network.size() > 1 ? network.substr(1) : "");
    PutTime(text, column::kChannelTime, plan.start);
    const std::string rate = FixedText(plan.rate, column::kRate.width, 4);
    if (rate.empty()) {
        throw std::runtime_error("Seisan cannot hold the rate of " + values[kSps] +
                                 " samples per second in its seven columns.");
    }
    PutNumber(text, column::kRate, rate);
    PutNumber(text, column::kSamples, std::to_string(plan.count));
    for (const PositionField& position : kPositions) {
        if (const auto value = HeaderNumber(values, position.property)) {
            PutNumber(text, position.column,
                      FixedText(*value, position.column.width, position.decimals));
        }
    }
    PutText(text, column::kSampleSizeFlag, "4");
    for (const ConstantField& constant : kConstants) {
        if (const auto value = HeaderNumber(values, constant.property)) {
            PutNumber(text, {constant.first, kConstantWidth}, FittedNumber(*value, kConstantWidth));
        }
    }
    return text;
}

void PutMarker(OutputFile& out, std::int64_t samples) {
    unsigned char marker[4];
    StoreAs(marker, static_cast<std::int32_t>(samples * 4), kWrittenOrder);
    out.Write(marker, sizeof marker);
}

// Writes one channel's header and data records. The count is the samples written, whatever the
// channel's header announced: the header and the marker before the samples are set to it
// afterwards. False when the user aborted.
bool WriteChannel(ChannelFileReader& in, ChannelPlan& plan, OutputFile& out,
                  WriterContext& context) {
    std::string records;
    AppendRecord(records, ChannelHeader(in.Header(), plan));
    const std::uint64_t headerStart = out.Position() + 4;
    out.Write(records.data(), records.size());
    const std::uint64_t dataStart = out.Position();
    PutMarker(out, plan.count);
    std::int64_t count = 0;
    std::string_view text;
    unsigned char sample[4];
    while (in.NextSample(text)) {
        if (count == kMaxSamples) {
            FailCountBeyond(kMaxSamples, in.Header(), "a Seisan channel");
        }
        StoreAs(sample, SampleWholeNumber(text), kWrittenOrder);
        out.Write(sample, sizeof sample);
        ++count;
        if (!context.Tick()) {
            return false;
        }
    }
    PutMarker(out, count);
    if (count != plan.count) {
        plan.count = count;
        unsigned char marker[4];
        StoreAs(marker, static_cast<std::int32_t>(count * 4), kWrittenOrder);
        out.Overwrite(dataStart, marker, sizeof marker);
        std::string field(column::kSamples.width, ' ');
        PutNumber(field, {1, field.size()}, std::to_string(count));
        out.Overwrite(headerStart + column::kSamples.first - 1, field.data(), field.size());
    }
    return true;
}

// The main header is written first as the channels' headers announce them, and written again
// once every channel's samples are counted.
void WriteSeisan(WriterContext& context) {
    const std::vector<HeaderValues> headers = ReadChannelHeaders(context);
    if (headers.size() > static_cast<std::size_t>(kMaxChannels)) {
        throw std::runtime_error("Seisan holds at most 999 channels.");
    }
    std::vector<ChannelPlan> plans;
    for (const HeaderValues& values : headers) {
        plans.push_back(PlanOf(values));
    }
    const std::string& network = headers.front()[kNetworkAffiliation];
    OutputFile out = CreateMultichannelOutput(context);
    const std::string announced = MainHeader(plans, network);
    out.Write(announced.data(), announced.size());
    const bool written = WriteChannelsInTurn(context, [&](int channel, ChannelFileReader& in) {
        return WriteChannel(in, plans[static_cast<std::size_t>(channel - 1)], out, context);
    });
    if (!written) {
        return;
    }
    const std::string counted = MainHeader(plans, network);
    out.Overwrite(0, counted.data(), counted.size());
    out.Close();
}

} // namespace

// Three channels at most, as the window and the command line have always allowed, though the
// file's index holds up to 999.
const FormatCodec kSeisanCodec{
    LoadHeaderSeisan, ReadSeisan, WriteSeisan, {0, 3, kMaxSamples, true}};

} // namespace vibrex
