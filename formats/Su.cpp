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
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

// Seismic Unix: a plain sequence of traces, each a 240-byte header followed by its samples as
// 32-bit floats; no file header. One trace is one channel. Read and written little-endian, the
// only order that detection recognises.
namespace vibrex {

namespace {

// The header fields the system reads or writes, by byte offset. Every other header byte is
// written as 0.
namespace field {
constexpr std::size_t kTracl = 0;   // int32: trace number within the line, written 1, 2, ...
constexpr std::size_t kTracr = 4;   // int32: trace number within the file, the same
constexpr std::size_t kTracf = 12;  // int32: trace number within the field record, the same
constexpr std::size_t kTrid = 28;   // int16: trace kind, written 1 (seismic data)
constexpr std::size_t kOffset = 36; // int32: distance from source to receiver
constexpr std::size_t kNs = 114;    // uint16: number of samples
constexpr std::size_t kDt = 116;    // uint16: sampling interval in microseconds, 0 = unknown
constexpr std::size_t kYear = 156;  // int16: four digits; two digits from old writers
constexpr std::size_t kDay = 158;   // int16: day of the year, 1 = 1 January
constexpr std::size_t kHour = 160;
constexpr std::size_t kMinute = 162;
constexpr std::size_t kSecond = 164; // int16: whole seconds only
constexpr std::size_t kTimbas = 166; // int16: time basis, written 2 (GMT)
} // namespace field

constexpr std::size_t kHeaderSize = 240;
constexpr std::size_t kSampleSize = 4;
constexpr ByteOrder kOrder = ByteOrder::Little;
// The most samples a trace takes: many readers take the count as a signed 16-bit number.
constexpr std::int64_t kMaxSamples = 32767;
constexpr std::int32_t kMaxInterval = 65535; // microseconds

using TraceHeader = std::array<unsigned char, kHeaderSize>;

template <typename T> T Get(const TraceHeader& header, std::size_t offset) {
    return LoadAs<T>(header.data() + offset, kOrder);
}

template <typename T> void Put(TraceHeader& header, std::size_t offset, T value) {
    StoreAs(header.data() + offset, value, kOrder);
}

std::int64_t SampleCount(const TraceHeader& header) {
    return Get<std::uint16_t>(header, field::kNs);
}

// Two-digit years of old writers: below 30 they are of this century.
int FullYear(int year) {
    if (year >= 100) {
        return year;
    }
    return year < 30 ? 2000 + year : 1900 + year;
}

std::string StartTimeText(const TraceHeader& header) {
    PreciseTime start;
    start.time = DateFromYearDay(FullYear(Get<std::int16_t>(header, field::kYear)),
                                 Get<std::int16_t>(header, field::kDay));
    start.time.hour = Get<std::int16_t>(header, field::kHour);
    start.time.minute = Get<std::int16_t>(header, field::kMinute);
    start.time.second = Get<std::int16_t>(header, field::kSecond);
    return FormatTimeText(start);
}

HeaderValues ChannelValues(const TraceHeader& header) {
    HeaderValues values;
    values[kStartTime] = StartTimeText(header);
    values[kNumberOfSamples] = std::to_string(SampleCount(header));
    if (const auto interval = Get<std::uint16_t>(header, field::kDt); interval > 0) {
        values[kSps] = NumberToText(1e6 / interval);
    }
    values[kOffset] = std::to_string(Get<std::int32_t>(header, field::kOffset));
    values[kComponentName] = std::to_string(Get<std::int32_t>(header, field::kTracf));
    return values;
}

// The traces of a file, each checked to lie whole within the file.
class TraceWalk {
public:
    explicit TraceWalk(InputFile& in) : m_in(in) {}
    bool AtEnd() const { return m_next >= m_in.Size(); }
    // The next trace's header; the file is left at its first sample.
    TraceHeader Next() {
        ++m_number;
        TraceHeader header{};
        if (!m_in.Seek(m_next) || !m_in.ReadExact(header.data(), header.size())) {
            Fail("The file ends inside a trace header");
        }
        m_next += kHeaderSize + SampleCount(header) * kSampleSize;
        if (m_next > m_in.Size()) {
            Fail("The samples of a trace run past the end of the file");
        }
        return header;
    }

private:
    // The message ends with the trace's number in parentheses, as the engine's texts do.
    [[noreturn]] void Fail(const std::string& what) const {
        throw std::runtime_error(what + " (" + std::to_string(m_number) + ")");
    }

