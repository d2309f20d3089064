// GSE2.0 waveform files: one block per channel, made of a WID2 line of fixed columns, an
// optional STA2 line, DAT2, the samples as CM6 or INT text, and CHK2 with their checksum.
// Blocks are read in whichever text their WID2 line names; GSECM6 writes CM6 and GSEINT writes
// INT, one block per channel.
#include "engine/ChannelFile.h"
#include "engine/Codec.h"
#include "formats/ChannelValues.h"
#include "formats/ChannelWriter.h"
#include "formats/Cm6.h"
#include "io/FileIO.h"
#include "io/Numbers.h"
#include "io/TimeText.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace vibrex {

namespace {

// Columns of a line, 1-based and inclusive as the format counts them.
struct Columns {
    std::size_t first;
    std::size_t last;
};

// The WID2 line, 105 characters, fields separated by one blank.
namespace wid2 {
constexpr Columns kDate{6, 15};      // yyyy/mm/dd, of the first sample
constexpr Columns kTime{17, 28};     // hh:mm:ss.sss
constexpr Columns kStation{30, 34};  // left-justified
constexpr Columns kChannel{36, 38};  // channel code
constexpr Columns kAuxId{40, 43};    // auxiliary id, the nearest thing to a location code
constexpr Columns kDataType{45, 47}; // CM6 or INT; detection looks here
constexpr Columns kSamples{49, 56};  // number of samples, i8
constexpr Columns kRate{58, 68};     // samples per second, f11.6
constexpr Columns kCalib{70, 79};    // nanometres per count at the calibration period, e10.2
constexpr Columns kCalPer{81, 87};   // calibration period in seconds, f7.3
constexpr Columns kInsType{89, 94};  // instrument type
constexpr Columns kHang{96, 100};    // degrees clockwise from north, -1 when vertical, f5.1
constexpr Columns kVang{102, 105};   // degrees from vertical, f4.1
} // namespace wid2

// The STA2 line: the network in fixed columns, then latitude and longitude in degrees, a
// coordinate system, elevation and depth in kilometres. The published column table contradicts
// itself and writers place the numbers loosely, so they are read as words.
namespace sta2 {
constexpr Columns kNetwork{6, 14};
constexpr std::size_t kNumbersFrom = 15;
} // namespace sta2

constexpr const char* kLoaderName = "LoadHeader_GSE";
constexpr double kUnknownAngle = -1.0;
constexpr double kUnknownElevationKm = -0.999;
constexpr double kUnknownLatitude = -99.0;
constexpr double kUnknownLongitude = -999.0;
constexpr double kMostLatitude = 90.0;
constexpr double kMostLongitude = 180.0;
constexpr double kMetresPerKm = 1000.0;
constexpr double kDefaultCalibration = 1.0; // written when the header has none, as is usual

std::string_view Field(std::string_view line, Columns columns) {
    if (line.size() < columns.first) {
        return {};
    }
    return line.substr(columns.first - 1, columns.last - columns.first + 1);
}

bool StartsWithId(std::string_view line, std::string_view id) {
    return line.size() >= id.size() && ToUpper(line.substr(0, id.size())) == id;
}

// Lines may end LF CR, as the format's own text says; the CR then starts the next line.
std::string_view WithoutLeadingReturn(std::string_view line) {
    return !line.empty() && line.front() == '\r' ? line.substr(1) : line;
}

// A latitude or longitude within its range; any other (a placeholder, SAC's -12345 for
// "undefined") is unknown.
std::optional<double> Coordinate(std::optional<double> value, double most) {
    return value && std::abs(*value) <= most ? value : std::nullopt;
}

// ---- Orientation ---------------------------------------------------------------------------

// WID2 gives two angles; the common header names the three usual directions by a letter and
// keeps the angles as azimuth and incidence.
struct Angles {
    double hang;
    double vang;
};

struct NamedOrientation {
    std::string_view letter;
    Angles angles;
};

constexpr std::array<NamedOrientation, 3> kNamedOrientations{{
    {"Z", {kUnknownAngle, 0.0}},
    {"N", {0.0, 90.0}},
    {"E", {90.0, 90.0}},
}};

std::string_view LetterOf(const Angles& angles) {
    if (angles.vang == 0.0) {
        return "Z";
    }
    for (const NamedOrientation& named : kNamedOrientations) {
        if (angles.vang == named.angles.vang && angles.hang == named.angles.hang) {
            return named.letter;
        }
    }
    return "";
}

// The angles of the header's azimuth and incidence when they agree with its orientation letter
// (or it has none); else those of the letter, so that an edited orientation wins.
Angles AnglesOf(const HeaderValues& values) {
    const std::string letter = ToUpper(TrimBlanks(values[kSensorOrientation]));
    const auto hang = HeaderNumber(values, kSensorAzimuth);
    const auto vang = HeaderNumber(values, kSensorIncident);
    std::optional<Angles> given;
    if (hang && vang) {
        given = Angles{*hang, *vang};
    }
    if (given && (letter.empty() || LetterOf(*given) == letter)) {
        return *given;
    }
    for (const NamedOrientation& named : kNamedOrientations) {
        if (letter == named.letter) {
            return named.angles;
        }
    }
    return given.value_or(Angles{kUnknownAngle, kUnknownAngle});
}

// ---- Reading -------------------------------------------------------------------------------

struct GseBlock {
    HeaderValues values;
    SampleText text = SampleText::Cm6;
    std::int64_t count = 0;
};

// A WID2 or STA2 line with its continuations joined: a line ending in a backslash goes on in
// the next one.
std::string JoinedLine(std::string_view first, LineReader& lines) {
    std::string joined(first);
    std::string_view next;
    while (!joined.empty() && joined.back() == '\\' && lines.Next(next)) {
        joined.pop_back();
        joined += WithoutLeadingReturn(next);
    }
    return joined;
}

class Wid2Reader {
public:
    Wid2Reader(std::string_view line, const LineReader& lines) : m_line(line), m_lines(lines) {}

