#include "engine/AutomaticName.h"

#include "engine/ChannelFile.h"
#include "io/FileIO.h"
#include "io/TimeText.h"

#include <cstdio>

namespace vibrex {

namespace {

// The system's own "YYYY/MM/DD HH:MM:SS", or the month-first form of the default start time
// that loaders without a date write ("01/01/1980 00:00:00").
std::optional<DateTime> ParseNameTime(std::string_view text) {
    if (auto time = ParseDateTime(text)) {
        return time;
    }
    if (text.size() >= 10 && text[2] == '/' && text[5] == '/') {
        std::string yearFirst(text.substr(6, 4));
        yearFirst += '/';
        yearFirst += text.substr(0, 5);
        yearFirst += text.substr(10);
        return ParseDateTime(yearFirst);
    }
    return std::nullopt;
}

std::string FormatNameTime(const DateTime& time) {
    char text[40];
    const int length = std::snprintf(text, sizeof text, "%04d-%02d-%02d_%02d-%02d-%02d", time.year,
                                     time.month, time.day, time.hour, time.minute, time.second);
    return std::string(text, static_cast<std::size_t>(length));
}

// The start time as a name, tried once more without its fraction of a second.
std::string TimePart(const std::string& startTime) {
    if (auto time = ParseNameTime(startTime)) {
        return FormatNameTime(*time);
    }
    const std::string cut = startTime.substr(0, startTime.rfind('.'));
    if (auto time = ParseNameTime(cut)) {
        return FormatNameTime(*time);
    }
    return cut;
}

// A header value must not turn the name into a path into other folders.
std::string WithoutSeparators(std::string name) {
    for (char& c : name) {
        if (c == '/') {
            c = '-';
        }
    }
    return name;
}

} // namespace

std::string BuildAutomaticName(LineReader channelFile) {
    HeaderValues header;
    ReadHeaderBlock(channelFile, header);
    return WithoutSeparators(TimePart(header[kStartTime]) + "_" + header[kStationCode] + "_" +
                             header[kComponentName]);
}

} // namespace vibrex
