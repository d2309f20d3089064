#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// Calendar arithmetic and the time texts of the system ("YYYY/MM/DD HH:MM:SS" with an optional
// fraction of a second after a ".").
namespace vibrex {

struct DateTime {
    int year = 1980;
    int month = 1;
    int day = 1;
    int hour = 0;
    int minute = 0;
    int second = 0;

    bool operator==(const DateTime&) const = default;
};

std::int64_t DaysFromCivil(int year, int month, int day);
DateTime DateFromDays(std::int64_t days);
bool IsLeapYear(int year);
int DayOfYear(const DateTime& date);
// Day `dayOfYear` (1 = 1 January) of `year`; days past the end of the year run into the next.
DateTime DateFromYearDay(int year, int dayOfYear);

// A valid date and time, to the second, with "/" or "-" between the date fields; a fraction
// of a second is not accepted here.
std::optional<DateTime> ParseDateTime(std::string_view text);
DateTime AddSeconds(const DateTime& time, std::int64_t seconds);
// "YYYY/MM/DD HH:MM:SS"
std::string FormatDateTime(const DateTime& time);

// A time to the ten-thousandth of a second, the resolution of the system's time texts.
struct PreciseTime {
    DateTime time;
    int tenThousandths = 0; // 0..9999

    bool operator==(const PreciseTime&) const = default;
};

// "YYYY/MM/DD HH:MM:SS" with an optional "." and fraction: up to four digits are ten-thousandths
// (a shorter fraction is padded with zeros on the right), further digits are dropped.
std::optional<PreciseTime> ParseTimeText(std::string_view text);
// "YYYY/MM/DD HH:MM:SS.ffff"
std::string FormatTimeText(const PreciseTime& time);

// The time `seconds` later, the fraction of the duration rounded half to even to a
// ten-thousandth: whole seconds are added first, then the fraction with its carry.
PreciseTime AddSecondsToTime(const PreciseTime& time, double seconds);
// The same on a time text; nothing when the text is not a valid time.
std::optional<std::string> AddSecondsToTime(std::string_view text, double seconds);

// Seconds from `from` to `to`, negative when `to` is earlier.
double SecondsBetween(const PreciseTime& from, const PreciseTime& to);

} // namespace vibrex