    void Read(GseBlock& block) const {
        HeaderValues& values = block.values;
        values = HeaderValues();
        values[kStartTime] = StartTime();
        block.count = Count();
        values[kNumberOfSamples] = std::to_string(block.count);
        values[kSps] = NumberToText(Rate());
        block.text = Text();
        values[kStationCode] = TrimBlanks(Field(m_line, wid2::kStation));
        values[kComponentName] = TrimBlanks(Field(m_line, wid2::kChannel));
        values[kSensorLocation] = TrimBlanks(Field(m_line, wid2::kAuxId));
        values[kSensorType] = TrimBlanks(Field(m_line, wid2::kInsType));
        values[kSensorSensitivity] = NumberText(wid2::kCalib, "calibration");
        values[kSensorFreePeriod] = NumberText(wid2::kCalPer, "calibration period");
        values[kSensorAzimuth] = NumberText(wid2::kHang, "horizontal orientation");
        values[kSensorIncident] = NumberText(wid2::kVang, "vertical orientation");
        const auto hang = ParseNumber(values[kSensorAzimuth]);
        const auto vang = ParseNumber(values[kSensorIncident]);
        if (hang && vang) {
            values[kSensorOrientation] = LetterOf({*hang, *vang});
        }
    }

private:
    [[noreturn]] void Fail(std::string_view what, std::string_view text,
                           std::string_view expected) const {
        FailAtLine("The WID2 " + std::string(what) + " \"" + std::string(text) + "\" is not " +
                       std::string(expected),
                   m_lines);
    }

    // Blanks inside the date and time are read as zeros ("12:00: 4.250"), as older writers
    // leave them.
    std::string StartTime() const {
        std::string text = std::string(Field(m_line, wid2::kDate)) + ' ';
        std::string_view time = Field(m_line, wid2::kTime);
        text += TrimBlanks(time);
        for (std::size_t i = 11; i < text.size(); ++i) {
            text[i] = text[i] == ' ' ? '0' : text[i];
        }
        const auto start = ParseTimeText(text);
        if (!start) {
            Fail("date and time", text, "a valid time");
        }
        return FormatTimeText(*start);
    }

    std::int64_t Count() const {
        const auto count = ParseSampleCount(Field(m_line, wid2::kSamples));
        if (!count) {
            Fail("sample count", Field(m_line, wid2::kSamples), "a whole number");
        }
        return *count;
    }

