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
};

std::filesystem::path SettingsFilePath();
// Defaults for a missing file or key; unknown keys and lines without "=" are skipped.
Settings LoadSettings(const std::filesystem::path& file = SettingsFilePath());
// Returns false when the file could not be written.
bool SaveSettings(const Settings& settings, const std::filesystem::path& file = SettingsFilePath());

} // namespace vibrex
