#include "ui/TimeAxis.h"

#include "io/TimeText.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace vibrex {
namespace {

constexpr double kDay = 86400;

// Round steps in seconds, from a millisecond to a hundred days.
constexpr double kTimeSteps[] = {
    0.001,    0.002,    0.005,     0.01,      0.02,      0.05,      0.1,   0.2,   0.5,
    1,        2,        5,         10,        15,        30,        60,    120,   300,
    600,      900,      1800,      3600,      7200,      10800,     21600, 43200, kDay,
    2 * kDay, 5 * kDay, 10 * kDay, 20 * kDay, 50 * kDay, 100 * kDay};

// 1, 2 or 5 times a power of ten, so that at most about `count` ticks span `span`.
double DecimalStep(double span, int count) {
    const double raw = span / std::max(1, count);
    const double magnitude = std::pow(10.0, std::floor(std::log10(raw)));
    for (const double factor : {1.0, 2.0, 5.0}) {
        if (factor * magnitude >= raw) {
            return factor * magnitude;
        }
    }
    return 10 * magnitude;
}

double TimeStep(double span, int count) {
    const double raw = span / std::max(1, count);
    for (const double step : kTimeSteps) {
        if (step >= raw) {
            return step;
        }
    }
    return DecimalStep(span / kDay, count) * kDay;
}

QString TwoDigits(std::int64_t value) {
    return QString::number(value).rightJustified(2, QLatin1Char('0'));
}

// The date alone for steps of days and at midnight; else the time of day to the step's digits.
QString TimeLabel(double seconds, double step) {
    const auto whole = static_cast<std::int64_t>(std::floor(seconds + 1e-7));
    const std::int64_t days = whole >= 0 ? whole / 86400 : (whole - 86399) / 86400;
    const std::int64_t ofDay = whole - days * 86400;
    if (step >= kDay || (ofDay == 0 && seconds - static_cast<double>(whole) < 1e-6)) {
        const DateTime date = DateFromDays(days);
        return QString::number(date.year) + QLatin1Char('/') + TwoDigits(date.month) +
               QLatin1Char('/') + TwoDigits(date.day);
    }
    QString label = TwoDigits(ofDay / 3600) + QLatin1Char(':') + TwoDigits(ofDay / 60 % 60);
    if (step < 60) {
        label += QLatin1Char(':') + TwoDigits(ofDay % 60);
    }
    if (step < 1) {
        const int digits = static_cast<int>(std::ceil(-std::log10(step) - 1e-9));
        const double fraction = seconds - static_cast<double>(whole);
        const auto scaled =
            static_cast<std::int64_t>(std::llround(fraction * std::pow(10, digits)));
        label +=
            QLatin1Char('.') + QString::number(scaled).rightJustified(digits, QLatin1Char('0'));
    }
    return label;
}

} // namespace

std::optional<double> StartSeconds(const ChannelPreview& channel) {
    const auto time = ParseTimeText(channel.startTime);
    if (!time) {
        return std::nullopt;
    }
    const DateTime& t = time->time;
    return static_cast<double>(DaysFromCivil(t.year, t.month, t.day)) * kDay + t.hour * 3600.0 +
           t.minute * 60.0 + t.second + time->tenThousandths / 10000.0;
}

TimeAxis::TimeAxis(const std::vector<const WaveformPreview*>& previews) {
    std::vector<const ChannelPreview*> channels;
    for (const WaveformPreview* preview : previews) {
        for (const ChannelPreview& channel : preview->channels) {
            channels.push_back(&channel);
        }
    }
    if (channels.empty()) {
        return;
    }
    const bool rated = std::all_of(channels.begin(), channels.end(), [](const auto* channel) {
        return channel->samplesPerSecond > 0;
    });
    const bool timed = rated && std::all_of(channels.begin(), channels.end(), [](const auto* c) {
                           return StartSeconds(*c).has_value();
                       });
    m_unit = timed ? Unit::Time : rated ? Unit::Seconds : Unit::Samples;
    if (timed) {
        m_origin = std::numeric_limits<double>::max();
        for (const ChannelPreview* channel : channels) {
            m_origin = std::min(m_origin, *StartSeconds(*channel));
        }
    }
    for (const ChannelPreview* channel : channels) {
        m_span = std::max(m_span, StartOf(*channel) + LengthOf(*channel));
    }
}

double TimeAxis::StartOf(const ChannelPreview& channel) const {
    return m_unit == Unit::Time ? StartSeconds(channel).value_or(m_origin) - m_origin : 0;
}

double TimeAxis::LengthOf(const ChannelPreview& channel) const {
    const auto samples = static_cast<double>(channel.envelope.Count());
    return m_unit == Unit::Samples ? samples : samples / channel.samplesPerSecond;
}

std::vector<TimeAxis::Tick> TimeAxis::Ticks(int count) const {
    std::vector<Tick> ticks;
    if (m_span <= 0) {
        return ticks;
    }
    if (m_unit != Unit::Time) {
        const double step = DecimalStep(m_span, count);
        for (double at = 0; at <= m_span * (1 + 1e-9); at += step) {
            ticks.push_back({at, QString::number(at, 'g', 8)});
        }
        return ticks;
    }
    const double step = TimeStep(m_span, count);
    // Ticks fall on round times of day, counted from midnight 1970 so that days line up.
    for (double index = std::ceil(m_origin / step - 1e-9); index * step <= m_origin + m_span;
         ++index) {
        const double at = index * step;
        ticks.push_back({at - m_origin, TimeLabel(at, step)});
    }
    return ticks;
}

QString TimeAxis::WidestLabel() const {
    return m_unit == Unit::Time ? QStringLiteral("00:00:00.000") : QStringLiteral("00000000");
}

QString TimeAxis::Title() const {
    switch (m_unit) {
    case Unit::Time: {
        const PreciseTime start =
            AddSecondsToTime(PreciseTime{DateTime{1970, 1, 1, 0, 0, 0}, 0}, m_origin);
        return QStringLiteral("Earliest start ") + QString::fromStdString(FormatTimeText(start)) +
               QStringLiteral(", span ") + QString::number(m_span, 'f', m_span < 10 ? 3 : 1) +
               QStringLiteral(" s");
    }
    case Unit::Seconds:
        return QStringLiteral("Seconds from each channel's start");
    case Unit::Samples:
        break;
    }
    return QStringLiteral("Samples");
}

} // namespace vibrex
