#pragma once

#include <filesystem>
#include <string>

namespace vibrex {

// "YYYY-MM-DD_HH-MM-SS_STATION_COMPONENT" from an intermediate channel file's header.
std::string BuildAutomaticName(const std::filesystem::path& channelFile);

} // namespace vibrex