    double Rate() const {
        const auto rate = ParseNumber(Field(m_line, wid2::kRate));
        if (!rate || !(*rate > 0.0) || !std::isfinite(*rate)) {
            Fail("sampling rate", Field(m_line, wid2::kRate), "a positive number");
        }
        return *rate;
    }

    SampleText Text() const {
        const std::string type = ToUpper(Field(m_line, wid2::kDataType));
        if (type == "CM6") {
            return SampleText::Cm6;
        }
        if (type != "INT") {
            Fail("data type", type, "CM6 or INT");
        }
        return SampleText::Int;
    }

    // Blank fields are common and leave the property empty.
    std::string NumberText(Columns columns, std::string_view what) const {
        const std::string_view text = TrimBlanks(Field(m_line, columns));
        if (text.empty()) {
            return {};
        }
        const auto number = ParseNumber(text);
        if (!number) {
            Fail(what, text, "a number");
        }
        return NumberToText(*number);
    }

    std::string_view m_line;
    const LineReader& m_lines;
};

// STA2 is optional and often filled with placeholders (-99 latitude, -999 longitude, -.999
// elevation), which mean unknown; words that are not numbers are skipped.
void ReadSta2(std::string_view line, HeaderValues& values) {
    values[kNetworkAffiliation] = TrimBlanks(Field(line, sta2::kNetwork));
    std::vector<double> numbers;
    std::string_view rest = line.size() >= sta2::kNumbersFrom ? line.substr(sta2::kNumbersFrom - 1)
                                                              : std::string_view();
    while (!(rest = TrimBlanks(rest)).empty()) {
        const std::string_view word = rest.substr(0, rest.find_first_of(" \t"));
        if (const auto number = ParseNumber(word)) {
            numbers.push_back(*number);
        }
        rest.remove_prefix(word.size());
    }
    const auto number = [&numbers](std::size_t index) {
        return index < numbers.size() ? std::optional(numbers[index]) : std::nullopt;
    };
    if (const auto latitude = Coordinate(number(0), kMostLatitude)) {
        values[kSensorLatitude] = NumberToText(*latitude);
    }
    if (const auto longitude = Coordinate(number(1), kMostLongitude)) {
        values[kSensorLongitude] = NumberToText(*longitude);
    }
    if (numbers.size() > 2 && numbers[2] != kUnknownElevationKm) {
        // Kilometres to metres, kept to the millimetre so that 0.254 km reads as 254 m.
        values[kSensorElevation] = NumberToText(RoundHalfEven(numbers[2] * 1e6) / 1e3);
    }
}

// A GSE2.0 file read block by block.
class GseFile {
public:
    explicit GseFile(const std::filesystem::path& path) : m_lines(path) {}
    bool IsOpen() const { return m_lines.IsOpen(); }

    // Reads the next block's header lines, up to and including DAT2; false at the end of the
    // file. Lines between blocks (a STOP, blank lines) are passed over.
    bool NextBlock(GseBlock& block) {
        std::string_view line;
        do {
            if (!m_lines.Next(line)) {
                return false;
            }
            line = WithoutLeadingReturn(line);
        } while (!StartsWithId(line, "WID2"));
        const std::string wid2Line = JoinedLine(line, m_lines);
        Wid2Reader(wid2Line, m_lines).Read(block);
        while (m_lines.Next(line)) {
            line = WithoutLeadingReturn(line);
            if (StartsWithId(line, "DAT2")) {
                return true;
            }
            if (StartsWithId(line, "WID2")) {
                break;
            }
            if (StartsWithId(line, "STA2")) {
                ReadSta2(JoinedLine(line, m_lines), block.values);
            }
        }
        FailAtLine("No DAT2 line follows the WID2 line", m_lines);
    }

    void SkipData() { SkipToChecksumLine(m_lines); }

