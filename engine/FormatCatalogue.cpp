#include "engine/FormatCatalogue.h"

#include "engine/Codec.h"
#include "io/ByteOrder.h"
#include "io/FileIO.h"
#include "io/Numbers.h"

#include <algorithm>
#include <array>
#include <optional>

namespace vibrex {

namespace {

constexpr std::uint32_t Carries(std::initializer_list<int> properties) {
    std::uint32_t mask = 0;
    for (int property : properties) {
        mask |= 1U << property;
    }
    return mask;
}

constexpr std::uint32_t kCarriesAllButOffset = ~(1U << kOffset);
constexpr std::uint32_t kCarriesGse = Carries({0, 1, 2, 10, 11, 12, 13, 18, 21, 24, 26});
constexpr std::uint32_t kCarriesTraceOffset = Carries({0, 1, 2, 31});

// The catalogue, in value order. A format gains a codec here and nowhere else.
const std::array<FormatEntry, kFormatsCount - 1> kCatalogue = {{
    {FileFormat::Ondaro,
     "Ondaro",
     "ONDARO2",
     {".ond", ".dat"},
     true,
     Carries({0, 1, 2, 23, 28}),
     &kOndaroCodec},
    {FileFormat::GSECM6, "GSECM6", "", {".gse", ".dat"}, true, kCarriesGse, &kGseCm6Codec},
    {FileFormat::GSEINT, "GSEINT", "", {".gse", ".dat"}, true, kCarriesGse, &kGseIntCodec},
    {FileFormat::miniSeed,
     "miniSeed",
     "",
     {".mseed", ".dat"},
     false,
     Carries({0, 1, 2, 21, 22, 24}),
     &kMiniSeedCodec},
    {FileFormat::PSNCM6,
     "PSNCM6",
     "PSNTEXTCM6",
     {".psn", ".dat"},
     false,
     kCarriesAllButOffset,
     &kPsnCm6Codec},
    {FileFormat::PSNINT,
     "PSNINT",
     "PSNTEXTASCII",
     {".psn", ".dat"},
     false,
     kCarriesAllButOffset,
     &kPsnAsciiCodec},
    {FileFormat::SAC,
     "SAC",
     "",
     {".sac"},
     false,
     Carries({0, 1, 2, 10, 11, 12, 21, 22, 23, 24}),
     &kSacCodec},
    {FileFormat::SAF,
     "SAF",
     "",
     {".saf"},
     true,
     Carries({0, 1, 2, 13, 16, 17, 19, 24, 27, 28}),
     &kSafCodec},
    {FileFormat::SEG2, "SEG2", "", {".seg2", ".dat"}, true, kCarriesTraceOffset, &kSeg2Codec},
    {FileFormat::SU, "SU", "", {".su", ".dat"}, true, kCarriesTraceOffset, &kSuCodec},
    {FileFormat::Seisan,
     "Seisan",
     "",
     {".dat"},
     true,
     Carries({0, 1, 2, 6, 10, 11, 12, 21, 22, 24, 25, 26, 27, 28, 29, 30}),
     &kSeisanCodec},
    {FileFormat::Geonode, "Geonode", "", {".dat"}, false, 0, &kGeonodeCodec},
    {FileFormat::WAV, "WAV (Audio)", "", {".wav"}, false, Carries({1, 2, 6}), &kWavCodec},
}};

} // namespace

const FormatEntry* FindFormat(FileFormat format) {
    const auto value = static_cast<std::int32_t>(format);
    if (value < 1 || value >= kFormatsCount) {
        return nullptr;
    }
    return &kCatalogue[static_cast<std::size_t>(value - 1)];
}

std::string FileFormatToString(FileFormat format) {
    const FormatEntry* entry = FindFormat(format);
    return std::string(entry != nullptr ? entry->displayName : "Unknown");
}

FileFormat StringToFileFormat(std::string_view name) {
    const std::string upper = ToUpper(name);
    if (upper == "UNKNOWN") {
        return FileFormat::Unknown;
    }
    for (const FormatEntry& entry : kCatalogue) {
        if (upper == ToUpper(entry.displayName) || (!entry.alias.empty() && upper == entry.alias)) {
            return entry.value;
        }
    }
    return FileFormat::Unknown;
}

std::vector<std::string> GetFileFormatExtensions(FileFormat format) {
    const FormatEntry* entry = FindFormat(format);
    if (entry == nullptr) {
        return {};
    }
    return {entry->extensions.begin(), entry->extensions.end()};
}

bool IsMultichannelFormat(FileFormat format) {
    if (format == FileFormat::Unknown) {
        return false;
    }
    const FormatEntry* entry = FindFormat(format);
    return entry == nullptr || entry->multichannel;
}

namespace {

// The first field of the file as a comma-separated text reader delivers it: leading blanks
// skipped, up to the first comma or line end. Only its start matters to the tests below.
std::string FirstTextField(std::string_view text) {
    const std::size_t start = text.find_first_not_of(' ');
    if (start == std::string_view::npos) {
        return {};
    }
    text.remove_prefix(start);
    return ToUpper(text.substr(0, text.find_first_of(",\r\n")));
}

// A Fortran record marker of 80 in either byte order.
bool IsSeisan(const unsigned char* head, std::size_t length) {
    if (length < 4) {
        return false;
    }
    const bool little = head[0] == 'P' && head[1] == 0 && head[2] == 0 && head[3] == 0;
    const bool big = head[0] == 0 && head[1] == 0 && head[2] == 0 && head[3] == 'P';
    return little || big;
}

bool IsSacFileType(std::int32_t type) {
    return type == 1 || type == 2 || type == 3 || type == 4 || type == 51;
}

// The 632-byte header (158 words) followed by NPTS 4-byte samples, exactly.
bool IsSac(const unsigned char* head, std::size_t length, std::uint64_t fileSize) {
    if (fileSize < 633 || length < 344) {
        return false;
    }
    ByteOrder order = ByteOrder::Little;
    if (!IsSacFileType(LoadAs<std::int32_t>(head + 340, order))) {
        order = ByteOrder::Big;
        if (!IsSacFileType(LoadAs<std::int32_t>(head + 340, order))) {
            return false;
        }
    }
    const std::int64_t npts = LoadAs<std::int32_t>(head + 316, order);
    return static_cast<std::int64_t>(fileSize) == (npts + 158) * 4;
}

// Six characters a number (blanks and sign allowed), then the quality letter "D" and a blank.
bool IsMiniSeed(const unsigned char* head, std::size_t length, std::uint64_t fileSize) {
    if (fileSize % 512 != 0 || length < 8) {
        return false;
    }
    std::string_view sequence(reinterpret_cast<const char*>(head), 6);
    sequence = TrimBlanks(sequence);
    if (!sequence.empty() && (sequence.front() == '+' || sequence.front() == '-')) {
        sequence.remove_prefix(1);
    }
    if (sequence.empty() || sequence.find_first_not_of("0123456789") != std::string_view::npos) {
        return false;
    }
    return head[6] == 'D' && head[7] == ' ';
}

bool IsSu(const unsigned char* head, std::size_t length) {
    if (length < 240) {
        return false;
    }
    struct Range {
        std::size_t offset;
        int low;
        int high;
    };
    static constexpr Range kRanges[] = {{34, 0, 2},   {124, 0, 2},  {158, 1, 366},
                                        {160, 0, 24}, {162, 0, 60}, {164, 0, 60}};
    for (const Range& range : kRanges) {
        const int value = LoadAs<std::int16_t>(head + range.offset, ByteOrder::Little);
        if (value < range.low || value > range.high) {
            return false;
        }
    }
    return true;
}

// What the content tests look at: the first bytes of the file, its first text field, its size.
struct FileHead {
    unsigned char bytes[640];
    std::size_t length = 0;
    std::uint64_t size = 0;
    std::string field;

