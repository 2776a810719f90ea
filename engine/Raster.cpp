#include "engine/Raster.h"

#include "engine/NumberText.h"
#include "vocabulary/Quote.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace Vel::Engine {

namespace {

constexpr double never = -std::numeric_limits<double>::infinity();
constexpr double stalePeriods = 10;
constexpr double tolerance = 1e-9;     // of a step, in addition to the rounding of the times
constexpr double mostUnseen = 1.0 / 3; // of all rows; with jitter some of them come in pairs

/// The largest difference between two numbers that represent the same time.
double RoundingOf(double time) { return 4 * std::numeric_limits<double>::epsilon() * std::abs(time); }

/// Whether a step in time is longer than `most`. From 0.6 to 0.9 is not longer than 0.3, though the difference is
/// larger by a rounding error.
bool IsLonger(double from, double to, double most) {
    return to - from > most * (1 + tolerance) + std::max(RoundingOf(from), RoundingOf(to));
}

} // namespace

Raster::Raster(const Plan& itsPlan, std::vector<ChannelAtWork> itsInputs, std::size_t itsMostRows)
    : plan(*itsPlan.raster), mostRows(itsMostRows) {
    const auto isTime = [this](const InputPlan& input) { return input.channel.name == plan.time; };
    const auto found = std::find_if(itsPlan.inputs.begin(), itsPlan.inputs.end(), isTime);
    if (found == itsPlan.inputs.end())
        throw Error(plan.place, "the plan has no input " + Quoted(plan.time) + " for the time of the raster",
                    "name an input that tells the time of each row");
    if (found->channel.Type().letter != 'D' || (found->time && found->time->isLocal))
        throw Error(plan.place, "the time of the raster, " + Quoted(plan.time) + ", is no Float64 in UTC",
                    "give the input the type Time or Float64; wall time jumps when clocks change");
    timeInput = static_cast<std::size_t>(found - itsPlan.inputs.begin());
    for (std::size_t i = 0; i < itsInputs.size(); ++i) {
        const InputPlan& input = itsPlan.inputs[i];
        const bool isOfRaster = input.time && input.column == found->column; // the same times, perhaps in local time
        tracks.push_back({itsInputs[i], isTime(input) || (isOfRaster && !input.time->isLocal) ? Way::Time
                                        : isOfRaster                                          ? Way::WallTime
                                        : input.isInterpolated                                ? Way::Line
                                                                                              : Way::Last});
    }
    sources.reserve(mostRows);
}

void Raster::Take(std::span<const Column> itsColumns, std::size_t rows) {
    rowsBefore += given;
    columns = itsColumns;
    given = rows;
    next = 0;
}

void Raster::End() { hasEnded = true; }

double Raster::TimeOf(std::int64_t number) const { return std::fma(static_cast<double>(number), plan.period, origin); }

std::size_t Raster::Make() {
    if (made != 0)
        isRestart = false;
    madeBefore += made;
    made = 0;
    sources.clear();
    for (; next < given; ++next) {
        const std::optional<double> time = NextTime();
        if (!time)
            continue;
        RefuseTooLate(*time);
        if (!last) {
            Begin(*time);
        } else if (IsLonger(std::min(*time, *last), std::max(*time, *last), plan.maxStep)) {
            if (!MakeLast() || made != 0) // the rows before the step get a block of their own
                return made;
            if (!plan.beginsAnewOnStep)
                throw Error(plan.place + ", row " + std::to_string(rowsBefore + next + 1) + " of the recording",
                            "the time steps by " + Text(*time - *last) + " s, from " + Text(*last) + " to " +
                                Text(*time),
                            "a step above max_step, " + Text(plan.maxStep) +
                                " s, is an error; raise it, or begin anew there with on_step = \"reset\"");
            Begin(*time);
            isRestart = true;
        } else if (*time < *last) {
            outOfOrder.Add(rowsBefore + next + 1);
            continue;
        } else if (!MakeBelow(*time)) {
            return made;
        }
        See(*time);
    }
    if (hasEnded && last)
        MakeLast();
    return made;
}

/// The time of the next row, if it has one.
std::optional<double> Raster::NextTime() {
    const double time = columns[timeInput].At<double>(next);
    if (std::isfinite(time) && !IsNoValue(time, std::get<double>(tracks[timeInput].input.channel->noValue)))
        return time;
    withoutTime.Add(rowsBefore + next + 1);
    return std::nullopt;
}

/// Throws if the time is so large that rows of the raster would have equal times.
void Raster::RefuseTooLate(double time) const {
    constexpr double leastSteps = 2;
    if (std::abs(time) * std::numeric_limits<double>::epsilon() * leastSteps <= plan.period)
        return;
    const double step = std::nextafter(std::abs(time), std::numeric_limits<double>::infinity()) - std::abs(time);
    throw Error(plan.place,
                "the period, " + Text(plan.period) + " s, is too short for times such as " + Text(time) +
                    ", which have steps of " + Text(step) + " s",
                "choose a longer period, or times that count from a later moment");
}

