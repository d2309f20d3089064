#include "app/Settings.h"

#include "io/FileIO.h"
#include "io/Numbers.h"
#include "io/ProgramFolders.h"

#include <variant>

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

using Value = std::variant<std::string Settings::*, std::int32_t Settings::*, bool Settings::*>;

struct Key {
    const char* name;
    Value value;
};

// Every key, in the order they are written.
const Key kKeys[] = {
    {"Input path", &Settings::inputPath},
    {"Input format", &Settings::inputFormat},
    {"Output path", &Settings::outputPath},
    {"Startup logo", &Settings::startupLogo},
    {"Merge files", &Settings::merge},
    {"Invert signal polarity", &Settings::invertPolarity},
    {"Apply output format to all files", &Settings::applyToAll},
    {"Save each file in the original folder", &Settings::originalFolder},
    {"WAV amplification factor", &Settings::wavFactor},
    {"WAV bit count", &Settings::wavBitCount},
    {"WAV sample rate", &Settings::wavSamplingRate},
    {"Window geometry", &Settings::windowGeometry},
    {"Splitter sizes", &Settings::splitterSizes},
    {"Column widths", &Settings::columnWidths},
};

void Read(Settings& settings, const Value& value, std::string_view text) {
    if (const auto* member = std::get_if<std::string Settings::*>(&value)) {
        settings.*(*member) = text;
    } else if (const auto* number = std::get_if<std::int32_t Settings::*>(&value)) {
        settings.*(*number) = RoundToInt32(ParseNumber(text).value_or(0)).value_or(0);
    } else {
        settings.*std::get<bool Settings::*>(value) = ReadBoolean(text);
    }
}

std::string Written(const Settings& settings, const Value& value) {
    if (const auto* member = std::get_if<std::string Settings::*>(&value)) {
        return settings.*(*member);
    }
    if (const auto* number = std::get_if<std::int32_t Settings::*>(&value)) {
        return std::to_string(settings.*(*number));
    }
    return settings.*std::get<bool Settings::*>(value) ? "True" : "False";
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
        const std::string_view name = line.substr(0, equals);
        for (const Key& key : kKeys) {
            if (name == key.name) {
                Read(settings, key.value, line.substr(equals + 1));
            }
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
        for (const Key& key : kKeys) {
            out.Line(std::string(key.name) + "=" + Written(settings, key.value));
        }
        out.Close();
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

} // namespace vibrex
