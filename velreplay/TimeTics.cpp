#include "velreplay/TimeTics.h"

#include "recordings/Times.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>

namespace Velreplay {

namespace {

using namespace std::chrono;
using Vel::Recordings::Zone;

constexpr sys_days epoch = year(2000) / 1 / 1;
constexpr std::int64_t mostTics = 10;
constexpr double furthest = 250e9; // s, some 8000 years

/// The step from tic to tic: a number of months, or a time if that is 0.
struct Step {
    microseconds time{0};
    months calendar{0};
};

Step StepFor(microseconds range) {
    for (microseconds decade(1); decade < 1s; decade *= 10)
        for (const int part : {1, 2, 5})
            if (range / (part * decade) <= mostTics)
                return {part * decade, {}};
    static constexpr std::array<seconds, 20> steps{1s,    2s,    5s, 10s, 15s, 30s, 1min, 2min,    5min,    10min,
                                                   15min, 30min, 1h, 2h,  3h,  6h,  12h,  days(1), days(2), days(5)};
    for (const seconds step : steps)
        if (range / step <= mostTics)
            return {step, {}};
    for (const int step : {1, 2, 3, 6, 12, 24, 60, 120, 240, 600, 1200, 2400, 6000})
        if (range / months(step) <= mostTics)
            return {{}, months(step)};
    return {{}, months(12000)};
}

/// Local times since the epoch, in order.
std::vector<microseconds> RoundTimes(microseconds first, microseconds last, const Step& step) {
    std::vector<microseconds> times;
    if (step.time != 0s) {
        const auto before = floor<days>(first); // so that tics are the same on each day
        for (microseconds time = step.time < days(1) ? before + (first - before) / step.time * step.time
                                                     : floor<days>(first / step.time * step.time);
             time <= last; time += step.time)
            times.push_back(time);
        return times;
    }
    const auto countedMonths = [](year_month_day day) {
        return static_cast<int>(day.year()) * 12 + static_cast<int>(static_cast<unsigned>(day.month())) - 1;
    };
    const auto count = static_cast<int>(step.calendar.count());
    for (int month = countedMonths(epoch + floor<days>(first)) / count * count;; month += count) {
        const sys_days day = year(month / 12) / std::chrono::month(static_cast<unsigned>(month % 12 + 1)) / 1;
        if (day - epoch > last)
            return times;
        times.emplace_back(day - epoch);
    }
}

std::string TimeOfDay(microseconds time, microseconds step) {
    const hh_mm_ss<microseconds> parts(time);
    std::array<char, 32> text{};
    int length = std::snprintf(text.data(), text.size(), "%02d:%02d", static_cast<int>(parts.hours().count()),
                               static_cast<int>(parts.minutes().count()));
    if (step < 1min)
        length += std::snprintf(text.data() + length, text.size() - static_cast<std::size_t>(length), ":%02d",
                                static_cast<int>(parts.seconds().count()));
    std::string shown(text.data(), static_cast<std::size_t>(length));
    if (step < 1s) {
        std::snprintf(text.data(), text.size(), ".%06d", static_cast<int>(parts.subseconds().count()));
        shown += text.data();
        for (microseconds decade(10); step % decade == 0s; decade *= 10)
            shown.pop_back();
    }
    return shown;
}

std::string Date(year_month_day date) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%04d-%02u-%02u", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()));
    return text.data();
}

microseconds Rounded(double time) { return microseconds(std::llround(time * 1e6)); }

} // namespace

std::vector<Tic> TimeTics(double lowest, double highest, const Vel::TimeForm& form) {
    if (!(lowest > -furthest && highest < furthest))
        return {};
    Zone zone(form.isLocal ? "" : form.zone, "plot");
    const auto offsetAt = [&zone](double time) {
        return seconds(zone.OffsetAt(static_cast<std::int64_t>(std::floor(time))));
    };
    const microseconds range = Rounded(highest) - Rounded(lowest);
    const Step step = StepFor(range == 0s ? 10ms : range); // a single time is shown with milliseconds
    const bool isFine = step.time != 0s && step.time < 1s; // then one UTC offset serves the whole axis
    const seconds atStart = offsetAt(lowest);
    const seconds atEnd = isFine ? atStart : offsetAt(highest);
    const auto times =
        RoundTimes(Rounded(lowest) + std::min(atStart, atEnd), Rounded(highest) + std::max(atStart, atEnd), step);
    std::vector<Tic> tics;
    std::string lastDate;
    for (const microseconds wall : times) {
        const auto second = floor<seconds>(wall);
        const auto moments = zone.MomentsOf(second.count());
        const seconds utc = isFine ? second - atStart : seconds(moments.earlier);
        const double at = static_cast<double>((utc + (wall - second)).count()) / 1e6;
        if ((moments.count == 0 && !isFine) || at < lowest || at > highest)
            continue;
        const auto day = floor<days>(wall);
        const std::string date = Date(epoch + day);
        const bool hasTime = step.time != 0s && step.time < days(1);
        tics.push_back({at, hasTime ? TimeOfDay(wall - day, step.time) : "", date == lastDate ? "" : date});
        lastDate = date;
    }
    return tics;
}

std::string ZoneName(const Vel::TimeForm& form) { return form.isLocal ? "" : form.zone.empty() ? "UTC" : form.zone; }

} // namespace Velreplay
