#pragma once

#include "io/FileIO.h"

#include <string>

namespace vibrex {

// "YYYY-MM-DD_HH-MM-SS_STATION_COMPONENT" from the header of an intermediate channel file.
std::string BuildAutomaticName(LineReader channelFile);

} // namespace vibrex
