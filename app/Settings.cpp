#include "app/Settings.h"

#include "io/FileIO.h"
#include "io/Numbers.h"
#include "io/ProgramFolders.h"

namespace vibrex {

std::filesystem::path SettingsFilePath() {
    return LocateProgramFolders().settingsFile;
}

namespace {

bool ReadBoolean(std::string_view text) {
    const std::string upper = ToUpper(TrimBlanks(text));
    if (upper == "TRUE") {
        return true;
    }
    const auto number = ParseNumber(text);
    return number && *number != 0;
}

} // namespace

Settings LoadSettings(const std::filesystem::path& file) {
    Settings settings;
    LineReader lines(file);
    std::string_view line;
    while (lines.Next(line)) {
        const std::size_t equals = line.find('=');
        if (equals == std::string_view::npos) {
            continue;
        }
        const std::string_view key = line.substr(0, equals);
        const std::string_view value = line.substr(equals + 1);
        if (key == "Input path") {
            settings.inputPath = value;
        } else if (key == "Output path") {
            settings.outputPath = value;
        } else if (key == "Input format") {
            settings.inputFormat = RoundToInt32(ParseNumber(value).value_or(0)).value_or(0);
        } else if (key == "Startup logo") {
            settings.startupLogo = ReadBoolean(value);
        }
    }
    return settings;
}

bool SaveSettings(const Settings& settings, const std::filesystem::path& file) {
    try {
        std::error_code ignored; // an installed copy's configuration folder may not exist yet
        std::filesystem::create_directories(file.parent_path(), ignored);
        OutputFile out(file);
        if (!out.IsOpen()) {
            return false;
        }
        out.Line("Input path=" + settings.inputPath);
        out.Line("Input format=" + std::to_string(settings.inputFormat));
        out.Line("Output path=" + settings.outputPath);
        out.Line(std::string("Startup logo=") + (settings.startupLogo ? "True" : "False"));
        out.Close();
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

} // namespace vibrex
