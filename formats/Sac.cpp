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
#include <cstdio>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

// SAC: one evenly sampled channel, a 632-byte header of 32-bit words and 8-character texts,
// then the samples as 32-bit floats. Read in either byte order, written little-endian.
namespace vibrex {

namespace {

// The header fields the system reads or writes, by byte offset. Every other header byte is
// written as 0.
namespace field {
constexpr std::size_t kDelta = 0;    // float: sampling interval in seconds
constexpr std::size_t kScale = 12;   // written as the integer 1, not the float 1.0
constexpr std::size_t kStla = 124;   // float: station latitude
constexpr std::size_t kStlo = 128;   // float: station longitude
constexpr std::size_t kStel = 132;   // float: station elevation
constexpr std::size_t kNzYear = 280; // int: reference time, year
constexpr std::size_t kNzJday = 284; // int: day of the year, 1 = 1 January
constexpr std::size_t kNzHour = 288;
constexpr std::size_t kNzMin = 292;
constexpr std::size_t kNzSec = 296;
constexpr std::size_t kNzMsec = 300;
constexpr std::size_t kNvhdr = 304;  // int: header version, written 6
constexpr std::size_t kNpts = 316;   // int: number of samples
constexpr std::size_t kIftype = 340; // int: file type; also tells the byte order
constexpr std::size_t kLeven = 420;  // int: evenly spaced, written 1
constexpr std::size_t kKstnm = 440;  // 8 chars: station
constexpr std::size_t kKcmpnm = 600; // 8 chars: component
constexpr std::size_t kKnetwk = 608; // 8 chars: network
constexpr std::size_t kKinst = 624;  // 8 chars: recording instrument
} // namespace field

constexpr std::size_t kHeaderSize = 632; // 158 words; the samples follow
constexpr std::size_t kTextSize = 8;
constexpr std::size_t kSampleSize = 4;
constexpr std::int32_t kTimeSeries = 1;
constexpr std::int32_t kHeaderVersion = 6;

// Header properties held one to one in a float or a text field.
struct PropertyField {
    int property;
    std::size_t offset;
};
constexpr std::array<PropertyField, 3> kFloatFields{{
    {kSensorLatitude, field::kStla},
    {kSensorLongitude, field::kStlo},
    {kSensorElevation, field::kStel},
}};
constexpr std::array<PropertyField, 4> kTextFields{{
    {kStationCode, field::kKstnm},
    {kComponentName, field::kKcmpnm},
    {kNetworkAffiliation, field::kKnetwk},
    {kDatalogger, field::kKinst},
}};

// What SAC writers put in a field they leave unset; read as an absent property, never as a value.
constexpr float kUndefinedFloat = -12345.0f;
constexpr std::string_view kUndefinedText = "-12345";

// The start time of a file without a reference time (NZYEAR 0 or less).
constexpr std::string_view kNoReferenceTime = "01/01/1980 00:00:00.000";

using SacHeader = std::array<unsigned char, kHeaderSize>;

// A header as read, in its file's byte order.
class HeaderView {
public:
    HeaderView(const SacHeader& bytes, ByteOrder order) : m_bytes(bytes), m_order(order) {}
    std::int32_t Int(std::size_t offset) const {
        return LoadAs<std::int32_t>(m_bytes.data() + offset, m_order);
    }
    float Float(std::size_t offset) const {
        return LoadAs<float>(m_bytes.data() + offset, m_order);
    }
    // A zero byte ends the text early, as programs written in C leave it.
    std::string_view Text(std::size_t offset) const {
        const std::string_view field(reinterpret_cast<const char*>(m_bytes.data() + offset),
                                     kTextSize);
        return field.substr(0, field.find('\0'));
    }

private:
    const SacHeader& m_bytes;
    ByteOrder m_order;
};

bool IsFileType(std::int32_t value) {
    return value == 1 || value == 2 || value == 3 || value == 4 || value == 51;
}

// A SAC file's type field holds one of five small values, which reads as one of them in only
// one byte order; nothing when neither order gives one.
std::optional<ByteOrder> DetectByteOrder(const SacHeader& header) {
    for (const ByteOrder order : {ByteOrder::Little, ByteOrder::Big}) {
        if (IsFileType(HeaderView(header, order).Int(field::kIftype))) {
            return order;
        }
    }
    return std::nullopt;
}

SacHeader ReadHeader(InputFile& in, const std::filesystem::path& path) {
    if (!in.IsOpen()) {
        throw std::runtime_error(CantOpenInputFile(path));
    }
    SacHeader header{};
    if (!in.ReadExact(header.data(), header.size())) {
        throw std::runtime_error("The file is shorter than a SAC header.");
    }
    return header;
}

std::string StartTimeText(const HeaderView& header) {
    const std::int32_t year = header.Int(field::kNzYear);
    if (year < 1) {
        return std::string(kNoReferenceTime);
    }
    DateTime time = DateFromYearDay(year, header.Int(field::kNzJday));
    time.hour = header.Int(field::kNzHour);
    time.minute = header.Int(field::kNzMin);
    time.second = header.Int(field::kNzSec);
    char millisecond[16];
    std::snprintf(millisecond, sizeof millisecond, ".%03d", header.Int(field::kNzMsec));
    return FormatDateTime(time) + millisecond;
}

std::vector<HeaderValues> LoadHeaderSac(const std::filesystem::path& path) {
    InputFile in(path);
    SacHeader bytes;
    try {
        bytes = ReadHeader(in, path);
    } catch (const std::runtime_error& error) {
        throw HeaderLoadError("LoadHeaderSac", error.what());
    }
    // A file of neither order still loads as it stands; only the reader refuses it.
    const HeaderView header(bytes, DetectByteOrder(bytes).value_or(ByteOrder::Little));
    HeaderValues values;
    values[kStartTime] = StartTimeText(header);
    values[kNumberOfSamples] = std::to_string(header.Int(field::kNpts));
    if (const float delta = header.Float(field::kDelta); delta != kUndefinedFloat) {
        values[kSps] = NumberToText(1.0f / delta);
    }
    for (const PropertyField& entry : kFloatFields) {
        if (const float value = header.Float(entry.offset); value != kUndefinedFloat) {
            values[entry.property] = NumberToText(value);
        }
    }
    for (const PropertyField& entry : kTextFields) {
        if (const std::string_view text = TrimBlanks(header.Text(entry.offset));
            text != kUndefinedText) {
            values[entry.property] = text;
        }
    }
    return {values};
}

void ReadSac(ReaderContext& context) {
    InputFile in(context.InputPath());
    const SacHeader bytes = ReadHeader(in, context.InputPath());
    const auto order = DetectByteOrder(bytes);
    if (!order) {
        return; // no longer a SAC file: there is nothing to convert
    }
    const std::int64_t count = HeaderView(bytes, *order).Int(field::kNpts);
    const std::uint64_t held = (in.Size() - kHeaderSize) / kSampleSize;
    if (count > 0 && static_cast<std::uint64_t>(count) > held) {
        throw std::runtime_error("The header announces " + std::to_string(count) +
                                 " samples but the file holds only " + std::to_string(held) + ".");
    }
    OutputFile out = context.OpenChannelFile(0);
    if (CopyFloatSamples(in, *order, count, context, out)) {
        out.Close();
    }
}

void PutInt(SacHeader& header, std::size_t offset, std::int32_t value) {
    StoreAs(header.data() + offset, value, ByteOrder::Little);
}

void PutFloat(SacHeader& header, std::size_t offset, float value) {
    StoreAs(header.data() + offset, value, ByteOrder::Little);
}

// Padded with blanks and cut to the field's 8 characters.
void PutText(SacHeader& header, std::size_t offset, std::string_view text) {
    text = text.substr(0, kTextSize);
    std::fill_n(header.data() + offset, kTextSize, static_cast<unsigned char>(' '));
    std::copy(text.begin(), text.end(), header.data() + offset);
}

struct ReferenceTime {
    DateTime time;
    int millisecond = 0;
};

// "YYYY/MM/DD HH:MM:SS" with an optional fraction, of which the first three digits are kept.
std::optional<ReferenceTime> ParseStartTime(std::string_view text) {
    text = TrimBlanks(text);
    std::string_view fraction;
    if (const std::size_t dot = text.rfind('.'); dot != std::string_view::npos) {
        fraction = text.substr(dot + 1);
        text = text.substr(0, dot);
    }
    const auto time = ParseDateTime(text);
    if (!time || !std::all_of(fraction.begin(), fraction.end(),
                              [](char c) { return c >= '0' && c <= '9'; })) {
        return std::nullopt;
    }
    ReferenceTime reference{*time};
    for (std::size_t i = 0; i < 3; ++i) {
        reference.millisecond =
            reference.millisecond * 10 + (i < fraction.size() ? fraction[i] - '0' : 0);
    }
    return reference;
}

// A start time that is not a date (such as the text of a file without reference time) leaves
// the time fields 0, which reads back as that same text.
void PutStartTime(SacHeader& header, std::string_view text) {
    const auto reference = ParseStartTime(text);
    if (!reference) {
        return;
    }
    PutInt(header, field::kNzYear, reference->time.year);
    PutInt(header, field::kNzJday, DayOfYear(reference->time));
    PutInt(header, field::kNzHour, reference->time.hour);
    PutInt(header, field::kNzMin, reference->time.minute);
    PutInt(header, field::kNzSec, reference->time.second);
    PutInt(header, field::kNzMsec, reference->millisecond);
}

SacHeader BuildHeader(const HeaderValues& values) {
    SacHeader header{};
    PutInt(header, field::kScale, 1);
    PutInt(header, field::kNvhdr, kHeaderVersion);
    PutInt(header, field::kIftype, kTimeSeries);
    PutInt(header, field::kLeven, 1);
    PutStartTime(header, values[kStartTime]);
    PutFloat(header, field::kDelta, 1.0f / static_cast<float>(RequiredRate(values, "SAC")));
    for (const PropertyField& entry : kFloatFields) {
        if (const auto value = HeaderFloat(values, entry.property)) {
            PutFloat(header, entry.offset, *value);
        }
    }
    for (const PropertyField& entry : kTextFields) {
        PutText(header, entry.offset, values[entry.property]);
    }
    return header;
}

// Writes one channel's SAC file, its NPTS corrected once the samples are counted; false when the
// user aborted.
bool WriteChannel(ChannelFiles& files, WriterContext& context) {
    SacHeader header = BuildHeader(files.in.Header());
    const std::int32_t announced =
        HeaderWholeNumber(files.in.Header(), kNumberOfSamples).value_or(0);
    PutInt(header, field::kNpts, announced);
    files.out.Write(header.data(), header.size());
    const auto count = WriteFloatSamples(files.in, files.out, ByteOrder::Little,
                                         std::numeric_limits<std::int32_t>::max(), "SAC", context);
    if (!count) {
        return false;
    }
    // A count that came out as announced stays as written, so such an output streams to a pipe.
    if (*count != announced) {
        PutInt(header, field::kNpts, static_cast<std::int32_t>(*count));
        files.out.Overwrite(field::kNpts, header.data() + field::kNpts, sizeof(std::int32_t));
    }
    return true;
}

void WriteSac(WriterContext& context) {
    WriteEachChannel(context, [&](ChannelFiles& files) { return WriteChannel(files, context); });
}

} // namespace

const FormatCodec kSacCodec{LoadHeaderSac, ReadSac, WriteSac, {.needsRate = true}};

} // namespace vibrex