    bool FieldStartsWith(std::string_view prefix) const { return field.starts_with(prefix); }
    // Characters 45 to 47 of a GSE2.0 "WID2" line name its sample encoding.
    bool IsGseLine(std::string_view encoding) const {
        return FieldStartsWith("WID2") && field.size() >= 47 && field.substr(44, 3) == encoding;
    }
};

struct Detector {
    FileFormat format;
    bool (*accepts)(const FileHead& head);
};

// The content tests in their fixed order: the text signatures first, the more specific before
// the one it extends ("! PSN ASCII CM6" before "! PSN ASCII"), then the binary ones from the
// cheapest, most distinctive marker to the loosest (SU accepts any header whose six fields are
// in range).
constexpr Detector kDetectors[] = {
    {FileFormat::Ondaro, [](const FileHead& h) { return h.FieldStartsWith("TIPO="); }},
    {FileFormat::PSNCM6, [](const FileHead& h) { return h.FieldStartsWith("! PSN ASCII CM6"); }},
    {FileFormat::PSNINT, [](const FileHead& h) { return h.FieldStartsWith("! PSN ASCII"); }},
    {FileFormat::GSECM6, [](const FileHead& h) { return h.IsGseLine("CM6"); }},
    {FileFormat::GSEINT, [](const FileHead& h) { return h.IsGseLine("INT"); }},
    // "U:" are the two bytes of the little-endian SEG-2 file descriptor block identifier.
    {FileFormat::SEG2,
     [](const FileHead& h) {
         return h.field.size() > 1 && h.field[0] == 'U' && h.field[1] == ':';
     }},
    {FileFormat::SAF,
     [](const FileHead& h) { return h.FieldStartsWith("SESAME ASCII DATA FORMAT (SAF)"); }},
    {FileFormat::Geonode,
     [](const FileHead& h) {
         return h.FieldStartsWith("! STRATAREC") || h.FieldStartsWith("! GEONODE");
     }},
    {FileFormat::Seisan, [](const FileHead& h) { return IsSeisan(h.bytes, h.length); }},
    {FileFormat::SAC, [](const FileHead& h) { return IsSac(h.bytes, h.length, h.size); }},
    {FileFormat::miniSeed, [](const FileHead& h) { return IsMiniSeed(h.bytes, h.length, h.size); }},
    {FileFormat::SU, [](const FileHead& h) { return IsSu(h.bytes, h.length); }},
};

// Nothing when the file cannot be read.
std::optional<FileHead> ReadFileHead(const std::filesystem::path& path) {
    InputFile file(path);
    if (!file.IsOpen()) {
        return std::nullopt;
    }
    FileHead head;
    head.length = file.Read(head.bytes, sizeof head.bytes);
    head.size = file.Size();
    constexpr std::size_t kFieldBytes = 256;
    head.field = FirstTextField(std::string_view(reinterpret_cast<const char*>(head.bytes),
                                                 std::min(head.length, kFieldBytes)));
    return head;
}

} // namespace

FileFormat GuessFileFormat(const std::filesystem::path& path) noexcept {
    const auto matches = MatchingFormats(path);
    return matches.empty() ? FileFormat::Unknown : matches.front();
}

std::vector<FileFormat> MatchingFormats(const std::filesystem::path& path) noexcept {
    std::vector<FileFormat> matches;
    try {
        const auto head = ReadFileHead(path);
        for (const Detector& detector : kDetectors) {
            if (head && detector.accepts(*head)) {
                matches.push_back(detector.format);
            }
        }
    } catch (...) {
        matches.clear();
    }
    return matches;
}

} // namespace vibrex