    Gse2DataReader Data(const GseBlock& block) {
        return Gse2DataReader(m_lines, block.text, block.count);
    }

private:
    LineReader m_lines;
};

// Every block's header is read and checked; its data are only passed over to the CHK2 line.
std::vector<HeaderValues> LoadHeaderGse(const std::filesystem::path& path) {
    std::vector<HeaderValues> channels;
    try {
        GseFile file(path);
        if (!file.IsOpen()) {
            throw std::runtime_error("Can't open the file.");
        }
        GseBlock block;
        while (file.NextBlock(block)) {
            file.SkipData();
            channels.push_back(block.values);
        }
    } catch (const std::runtime_error& error) {
        throw HeaderLoadError(kLoaderName, error.what());
    }
    if (channels.empty()) {
        throw HeaderLoadError(kLoaderName, "The file holds no WID2 line (1).");
    }
    return channels;
}

void ReadGse(ReaderContext& context) {
    GseFile file(context.InputPath());
    if (!file.IsOpen()) {
        throw std::runtime_error(CantOpenInputFile(context.InputPath()));
    }
    GseBlock block;
    for (int channel = 0; channel < context.ChannelCount() && file.NextBlock(block); ++channel) {
        OutputFile out = context.OpenChannelFile(channel);
        if (!CopyDataSamples(file.Data(block), out, context)) {
            return;
        }
        out.Close();
    }
}

// ---- Writing -------------------------------------------------------------------------------

// The number in at most `width` characters, right-justified, with as many of `decimals` as fit.
std::optional<std::string> FittedNumber(double value, int width, int decimals, char style) {
    const char format[] = {'%', '*', '.', '*', style, '\0'};
    for (int places = decimals; places >= 0; --places) {
        char text[64];
        const int length = std::snprintf(text, sizeof text, format, width, places, value);
        if (length <= width) {
            return std::string(text);
        }
    }
    return std::nullopt;
}

struct NumberColumn {
    double value;
    int width;
    int decimals;
    char style;
    const char* what;
};

std::string ColumnText(const NumberColumn& column) {
    const auto text = FittedNumber(column.value, column.width, column.decimals, column.style);
    if (!text) {
        throw std::runtime_error("The " + std::string(column.what) + " " +
                                 NumberToText(column.value) + " does not fit its WID2 column.");
    }
    return *text;
}

// The first sample's time to the millisecond, as WID2 holds it.
std::string DateAndTimeText(const HeaderValues& values) {
    const std::string& text = values[kStartTime];
    const auto start = ParseTimeText(text);
    if (!start || start->time.year > 9999) {
        throw std::runtime_error("The start time \"" + text + "\" is not a valid time.");
    }
    DateTime time = start->time;
    int millisecond = static_cast<int>(RoundHalfEven(start->tenThousandths / 10.0));
    if (millisecond == 1000) {
        time = AddSeconds(time, 1);
        millisecond = 0;
    }
    char line[32];
    std::snprintf(line, sizeof line, "%04d/%02d/%02d %02d:%02d:%02d.%03d", time.year, time.month,
                  time.day, time.hour, time.minute, time.second, millisecond);
    return line;
}

constexpr std::int64_t kMaxSamples = 99999999; // eight columns
constexpr FormatLimits kGseLimits{0, 0, kMaxSamples, true};

// A text field, cut to its width and padded with blanks.
std::string TextColumn(std::string_view text, std::size_t width) {
    std::string column(text.substr(0, width));
    column.resize(width, ' ');
    return column;
}

// The location code goes into the auxiliary id only when it is a code (a place name, as PSN
// files hold there, is not).
std::string AuxIdOf(const HeaderValues& values) {
    const std::string_view location = TrimBlanks(values[kSensorLocation]);
    const std::size_t width = wid2::kAuxId.last - wid2::kAuxId.first + 1;
    return location.size() <= width && location.find(' ') == std::string_view::npos
               ? std::string(location)
               : std::string();
}

// The count's eight columns.
std::string CountColumn(std::int64_t count) {
    char samples[32];
    std::snprintf(samples, sizeof samples, "%8lld", static_cast<long long>(count));
    return samples;
}

struct Wid2Line {
    std::string text;
    std::size_t countAt; // where the count's columns start
};

Wid2Line MakeWid2Line(const HeaderValues& values, SampleText text, std::int64_t count) {
    const Angles angles = AnglesOf(values);
    std::string line = "WID2 " + DateAndTimeText(values);
    line += ' ' + TextColumn(TrimBlanks(values[kStationCode]), 5);
    line += ' ' + TextColumn(TrimBlanks(values[kComponentName]), 3);
    line += ' ' + TextColumn(AuxIdOf(values), 4);
    line += text == SampleText::Cm6 ? " CM6 " : " INT ";
    const std::size_t countAt = line.size();
    line += CountColumn(count);
    line += ' ' + ColumnText({RequiredRate(values, "GSE2.0"), 11, 6, 'f', "sampling rate"});
    line +=
        ' ' + ColumnText({HeaderNumber(values, kSensorSensitivity).value_or(kDefaultCalibration),
                          10, 4, 'e', "calibration"});
    line += ' ' + ColumnText({HeaderNumber(values, kSensorFreePeriod).value_or(kDefaultCalibration),
                              7, 3, 'f', "calibration period"});
    line += ' ' + TextColumn(TrimBlanks(values[kSensorType]), 6);
    line += ' ' + ColumnText({angles.hang, 5, 1, 'f', "horizontal orientation"});
    line += ' ' + ColumnText({angles.vang, 4, 1, 'f', "vertical orientation"});
    return {line, countAt};
}

// Written when the header knows the network or where the station stands; unknown numbers get
// the usual placeholders, and numbers wider than their columns widen them.
std::optional<std::string> Sta2Line(const HeaderValues& values) {
    const std::string_view network = TrimBlanks(values[kNetworkAffiliation]);
    const auto latitude = Coordinate(HeaderNumber(values, kSensorLatitude), kMostLatitude);
    const auto longitude = Coordinate(HeaderNumber(values, kSensorLongitude), kMostLongitude);
    const auto elevation = HeaderNumber(values, kSensorElevation);
    if (network.empty() && !latitude && !longitude && !elevation) {
        return std::nullopt;
    }
    char line[160];
    std::snprintf(line, sizeof line, "STA2 %-9.9s %9.5f %10.5f %-12s ",
                  std::string(network).c_str(), latitude.value_or(kUnknownLatitude),
                  longitude.value_or(kUnknownLongitude), latitude || longitude ? "WGS-84" : "");
    std::string text = line;
    if (elevation) {
        std::snprintf(line, sizeof line, "%5.3f", *elevation / kMetresPerKm);
        text += line;
    } else {
        text += "-.999";
    }
    return text + " 0.000";
}

void WriteGse(WriterContext& context, SampleText text) {
    OutputFile out = CreateMultichannelOutput(context);
    for (int channel = 1; channel <= context.ChannelCount(); ++channel) {
        context.BeginChannel(channel);
        ChannelFileReader in = context.OpenChannel(channel);
        // The count goes first, and is corrected in place once the samples are written.
        const std::int64_t announced = CountToState(
            out, context, channel,
            std::min(ParseSampleCount(in.Header()[kNumberOfSamples]).value_or(0), kMaxSamples));
        if (announced > kMaxSamples) {
            FailCountBeyond(kMaxSamples, in.Header(), "GSE2.0");
        }
        const Wid2Line wid2Line = MakeWid2Line(in.Header(), text, announced);
        const std::uint64_t countAt = out.Position() + wid2Line.countAt;
        out.Line(wid2Line.text);
        if (const auto sta2Line = Sta2Line(in.Header())) {
            out.Line(*sta2Line);
        }
        out.Line("DAT2");
        const auto count = WriteSampleText(text, in, out, &context);
        if (!count) {
            return;
        }
        if (*count > kMaxSamples) {
            FailCountBeyond(kMaxSamples, in.Header(), "GSE2.0");
        }
        if (*count != announced) {
            const std::string column = CountColumn(*count);
            out.Overwrite(countAt, column.data(), column.size());
        }
    }
    out.Close();
}

void WriteGseCm6(WriterContext& context) {
    WriteGse(context, SampleText::Cm6);
}

void WriteGseInt(WriterContext& context) {
    WriteGse(context, SampleText::Int);
}

} // namespace

const FormatCodec kGseCm6Codec = {LoadHeaderGse, ReadGse, WriteGseCm6, kGseLimits};
const FormatCodec kGseIntCodec = {LoadHeaderGse, ReadGse, WriteGseInt, kGseLimits};

} // namespace vibrex