    InputFile& m_in;
    std::uint64_t m_next = 0;
    int m_number = 0;
};

std::vector<HeaderValues> LoadHeaderSu(const std::filesystem::path& path) {
    InputFile in(path);
    if (!in.IsOpen()) {
        throw HeaderLoadError("LoadHeaderSu", CantOpenInputFile(path));
    }
    std::vector<HeaderValues> channels;
    TraceWalk traces(in);
    try {
        while (!traces.AtEnd()) {
            channels.push_back(ChannelValues(traces.Next()));
        }
    } catch (const std::runtime_error& error) {
        throw HeaderLoadError("LoadHeaderSu", error.what());
    }
    return channels;
}

void ReadSu(ReaderContext& context) {
    InputFile in(context.InputPath());
    RequireOpen(in, context.InputPath());
    TraceWalk traces(in);
    for (int channel = 0; channel < context.ChannelCount(); ++channel) {
        const std::int64_t count = SampleCount(traces.Next());
        OutputFile out = context.OpenChannelFile(channel);
        if (!CopyFloatSamples(in, kOrder, count, context, out)) {
            return;
        }
        out.Close();
    }
}

// The interval in whole microseconds up to 65535; 0 for a rate that has none.
std::uint16_t IntervalOfRate(double rate) {
    const double microseconds = 1e6 / rate;
    const double whole = std::round(microseconds);
    return whole >= 1 && whole <= kMaxInterval && std::abs(microseconds - whole) < 1e-3
               ? static_cast<std::uint16_t>(whole)
               : 0;
}

std::string RateProblem(double rate) {
    if (IntervalOfRate(rate) != 0) {
        return {};
    }
    return "A rate of " + NumberToText(rate) +
           " samples per second cannot be written in SU, whose sampling interval is a whole "
           "number of microseconds from 1 to 65535.";
}

// A rate that has no interval fails the file rather than be written as another rate.
std::uint16_t IntervalOf(const HeaderValues& values) {
    const double rate = RequiredRate(values, "SU");
    if (const std::string problem = RateProblem(rate); !problem.empty()) {
        throw std::runtime_error(problem);
    }
    return IntervalOfRate(rate);
}

// Whole seconds: the fraction is dropped. A start that is not a time is written as the first
// second of 1980, so that the file still reads back.
void PutStartTime(TraceHeader& header, const HeaderValues& values) {
    const DateTime start = ParseTimeText(values[kStartTime]).value_or(PreciseTime{}).time;
    if (start.year > std::numeric_limits<std::int16_t>::max()) {
        throw std::runtime_error("SU cannot hold the year " + std::to_string(start.year) + ".");
    }
    Put(header, field::kYear, static_cast<std::int16_t>(start.year));
    Put(header, field::kDay, static_cast<std::int16_t>(DayOfYear(start)));
    Put(header, field::kHour, static_cast<std::int16_t>(start.hour));
    Put(header, field::kMinute, static_cast<std::int16_t>(start.minute));
    Put(header, field::kSecond, static_cast<std::int16_t>(start.second));
    Put(header, field::kTimbas, std::int16_t{2});
}

TraceHeader BuildHeader(int traceNumber, const HeaderValues& values) {
    TraceHeader header{};
    Put(header, field::kTracl, traceNumber);
    Put(header, field::kTracr, traceNumber);
    Put(header, field::kTracf, traceNumber);
    Put(header, field::kTrid, std::int16_t{1});
    Put(header, field::kOffset, HeaderWholeNumber(values, kOffset).value_or(0));
    const auto count = HeaderWholeNumber(values, kNumberOfSamples).value_or(0);
    Put(header, field::kNs,
        static_cast<std::uint16_t>(std::clamp<std::int64_t>(count, 0, kMaxSamples)));
    Put(header, field::kDt, IntervalOf(values));
    PutStartTime(header, values);
    return header;
}

// Writes one trace; its count is set from the samples written, whatever the channel's header
// announced. False when the user aborted.
bool WriteTrace(int traceNumber, ChannelFileReader& in, OutputFile& out, WriterContext& context) {
    TraceHeader header = BuildHeader(traceNumber, in.Header());
    const std::uint64_t start = out.Position();
    out.Write(header.data(), header.size());
    const auto count = WriteFloatSamples(in, out, kOrder, kMaxSamples, "an SU trace", context);
    if (!count) {
        return false;
    }
    if (*count != SampleCount(header)) {
        Put(header, field::kNs, static_cast<std::uint16_t>(*count));
        out.Overwrite(start + field::kNs, header.data() + field::kNs, 2);
    }
    return true;
}

void WriteSu(WriterContext& context) {
    OutputFile out = CreateMultichannelOutput(context);
    const bool written = WriteChannelsInTurn(context, [&](int channel, ChannelFileReader& in) {
        return WriteTrace(channel, in, out, context);
    });
    if (written) {
        out.Close();
    }
}

} // namespace

const FormatCodec kSuCodec{LoadHeaderSu, ReadSu, WriteSu, {0, 0, kMaxSamples, true, RateProblem}};

} // namespace vibrex