/// Begins a raster at this time, or at the first multiple of the period from there on.
void Raster::Begin(double time) {
    origin = plan.isAligned ? 0 : time;
    row = plan.isAligned ? static_cast<std::int64_t>(std::ceil(time / plan.period)) : 0;
    while (!IsBefore(TimeOf(row - 1), time))
        --row;
    while (IsBefore(TimeOf(row), time))
        ++row;
    lastMade = never;
    for (Track& track : tracks)
        track.isThere = false;
}

/// Whether a row of the raster is before this time. Row times such as 3 * 0.3 may be below 0.9 by a rounding error.
bool Raster::IsBefore(double rowTime, double time) const {
    return time - rowTime > plan.period * tolerance + RoundingOf(time);
}

/// Takes the samples of the next row. A missing one ends the sample before it, once a row of the raster has used that.
/// It ends interpolation at once.
void Raster::See(double time) {
    if (last && IsBefore(lastMade, *last) && *last < time)
        unseen.Add(lastSource + 1);
    ++taken;
    for (std::size_t i = 0; i < tracks.size(); ++i)
        std::visit(
            [&, &track = tracks[i]]<class T>(T noValue) {
                const T sample = columns[i].At<T>(next);
                if (!IsNoValue(sample, noValue)) {
                    track.sample.Set(sample);
                    track.time = time;
                    track.isThere = true;
                    track.isEnding = false;
                } else if (track.way == Way::Line || !IsBefore(lastMade, track.time)) {
                    track.isThere = false;
                } else {
                    track.isEnding = true;
                }
            },
            tracks[i].input.channel->noValue);
    last = time;
    lastSource = rowsBefore + next;
}

/// Computes the rows before the next row of the recording, which is at `end`. False if there is no room for all of
/// them.
bool Raster::MakeBelow(double end) {
    while (IsBefore(TimeOf(row), end)) {
        if (made == mostRows)
            return false;
        Write(TimeOf(row), end);
    }
    return true;
}

/// Computes the row at the last time of the recording, if there is one. False if there is no room for it.
bool Raster::MakeLast() {
    if (IsBefore(*last, TimeOf(row)))
        return true;
    if (made == mostRows)
        return false;
    Write(TimeOf(row), std::nullopt);
    return true;
}

/// Computes the next row. `end` is the time of the next row of the recording, if there is one.
void Raster::Write(double time, std::optional<double> end) {
    for (std::size_t input = 0; input < tracks.size(); ++input)
        std::visit(
            [&]<class T>(T noValue) {
                Samples<T>(*tracks[input].input.column)[made] = SampleAt(input, noValue, time, end);
            },
            tracks[input].input.channel->noValue);
    for (Track& track : tracks)
        track.isThere = track.isThere && !track.isEnding;
    sources.push_back(lastSource);
    lastMade = time;
    ++made;
    ++row;
}

template <Sample T>
T Raster::SampleAt(std::size_t input, T noValue, double time, std::optional<double> end) {
    const Track& track = tracks[input];
    if constexpr (std::is_same_v<T, double>)
        if (track.way == Way::Time)
            return time;
    if (!track.isThere)
        return noValue;
    const T sample = track.sample.Get<T>();
    if (!IsBefore(track.time, time))
        return sample;
    if constexpr (std::is_floating_point_v<T>) {
        if (track.way == Way::WallTime) // UTC offsets are whole seconds
            return static_cast<T>(time + std::nearbyint(sample - track.time));
        if (track.way == Way::Line) {
            if (!end || IsLonger(track.time, *end, plan.maxGap) || IsNoValue(columns[input].At<T>(next), noValue))
                return noValue;
            const double share = (time - track.time) / (*end - track.time);
            return static_cast<T>(std::lerp(double{sample}, double{columns[input].At<T>(next)}, share));
        }
    }
    if (IsLonger(track.time, time, plan.maxGap))
        return noValue;
    if (std::isinf(plan.maxGap) && IsLonger(track.time, time, stalePeriods * plan.period))
        stale.Add(madeBefore + made + 1);
    return sample;
}

std::vector<Warning> Raster::FindWarnings() const {
    std::vector<Warning> warnings;
    const auto warn = [&](const Count& count, const std::string& what) {
        if (count.rows != 0)
            warnings.push_back({plan.time, what, count.firstRow, count.rows});
    };
    warn(outOfOrder, "rows of the recording that go back in time are left out");
    warn(withoutTime, "rows of the recording without a time are left out");
    if (static_cast<double>(unseen.rows) > mostUnseen * static_cast<double>(taken))
        warn(unseen,
             "rows of the recording come between two of the raster and are not seen; a shorter period sees them");
    warn(stale, "samples more than " + Text(stalePeriods) + " periods old stand in; max_gap in [raster] ends that");
    return warnings;
}

} // namespace Vel::Engine
