#pragma once

#include "engine/Preview.h"

#include <QString>
#include <optional>
#include <vector>

namespace vibrex {

// One time axis for every trace of a preview, from the earliest channel start to the latest
// channel end, so that each trace is drawn where its samples lie in time. A recording and its
// output beside it share one, so a shortened or shifted output shows as such.
//
// Traces stand at their true start when every channel has a rate and a start time; with a rate
// but no readable start they all begin at 0 s; without a rate the axis counts samples.
class TimeAxis {
public:
    enum class Unit { Time, Seconds, Samples };

    TimeAxis() = default;
    explicit TimeAxis(const std::vector<const WaveformPreview*>& previews);

    Unit AxisUnit() const { return m_unit; }
    // The axis's length, in seconds or samples; 0 when there is nothing to draw.
    double Span() const { return m_span; }
    // Where the channel's first sample lies, and how long it runs, in the axis's unit.
    double StartOf(const ChannelPreview& channel) const;
    double LengthOf(const ChannelPreview& channel) const;

    struct Tick {
        double at; // in the axis's unit, from its origin
        QString label;
    };
    // About `count` ticks or fewer, on round values: absolute times at whole milliseconds to
    // days, labelled with the time of day (the date at midnight and for steps of days).
    std::vector<Tick> Ticks(int count) const;
    // The widest tick label this axis can give, to space the ticks.
    QString WidestLabel() const;
    // Under the ticks: what they count from.
    QString Title() const;

private:
    Unit m_unit = Unit::Samples;
    double m_origin = 0; // seconds since 1970 of the earliest start, for Unit::Time
    double m_span = 0;
};

// A channel's start time as seconds since 1970, when its text is a valid time.
std::optional<double> StartSeconds(const ChannelPreview& channel);

} // namespace vibrex
