#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

// The user's settings file, "Vibrex.ini" (where LocateProgramFolders puts it): one "Key=value"
// line each.
namespace vibrex {

struct Settings {
    std::string inputPath;
    std::int32_t inputFormat = 0;
    std::string outputPath;
    bool startupLogo = false;

    // The window's options, kept after the four keys above; a file without them still loads.
    bool merge = false;
    bool invertPolarity = false;
    bool applyToAll = false;
    bool originalFolder = false;
    std::int32_t wavFactor = 1;
    std::int32_t wavBitCount = 32;
    std::int32_t wavSamplingRate = 0;
    // Measures of the window as text of whole numbers separated by ",": left, top, width and
    // height; the grid's and the preview's heights; the grid's column widths. Empty: not saved.
    std::string windowGeometry;
    std::string splitterSizes;
    std::string columnWidths;

    bool operator==(const Settings&) const = default;
};

std::filesystem::path SettingsFilePath();
// Defaults for a missing file or key; unknown keys and lines without "=" are skipped.
Settings LoadSettings(const std::filesystem::path& file = SettingsFilePath());
// Returns false when the file could not be written.
bool SaveSettings(const Settings& settings, const std::filesystem::path& file = SettingsFilePath());

} // namespace vibrex
