#include "io/TimeText.h"

#include "io/Numbers.h"

#include <charconv>
#include <cmath>
#include <cstdio>

namespace vibrex {

// Days since 1970-01-01 in the proleptic Gregorian calendar (H. Hinnant's civil algorithm).
std::int64_t DaysFromCivil(int year, int month, int day) {
    const std::int64_t y = static_cast<std::int64_t>(year) - (month <= 2 ? 1 : 0);
    const std::int64_t era = (y >= 0 ? y : y - 399) / 400;
    const std::int64_t yearOfEra = y - era * 400;
    const std::int64_t dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    const std::int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * 146097 + dayOfEra - 719468;
}

DateTime DateFromDays(std::int64_t days) {
    days += 719468;
    const std::int64_t era = (days >= 0 ? days : days - 146096) / 146097;
    const std::int64_t dayOfEra = days - era * 146097;
    const std::int64_t yearOfEra =
        (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const std::int64_t monthIndex = (5 * dayOfYear + 2) / 153;
    DateTime date;
    date.day = static_cast<int>(dayOfYear - (153 * monthIndex + 2) / 5 + 1);
    date.month = static_cast<int>(monthIndex < 10 ? monthIndex + 3 : monthIndex - 9);
    date.year = static_cast<int>(yearOfEra + era * 400 + (date.month <= 2 ? 1 : 0));
    return date;
}

bool IsLeapYear(int year) {
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

int DayOfYear(const DateTime& date) {
    return static_cast<int>(DaysFromCivil(date.year, date.month, date.day) -
                            DaysFromCivil(date.year, 1, 1)) +
           1;
}

DateTime DateFromYearDay(int year, int dayOfYear) {
    return DateFromDays(DaysFromCivil(year, 1, 1) + dayOfYear - 1);
}

namespace {

bool ReadField(std::string_view& text, int digitsMin, int digitsMax, int& value) {
    std::size_t length = 0;
    while (length < text.size() && length < static_cast<std::size_t>(digitsMax) &&
           text[length] >= '0' && text[length] <= '9') {
        ++length;
    }
    if (length < static_cast<std::size_t>(digitsMin)) {
        return false;
    }
    std::from_chars(text.data(), text.data() + length, value);
    text.remove_prefix(length);
    return true;
}

bool ReadSeparator(std::string_view& text, std::string_view allowed) {
    if (text.empty() || allowed.find(text.front()) == std::string_view::npos) {
        return false;
    }
    text.remove_prefix(1);
    return true;
}

int DaysInMonth(int year, int month) {
    static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && IsLeapYear(year) ? 29 : kDays[month - 1];
}

} // namespace

std::optional<DateTime> ParseDateTime(std::string_view text) {
    DateTime t;
    if (!ReadField(text, 4, 4, t.year) || !ReadSeparator(text, "/-") ||
        !ReadField(text, 1, 2, t.month) || !ReadSeparator(text, "/-") ||
        !ReadField(text, 1, 2, t.day) || !ReadSeparator(text, " T") ||
        !ReadField(text, 1, 2, t.hour) || !ReadSeparator(text, ":") ||
        !ReadField(text, 1, 2, t.minute) || !ReadSeparator(text, ":") ||
        !ReadField(text, 1, 2, t.second) || !text.empty()) {
        return std::nullopt;
    }
    if (t.month < 1 || t.month > 12 || t.day < 1 || t.day > DaysInMonth(t.year, t.month) ||
        t.hour > 23 || t.minute > 59 || t.second > 59) {
        return std::nullopt;
    }
    return t;
}

DateTime AddSeconds(const DateTime& time, std::int64_t seconds) {
    std::int64_t total = (DaysFromCivil(time.year, time.month, time.day) * 24 + time.hour) * 3600 +
                         time.minute * 60 + time.second + seconds;
    std::int64_t days = total / 86400;
    std::int64_t rest = total % 86400;
    if (rest < 0) {
        rest += 86400;
        --days;
    }
    DateTime result = DateFromDays(days);
    result.hour = static_cast<int>(rest / 3600);
    result.minute = static_cast<int>(rest / 60 % 60);
    result.second = static_cast<int>(rest % 60);
    return result;
}

std::string FormatDateTime(const DateTime& time) {
    // Room for six fields of any 32-bit value, as a damaged file header may hold.
    char text[80];
    const int length = std::snprintf(text, sizeof text, "%04d/%02d/%02d %02d:%02d:%02d", time.year,
                                     time.month, time.day, time.hour, time.minute, time.second);
    return std::string(text, static_cast<std::size_t>(length));
}

namespace {

constexpr int kTenThousandthsPerSecond = 10000;

// Up to four digits of a fraction as ten-thousandths: ".5" is 5000, ".27999" is 2799.
std::optional<int> ParseFraction(std::string_view digits) {
    int value = 0;
    for (std::size_t i = 0; i < digits.size(); ++i) {
        if (digits[i] < '0' || digits[i] > '9') {
            return std::nullopt;
        }
        if (i < 4) {
            value = value * 10 + (digits[i] - '0');
        }
    }
    for (std::size_t i = digits.size(); i < 4; ++i) {
        value *= 10;
    }
    return value;
}

} // namespace

std::optional<PreciseTime> ParseTimeText(std::string_view text) {
    const std::size_t dot = text.rfind('.');
    const auto time = ParseDateTime(text.substr(0, dot));
    const auto fraction =
        dot == std::string_view::npos ? std::optional<int>(0) : ParseFraction(text.substr(dot + 1));
    if (!time || !fraction) {
        return std::nullopt;
    }
    return PreciseTime{*time, *fraction};
}

std::string FormatTimeText(const PreciseTime& time) {
    char fraction[8];
    std::snprintf(fraction, sizeof fraction, ".%04d", time.tenThousandths);
    return FormatDateTime(time.time) + fraction;
}

PreciseTime AddSecondsToTime(const PreciseTime& time, double seconds) {
    const double whole = std::floor(seconds);
    int fraction = static_cast<int>(RoundHalfEven((seconds - whole) * kTenThousandthsPerSecond)) +
                   time.tenThousandths;
    std::int64_t carry = static_cast<std::int64_t>(whole);
    if (fraction >= kTenThousandthsPerSecond) {
        fraction -= kTenThousandthsPerSecond;
        ++carry;
    }
    return PreciseTime{AddSeconds(time.time, carry), fraction};
}

double SecondsBetween(const PreciseTime& from, const PreciseTime& to) {
    const auto secondOfDay = [](const DateTime& time) {
        return time.hour * 3600 + time.minute * 60 + time.second;
    };
    const std::int64_t days = DaysFromCivil(to.time.year, to.time.month, to.time.day) -
                              DaysFromCivil(from.time.year, from.time.month, from.time.day);
    const std::int64_t seconds = days * 86400 + secondOfDay(to.time) - secondOfDay(from.time);
    return static_cast<double>(seconds) +
           static_cast<double>(to.tenThousandths - from.tenThousandths) / kTenThousandthsPerSecond;
}

std::optional<std::string> AddSecondsToTime(std::string_view text, double seconds) {
    const auto time = ParseTimeText(text);
    if (!time) {
        return std::nullopt;
    }
    return FormatTimeText(AddSecondsToTime(*time, seconds));
}

} // namespace vibrex
