#include "engine/HeaderProperties.h"

namespace vibrex {

namespace {

struct PropertyNames {
    std::string_view displayName;
    std::string_view label;
};

// Property 24 is shown as "Sensor Station Code" but written as "Station Code: ".
constexpr std::array<PropertyNames, kHeaderPropertiesCount> kProperties = {{
    {"Start Time", "Start Time: "},
    {"Number of Samples", "Number of Samples: "},
    {"SPS", "SPS: "},
    {"Lock Indicator", "Lock Indicator: "},
    {"Time Reference Type", "Time Reference Type: "},
    {"Comment", "Comment: "},
    {"A/D Converter Bits", "A/D Converter Bits: "},
    {"Data Maximum", "Data Maximum: "},
    {"Data Minimum", "Data Minimum: "},
    {"Sensor Location", "Sensor Location: "},
    {"Sensor Latitude", "Sensor Latitude: "},
    {"Sensor Longitude", "Sensor Longitude: "},
    {"Sensor Elevation", "Sensor Elevation: "},
    {"Sensor Orientation", "Sensor Orientation: "},
    {"Sensor Incident", "Sensor Incident: "},
    {"Sensor Azimuth", "Sensor Azimuth: "},
    {"Sensor Type", "Sensor Type: "},
    {"Sensor Measurement Unit", "Sensor Measurement Unit: "},
    {"Sensor Sensitivity", "Sensor Sensitivity: "},
    {"Sensor ID", "Sensor ID: "},
    {"Magnitude Correction", "Magnitude Correction: "},
    {"Component Name", "Component Name: "},
    {"Network Affiliation", "Network Affiliation: "},
    {"Datalogger", "Datalogger: "},
    {"Sensor Station Code", "Station Code: "},
    {"Sensor Generator Constant", "Sensor Generator Constant: "},
    {"Sensor Free Period", "Sensor Free Period: "},
    {"Sensor Damping Factor", "Sensor Damping Factor: "},
    {"Ch Gain", "Ch Gain: "},
    {"Ch Filter Frequency", "Ch Filter Frequency: "},
    {"Ch Filter Poles", "Ch Filter Poles: "},
    {"Offset", "Offset: "},
}};

bool EqualsUpper(std::string_view upper, std::string_view name) {
    if (upper.size() != name.size()) {
        return false;
    }
    for (std::size_t i = 0; i < name.size(); ++i) {
        const char c = name[i];
        const char u = (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c;
        if (upper[i] != u) {
            return false;
        }
    }
    return true;
}

} // namespace

std::string_view HeaderPropertyDisplayName(int property) {
    return property >= 0 && property < kHeaderPropertiesCount ? kProperties[property].displayName
                                                              : std::string_view();
}

std::string_view HeaderPropertyLabel(int property) {
    return property >= 0 && property < kHeaderPropertiesCount ? kProperties[property].label
                                                              : std::string_view();
}

int HeaderPropertyForKey(std::string_view upperKey) {
    if (upperKey == "STATION CODE") {
        return kStationCode;
    }
    for (int i = 0; i < kHeaderPropertiesCount; ++i) {
        if (EqualsUpper(upperKey, kProperties[i].displayName)) {
            return i;
        }
    }
    return -1;
}

bool IsHeaderPropertyAvailable(FileFormat outputFormat, int property) {
    const FormatEntry* entry = FindFormat(outputFormat);
    return entry != nullptr && property >= 0 && property < kHeaderPropertiesCount &&
           (entry->carriedProperties >> property & 1U) != 0;
}

} // namespace vibrex
