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
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// SEG2: a file descriptor block (a fixed part, the trace pointers, then "KEYWORD value" strings),
// then per trace a descriptor block (a fixed part and its own strings) followed by the trace's
// samples. Every binary number is in the byte order that the block identifier tells. Read in
// either order, trusting the pointers and block sizes; written little-endian, revision 1.
namespace vibrex {

namespace {

// The fixed part of the file descriptor block, by byte offset.
namespace filefield {
constexpr std::size_t kBlockId = 0;       // uint16: 0x3A55
constexpr std::size_t kRevision = 2;      // uint16: written 1
constexpr std::size_t kPointerBytes = 4;  // uint16: size of the trace pointer sub-block
constexpr std::size_t kTraceCount = 6;    // uint16
constexpr std::size_t kStringEndSize = 8; // uint8: 1 or 2; the characters follow
constexpr std::size_t kStringEnd = 9;     // the character that ends every string
constexpr std::size_t kLineEndSize = 11;  // uint8: 1 or 2; the characters follow
constexpr std::size_t kLineEnd = 12;      // separates lines inside a string
} // namespace filefield

// The fixed part of a trace descriptor block, by byte offset.
namespace tracefield {
constexpr std::size_t kBlockId = 0;     // uint16: 0x4422
constexpr std::size_t kBlockSize = 2;   // uint16: the whole descriptor block; samples follow it
constexpr std::size_t kDataSize = 4;    // uint32: bytes of samples
constexpr std::size_t kSampleCount = 8; // uint32
constexpr std::size_t kFormatCode = 12; // uint8: see kSampleFormats
} // namespace tracefield

constexpr std::size_t kFixedSize = 32; // of either descriptor block; strings follow
constexpr std::uint16_t kFileBlockId = 0x3A55;
constexpr std::uint16_t kTraceBlockId = 0x4422;
constexpr ByteOrder kWrittenOrder = ByteOrder::Little;

enum SampleFormat : std::uint8_t {
    kInt16 = 1,
    kInt32 = 2,
    kFloat20 = 3, // groups of four: a word of four exponents, then four 16-bit mantissas
    kFloat32 = 4,
    kFloat64 = 5,
};

std::optional<SampleGroups> GroupsOf(std::uint8_t format) {
    switch (format) {
    case kInt16:
        return SampleGroups{2, 1};
    case kInt32:
    case kFloat32:
        return SampleGroups{4, 1};
    case kFloat20:
        return SampleGroups{10, 4};
    case kFloat64:
        return SampleGroups{8, 1};
    default:
        return std::nullopt;
    }
}

// ---- Strings ---------------------------------------------------------------------------------

using Keywords = std::vector<std::pair<std::string, std::string>>;

// "KEYWORD value" entries, each led by its length (these two bytes included); a length of 0
// ends the list. Characters that are not printable are dropped, as recorders leave some.
Keywords ParseStrings(const std::vector<unsigned char>& bytes, ByteOrder order, char stringEnd) {
    Keywords keywords;
    for (std::size_t at = 0; at + 2 <= bytes.size();) {
        const std::size_t length = LoadAs<std::uint16_t>(bytes.data() + at, order);
        if (length < 2) {
            break;
        }
        const std::size_t end = std::min(bytes.size(), at + length);
        std::string text;
        for (std::size_t i = at + 2; i < end && bytes[i] != static_cast<unsigned char>(stringEnd);
             ++i) {
            // A tab or line end parts words as a blank does; other bytes outside printable ASCII go.
            const unsigned char byte = bytes[i];
            if (byte == '\t' || byte == '\n' || byte == '\r') {
                text += ' ';
            } else if (byte >= 0x20 && byte <= 0x7E) {
                text += static_cast<char>(byte);
            }
        }
        const std::string_view trimmed = TrimBlanks(text);
        const std::size_t blank = trimmed.find(' ');
        keywords.emplace_back(ToUpper(trimmed.substr(0, blank)),
                              blank == std::string_view::npos
                                  ? std::string()
                                  : std::string(TrimBlanks(trimmed.substr(blank))));
        at += length;
    }
    return keywords;
}

const std::string* Find(const Keywords& keywords, std::string_view keyword) {
    for (const auto& [key, value] : keywords) {
        if (key == keyword) {
            return &value;
        }
    }
    return nullptr;
}

// A trace's value of the keyword, or the file's where the trace has none.
std::string Lookup(const Keywords& trace, const Keywords& file, std::string_view keyword) {
    for (const Keywords* keywords : {&trace, &file}) {
        if (const std::string* value = Find(*keywords, keyword)) {
            return *value;
        }
    }
    return {};
}

constexpr std::array<std::string_view, 12> kMonths = {"JAN", "FEB", "MAR", "APR", "MAY", "JUN",
                                                      "JUL", "AUG", "SEP", "OCT", "NOV", "DEC"};

// Runs of digits or letters: "07/JAN/2013" gives "07", "JAN", "2013".
std::vector<std::string> Tokens(std::string_view text) {
    std::vector<std::string> tokens;
    std::string token;
    for (const char c : text) {
        if (std::isalnum(static_cast<unsigned char>(c)) != 0) {
            token += c;
        } else if (!token.empty()) {
            tokens.push_back(std::move(token));
            token.clear();
        }
    }
    if (!token.empty()) {
        tokens.push_back(std::move(token));
    }
    return tokens;
}

std::optional<int> WholeToken(const std::string& token) {
    const auto value = ParseNumber(token);
    if (!value || *value != std::floor(*value) || std::abs(*value) > 1e6) {
        return std::nullopt;
    }
    return static_cast<int>(*value);
}

// Day, month (by name or number) and year.
std::optional<DateTime> ParseDate(std::string_view text) {
    const auto tokens = Tokens(text);
    if (tokens.size() != 3) {
        return std::nullopt;
    }
    const auto name = std::find(kMonths.begin(), kMonths.end(), ToUpper(tokens[1]));
    const auto month = name != kMonths.end()
                           ? std::optional<int>(static_cast<int>(name - kMonths.begin()) + 1)
                           : WholeToken(tokens[1]);
    const auto day = WholeToken(tokens[0]);
    const auto year = WholeToken(tokens[2]);
    if (!month || !day || !year || *month < 1 || *month > 12 || *day < 1 || *day > 31) {
        return std::nullopt;
    }
    return DateFromDays(DaysFromCivil(*year, *month, *day));
}

// "HH:MM:SS", perhaps with a fraction of a second, and the vendor's microseconds apart.
std::string StartTimeText(const std::string& date, const std::string& time,
                          const std::string& microseconds) {
    const auto day = ParseDate(date);
    const auto fields = Tokens(time);
    if (!day || fields.size() < 3) {
        return {};
    }
    double seconds = 0;
    for (std::size_t i = 0; i < 3; ++i) {
        const auto value = WholeToken(fields[i]);
        if (!value) {
            return {};
        }
        seconds = seconds * 60 + *value;
    }
    if (fields.size() > 3 && time.find('.') != std::string::npos) {
        seconds += ParseNumber("0." + fields[3]).value_or(0);
    }
    const double fraction = ParseNumber(microseconds).value_or(0);
    if (!(fraction >= 0 && fraction < 1e6)) {
        return {};
    }
    seconds += fraction * 1e-6;
    return FormatTimeText(AddSecondsToTime(PreciseTime{*day, 0}, seconds));
}

// The first number of a location ("x [y [z]]").
std::optional<double> FirstCoordinate(const std::string& location) {
    return location.empty() ? std::nullopt : ParseNumber(location.substr(0, location.find(' ')));
}

HeaderValues ChannelValues(const Keywords& trace, const Keywords& file, std::uint32_t count) {
    const auto value = [&](std::string_view keyword) { return Lookup(trace, file, keyword); };
    // The time and its microseconds come together from the trace or from the file, so that a
    // trace's whole second never takes the file's fraction.
    const Keywords& timed = Find(trace, "ACQUISITION_TIME") != nullptr ? trace : file;
    const auto timeValue = [&](std::string_view keyword) {
        const std::string* found = Find(timed, keyword);
        return found != nullptr ? *found : std::string();
    };
    HeaderValues values;
    values[kStartTime] = StartTimeText(value("ACQUISITION_DATE"), timeValue("ACQUISITION_TIME"),
                                       timeValue("ACQUISITION_TIME_MICROSECONDS"));
    values[kNumberOfSamples] = std::to_string(count);
    if (const auto interval = ParseNumber(value("SAMPLE_INTERVAL")); interval && *interval > 0) {
        values[kSps] = NumberToText(static_cast<float>(1.0 / *interval));
    }
    const auto receiver = FirstCoordinate(value("RECEIVER_LOCATION"));
    const auto source = FirstCoordinate(value("SOURCE_LOCATION"));
    if (receiver && source) {
        values[kOffset] = NumberToText(*receiver - *source);
    }
    values[kComponentName] = value("CHANNEL_NUMBER");
    values[kStationCode] = value("STATION_CODE");
    values[kNetworkAffiliation] = value("NETWORK_NAME");
    values[kDatalogger] = value("INSTRUMENT");
    return values;
}

// ---- Reading ---------------------------------------------------------------------------------

struct TraceLayout {
    HeaderValues values;
    std::uint64_t dataOffset = 0;
    std::int64_t count = 0;
    std::uint8_t format = 0;
};

struct FileLayout {
    ByteOrder order = ByteOrder::Little;
    std::vector<TraceLayout> traces;
};

class BlockReader {
public:
    explicit BlockReader(InputFile& in) : m_in(in) {}

