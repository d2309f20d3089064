#pragma once

#include "engine/FormatCatalogue.h"

#include <array>
#include <string>
#include <string_view>

namespace vibrex {

inline constexpr int kHeaderPropertiesCount = 32;

// Indices of the normalised per-channel header.
enum HeaderPropertyIndex : int {
    kStartTime = 0,
    kNumberOfSamples = 1,
    kSps = 2,
    kLockIndicator = 3,
    kTimeReferenceType = 4,
    kComment = 5,
    kAdConverterBits = 6,
    kDataMaximum = 7,
    kDataMinimum = 8,
    kSensorLocation = 9,
    kSensorLatitude = 10,
    kSensorLongitude = 11,
    kSensorElevation = 12,
    kSensorOrientation = 13,
    kSensorIncident = 14,
    kSensorAzimuth = 15,
    kSensorType = 16,
    kSensorMeasurementUnit = 17,
    kSensorSensitivity = 18,
    kSensorId = 19,
    kMagnitudeCorrection = 20,
    kComponentName = 21,
    kNetworkAffiliation = 22,
    kDatalogger = 23,
    kStationCode = 24,
    kSensorGeneratorConstant = 25,
    kSensorFreePeriod = 26,
    kSensorDampingFactor = 27,
    kChGain = 28,
    kChFilterFrequency = 29,
    kChFilterPoles = 30,
    kOffset = 31,
};

// One channel's header values as text, in index order.
using HeaderValues = std::array<std::string, kHeaderPropertiesCount>;

// Display name shown in the header editor; empty for an index outside 0..31.
std::string_view HeaderPropertyDisplayName(int property);
// Label that starts the property's line in an intermediate channel file.
std::string_view HeaderPropertyLabel(int property);
// The property a header key (upper case, without the colon) names; -1 for none.
int HeaderPropertyForKey(std::string_view upperKey);
// Whether an output format can carry the property.
bool IsHeaderPropertyAvailable(FileFormat outputFormat, int property);

} // namespace vibrex
