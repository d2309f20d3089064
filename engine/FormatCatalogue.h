#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace vibrex {

enum class FileFormat : std::int32_t {
    Unknown = 0,
    Ondaro = 1,
    GSECM6 = 2,
    GSEINT = 3,
    miniSeed = 4,
    PSNCM6 = 5,
    PSNINT = 6,
    SAC = 7,
    SAF = 8,
    SEG2 = 9,
    SU = 10,
    Seisan = 11,
    Geonode = 12,
    WAV = 13, // output only
};

inline constexpr int kFormatsCount = 14;

struct FormatCodec;

// One row of the catalogue: everything the system knows about a format, in one place.
struct FormatEntry {
    FileFormat value;
    std::string_view displayName;
    std::string_view alias;                   // an extra accepted name, or empty
    std::vector<std::string_view> extensions; // the first is used for output names
    bool multichannel;
    std::uint32_t carriedProperties; // bit i: the format can carry header property i
    const FormatCodec* codec;        // null while the format has no codec
};

// The row of a real format (1..13); null for Unknown and for values outside the catalogue.
const FormatEntry* FindFormat(FileFormat format);

std::string FileFormatToString(FileFormat format);
FileFormat StringToFileFormat(std::string_view name);
std::vector<std::string> GetFileFormatExtensions(FileFormat format);
bool IsMultichannelFormat(FileFormat format);

// The format of a file by its content; Unknown when nothing matches or the file cannot be read.
FileFormat GuessFileFormat(const std::filesystem::path& path) noexcept;
// Every format whose content test accepts the file, each test tried on its own, in detection
// order (GuessFileFormat takes the first): shows where two tests overlap.
std::vector<FileFormat> MatchingFormats(const std::filesystem::path& path) noexcept;

} // namespace vibrex