    // `size` bytes at `offset`, which must lie within the file; `what` names them in the error,
    // which ends with `number`, the trace's number in parentheses where there is one.
    std::vector<unsigned char> At(std::uint64_t offset, std::uint64_t size, const std::string& what,
                                  const std::string& number = "") {
        std::vector<unsigned char> bytes;
        if (offset > m_in.Size() || size > m_in.Size() - offset) {
            throw std::runtime_error(what + " lies past the end of the file" + number);
        }
        bytes.resize(static_cast<std::size_t>(size));
        m_in.Seek(offset);
        m_in.ReadExact(bytes.data(), bytes.size());
        return bytes;
    }

private:
    InputFile& m_in;
};

// Where every trace lies and what it holds. Throws std::runtime_error for a file it cannot
// follow; a trace's failure ends with its number in parentheses.
FileLayout ReadLayout(InputFile& in) {
    BlockReader blocks(in);
    const auto fixed = blocks.At(0, kFixedSize, "The file descriptor block");
    FileLayout layout;
    if (LoadAs<std::uint16_t>(fixed.data(), ByteOrder::Big) == kFileBlockId) {
        layout.order = ByteOrder::Big;
    } else if (LoadAs<std::uint16_t>(fixed.data(), ByteOrder::Little) != kFileBlockId) {
        throw std::runtime_error("The file does not start with a SEG2 file descriptor block");
    }
    const auto word = [&](const std::vector<unsigned char>& bytes, std::size_t offset) {
        return LoadAs<std::uint16_t>(bytes.data() + offset, layout.order);
    };
    const std::size_t pointerBytes = word(fixed, filefield::kPointerBytes);
    const std::size_t traceCount = word(fixed, filefield::kTraceCount);
    if (traceCount < 1 || traceCount * 4 > pointerBytes) {
        throw std::runtime_error("The file descriptor block announces " +
                                 std::to_string(traceCount) + " traces in " +
                                 std::to_string(pointerBytes) + " bytes of trace pointers");
    }
    const char stringEnd = static_cast<char>(fixed[filefield::kStringEnd]);
    const auto pointers = blocks.At(kFixedSize, traceCount * 4, "The trace pointer sub-block");
    std::uint64_t firstTrace = in.Size();
    for (std::size_t trace = 0; trace < traceCount; ++trace) {
        firstTrace = std::min<std::uint64_t>(
            firstTrace, LoadAs<std::uint32_t>(pointers.data() + 4 * trace, layout.order));
    }
    const std::uint64_t stringsStart = kFixedSize + pointerBytes;
    const Keywords file = ParseStrings(
        blocks.At(stringsStart, firstTrace > stringsStart ? firstTrace - stringsStart : 0,
                  "The file's strings"),
        layout.order, stringEnd);
    for (std::size_t trace = 0; trace < traceCount; ++trace) {
        const std::string number = " (" + std::to_string(trace + 1) + ")";
        const std::uint64_t start =
            LoadAs<std::uint32_t>(pointers.data() + 4 * trace, layout.order);
        const auto descriptor = blocks.At(start, kFixedSize, "A trace descriptor block", number);
        const std::size_t blockSize = word(descriptor, tracefield::kBlockSize);
        if (word(descriptor, tracefield::kBlockId) != kTraceBlockId || blockSize < kFixedSize) {
            throw std::runtime_error("A trace pointer leads to no trace descriptor block" + number);
        }
        TraceLayout& layoutOf = layout.traces.emplace_back();
        layoutOf.count =
            LoadAs<std::uint32_t>(descriptor.data() + tracefield::kSampleCount, layout.order);
        layoutOf.format = descriptor[tracefield::kFormatCode];
        const auto groups = GroupsOf(layoutOf.format);
        if (!groups) {
            throw std::runtime_error("A trace has the unknown data format code " +
                                     std::to_string(layoutOf.format) + number);
        }
        const Keywords strings = ParseStrings(blocks.At(start + kFixedSize, blockSize - kFixedSize,
                                                        "A trace descriptor block", number),
                                              layout.order, stringEnd);
        layoutOf.dataOffset = start + blockSize;
        const std::uint64_t groupCount = (layoutOf.count + groups->samples - 1) / groups->samples;
        if (layoutOf.dataOffset + groupCount * groups->bytes > in.Size()) {
            throw std::runtime_error("The samples of a trace run past the end of the file" +
                                     number);
        }
        layoutOf.values = ChannelValues(strings, file, static_cast<std::uint32_t>(layoutOf.count));
    }
    return layout;
}

std::vector<HeaderValues> LoadHeaderSeg2(const std::filesystem::path& path) {
    return LoadChannelValues(path, "LoadHeaderSeg2",
                             [](InputFile& in) { return ReadLayout(in).traces; });
}

// The 20-bit format: mantissas are one's complement, so a negative one is one more than its
// two's complement reading.
void WriteFloat20Group(const unsigned char* bytes, std::size_t samples, ByteOrder order,
                       std::int64_t sign, OutputFile& out) {
    const std::uint16_t exponents = LoadAs<std::uint16_t>(bytes, order);
    for (std::size_t i = 0; i < samples; ++i) {
        std::int64_t mantissa = LoadAs<std::int16_t>(bytes + 2 + 2 * i, order);
        mantissa += mantissa < 0 ? 1 : 0;
        out.IntegerLine(sign * mantissa * (std::int64_t{1} << ((exponents >> (4 * i)) & 0xF)));
    }
}

bool CopyTrace(InputFile& in, const TraceLayout& trace, ByteOrder order, ReaderContext& context,
               OutputFile& out) {
    const bool invert = context.DataInversion();
    in.Seek(trace.dataOffset);
    const auto copy = [&](auto writeGroup) {
        return CopySampleGroups(in, trace.count, *GroupsOf(trace.format), context, writeGroup);
    };
    switch (trace.format) {
    case kInt16:
        return copy([&](const unsigned char* bytes, std::size_t) {
            const std::int32_t sample = LoadAs<std::int16_t>(bytes, order);
            out.IntegerLine(invert ? -sample : sample);
        });
    case kInt32:
        return copy([&](const unsigned char* bytes, std::size_t) {
            const auto sample = LoadAs<std::int32_t>(bytes, order);
            out.IntegerLine(invert ? InvertedSample(sample) : sample);
        });
    case kFloat20:
        return copy([&](const unsigned char* bytes, std::size_t samples) {
            WriteFloat20Group(bytes, samples, order, invert ? -1 : 1, out);
        });
    case kFloat64:
        return copy([&](const unsigned char* bytes, std::size_t) {
            out.NumberLine(LoadAs<double>(bytes, order) * (invert ? -1.0 : 1.0));
        });
    default:
        return CopyFloatSamples(in, order, trace.count, context, out);
    }
}

void ReadSeg2(ReaderContext& context) {
    InputFile in(context.InputPath());
    RequireOpen(in, context.InputPath());
    const FileLayout layout = ReadLayout(in);
    CopyEachChannel(context, layout.traces, [&](const TraceLayout& trace, OutputFile& out) {
        return CopyTrace(in, trace, layout.order, context, out);
    });
}

// ---- Writing ---------------------------------------------------------------------------------

constexpr std::size_t kMaxTraces = 16383;
constexpr std::size_t kMaxBlockSize = 65532;
constexpr std::size_t kMaxValueLength = 1024; // keeps a block within its size field however long
                                              // a user-edited value is
constexpr std::uint64_t kMaxOffset = std::numeric_limits<std::uint32_t>::max();

// A string section: entries ended by one zero byte, the list ended by a zero length, zero bytes
// up to a multiple of 4 from the block's start.
class StringSection {
public:
    void Add(std::string_view keyword, std::string_view value) {
        const std::string text =
            std::string(keyword) + ' ' + std::string(value.substr(0, kMaxValueLength));
        unsigned char length[2];
        StoreAs(length, static_cast<std::uint16_t>(2 + text.size() + 1), kWrittenOrder);
        m_bytes.append(reinterpret_cast<const char*>(length), 2);
        m_bytes += text;
        m_bytes += '\0';
    }
    std::string Finish(std::size_t blockStart) {
        m_bytes.append(2, '\0');
        m_bytes.append((4 - (blockStart + m_bytes.size()) % 4) % 4, '\0');
        return std::move(m_bytes);
    }

private:
    std::string m_bytes;
};

void AddStartTime(StringSection& strings, const std::string& text) {
    const auto start = ParseTimeText(text);
    if (!start) {
        return;
    }
    const DateTime& time = start->time;
    char date[32];
    char clock[32];
    std::snprintf(date, sizeof date, "%02d/%s/%04d", time.day,
                  std::string(kMonths[static_cast<std::size_t>(time.month - 1)]).c_str(),
                  time.year);
    std::snprintf(clock, sizeof clock, "%02d:%02d:%02d", time.hour, time.minute, time.second);
    strings.Add("ACQUISITION_DATE", date);
    strings.Add("ACQUISITION_TIME", clock);
    if (start->tenThousandths != 0) {
        strings.Add("ACQUISITION_TIME_MICROSECONDS", std::to_string(start->tenThousandths * 100));
    }
}

std::string FileDescriptor(std::size_t traces, const HeaderValues& first) {
    std::string block(kFixedSize + 4 * traces, '\0');
    auto* bytes = reinterpret_cast<unsigned char*>(block.data());
    StoreAs(bytes + filefield::kBlockId, kFileBlockId, kWrittenOrder);
    StoreAs(bytes + filefield::kRevision, std::uint16_t{1}, kWrittenOrder);
    StoreAs(bytes + filefield::kPointerBytes, static_cast<std::uint16_t>(4 * traces),
            kWrittenOrder);
    StoreAs(bytes + filefield::kTraceCount, static_cast<std::uint16_t>(traces), kWrittenOrder);
    bytes[filefield::kStringEndSize] = 1; // a zero byte ends a string
    bytes[filefield::kLineEndSize] = 1;
    bytes[filefield::kLineEnd] = '\n';
    StringSection strings;
    AddStartTime(strings, first[kStartTime]);
    return block + strings.Finish(block.size());
}

std::string TraceDescriptor(int traceNumber, const HeaderValues& values) {
    StringSection strings;
    AddStartTime(strings, values[kStartTime]);
    strings.Add("CHANNEL_NUMBER", std::to_string(traceNumber));
    strings.Add("DELAY", "0");
    if (const auto offset = HeaderNumber(values, kOffset)) {
        strings.Add("RECEIVER_LOCATION", NumberToText(*offset));
        strings.Add("SOURCE_LOCATION", "0");
    }
    if (const auto rate = HeaderNumber(values, kSps); rate && *rate > 0) {
        strings.Add("SAMPLE_INTERVAL", NumberToText(1.0 / *rate));
    }
    for (const auto& [property, keyword] : {std::pair{kStationCode, "STATION_CODE"},
                                            std::pair{kNetworkAffiliation, "NETWORK_NAME"}}) {
        if (!values[property].empty()) {
            strings.Add(keyword, values[property]);
        }
    }
    std::string block(kFixedSize, '\0');
    block += strings.Finish(kFixedSize);
    auto* bytes = reinterpret_cast<unsigned char*>(block.data());
    StoreAs(bytes + tracefield::kBlockId, kTraceBlockId, kWrittenOrder);
    StoreAs(bytes + tracefield::kBlockSize, static_cast<std::uint16_t>(block.size()),
            kWrittenOrder);
    bytes[tracefield::kFormatCode] = kInt32;
    return block;
}

// A trace's samples as 32-bit integers while every one is a whole number that fits, as 32-bit
// floats from the first that is not: the integers already written are then turned into floats
// in place, so that nothing is lost and no sample is held in memory.
class TraceSamples {
public:
    explicit TraceSamples(OutputFile& out) : m_out(out), m_start(out.Position()) {}

    void Add(std::string_view text) {
        if (static_cast<std::uint64_t>(m_count) * 4 + 4 > kMaxOffset) {
            throw std::runtime_error("A SEG2 trace holds at most 4 GiB of samples.");
        }
        unsigned char bytes[4];
        if (m_format == kInt32) {
            const double value = SampleNumber(text);
            if (IsWhole32(value)) {
                StoreAs(bytes, static_cast<std::int32_t>(value), kWrittenOrder);
                Put(bytes);
                return;
            }
            TurnWrittenIntoFloats();
        }
        StoreAs(bytes, SampleFloat(text), kWrittenOrder);
        Put(bytes);
    }
    std::int64_t Count() const { return m_count; }
    SampleFormat Format() const { return m_format; }

private:
    // "-0" is not: it is a float's sign.
    static bool IsWhole32(double value) {
        return value == std::trunc(value) && value >= std::numeric_limits<std::int32_t>::min() &&
               value <= std::numeric_limits<std::int32_t>::max() &&
               !(value == 0 && std::signbit(value));
    }
    void Put(const unsigned char* bytes) {
        m_out.Write(bytes, 4);
        ++m_count;
    }
    void TurnWrittenIntoFloats() {
        constexpr std::int64_t kChunk = 16384;
        std::vector<unsigned char> chunk(kChunk * 4);
        for (std::int64_t done = 0; done < m_count;) {
            const std::int64_t samples = std::min(kChunk, m_count - done);
            const std::uint64_t at = m_start + static_cast<std::uint64_t>(done) * 4;
            const std::size_t bytes = static_cast<std::size_t>(samples) * 4;
            if (!m_out.ReadBack(at, chunk.data(), bytes)) {
                throw std::runtime_error("Can't read back the output file.");
            }
            for (std::size_t i = 0; i < bytes; i += 4) {
                const auto whole = LoadAs<std::int32_t>(chunk.data() + i, kWrittenOrder);
                StoreAs(chunk.data() + i, static_cast<float>(whole), kWrittenOrder);
            }
            m_out.Overwrite(at, chunk.data(), bytes);
            done += samples;
        }
        m_format = kFloat32;
    }

    OutputFile& m_out;
    std::uint64_t m_start;
    std::int64_t m_count = 0;
    SampleFormat m_format = kInt32;
};

// Writes one trace and sets its pointer; the descriptor's count, size and format are set once
// the samples are written. False when the user aborted.
bool WriteTrace(int traceNumber, ChannelFileReader& in, OutputFile& out, WriterContext& context) {
    const std::uint64_t start = out.Position();
    if (start > kMaxOffset) {
        throw std::runtime_error("A SEG2 file cannot point to a trace beyond 4 GiB.");
    }
    std::array<unsigned char, 4> field{};
    StoreAs(field.data(), static_cast<std::uint32_t>(start), kWrittenOrder);
    out.Overwrite(kFixedSize + 4 * static_cast<std::uint64_t>(traceNumber - 1), field.data(), 4);
    const std::string descriptor = TraceDescriptor(traceNumber, in.Header());
    if (descriptor.size() > kMaxBlockSize) {
        throw std::runtime_error("A trace's strings do not fit a SEG2 descriptor block.");
    }
    out.Write(descriptor.data(), descriptor.size());
    TraceSamples samples(out);
    std::string_view text;
    while (in.NextSample(text)) {
        samples.Add(text);
        if (!context.Tick()) {
            return false;
        }
    }
    std::array<unsigned char, 9> fixed{};
    StoreAs(fixed.data(), static_cast<std::uint32_t>(samples.Count() * 4), kWrittenOrder);
    StoreAs(fixed.data() + 4, static_cast<std::uint32_t>(samples.Count()), kWrittenOrder);
    fixed[8] = samples.Format();
    out.Overwrite(start + tracefield::kDataSize, fixed.data(), fixed.size());
    return true;
}

void WriteSeg2(WriterContext& context) {
    const auto traces = static_cast<std::size_t>(context.ChannelCount());
    if (traces > kMaxTraces) {
        throw std::runtime_error("SEG2 holds at most 16383 traces.");
    }
    OutputFile out = CreateMultichannelOutput(context);
    const std::string descriptor =
        FileDescriptor(traces, context.OpenChannel(1).Header());
    out.Write(descriptor.data(), descriptor.size());
    const bool written = WriteChannelsInTurn(context, [&](int channel, ChannelFileReader& in) {
        return WriteTrace(channel, in, out, context);
    });
    if (written) {
        out.Close();
    }
}

} // namespace

const FormatCodec kSeg2Codec{LoadHeaderSeg2, ReadSeg2, WriteSeg2};

} // namespace vibrex
