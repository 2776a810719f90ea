#include "engine/Duration.h"

#include "engine/NumberText.h"
#include "vocabulary/Quote.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

namespace Vel::Engine {

namespace {

/// A unit is `factor` seconds, or a second is `factor` units. The factor is whole, so converting rounds only once.
struct Unit {
    std::string_view name;
    double factor;
    bool isShorter;
};
constexpr Unit units[] = {{"us", 1e6, true},  {"ms", 1e3, true},  {"s", 1, false},
                          {"min", 60, false}, {"h", 3600, false}, {"d", 86400, false}};

/// The whole number that differs from this one only by rounding, if there is one.
std::optional<std::uint64_t> AsWhole(double number) {
    constexpr double most = 1e-9;
    constexpr double roundings = 4;
    const double whole = std::nearbyint(number);
    const double tolerance = std::max(most, whole * roundings * std::numeric_limits<double>::epsilon());
    if (!(whole >= 0) || whole >= 0x1p63 || std::abs(number - whole) > tolerance)
        return std::nullopt;
    return static_cast<std::uint64_t>(whole);
}

std::string NameOf(const Parameter& parameter) { return "parameter " + Quoted(parameter.name); }

Value Converted(const Parameter& parameter, const Duration& duration, std::optional<double> period,
                const std::string& place) {
    if (parameter.unit == "s")
        return duration.seconds;
    if (parameter.unit == "samples")
        return static_cast<std::int64_t>(RowsIn(duration, period, place, NameOf(parameter)));
    if (parameter.unit == "ms") {
        constexpr double perSecond = 1000;
        if (const auto whole = AsWhole(duration.seconds * perSecond))
            return static_cast<std::int64_t>(*whole);
        throw Error(place, NameOf(parameter) + " is no whole number of milliseconds: " + duration.text,
                    "it counts milliseconds");
    }
    throw Error(place, NameOf(parameter) + " is no time in seconds, so it cannot be " + duration.text,
                "write a number in its unit: " + std::string(parameter.unit));
}

} // namespace

const char* const durationHint = "a duration is a number with us, ms, s, min, h or d behind it: \"10 s\"";

std::optional<Duration> ParseDuration(std::string_view text) {
    double number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || !std::isfinite(number))
        return std::nullopt;
    std::string_view unit(stop, static_cast<std::size_t>(end - stop));
    unit.remove_prefix(std::min(unit.find_first_not_of(' '), unit.size()));
    const auto* const known = std::find_if(std::begin(units), std::end(units),
                                           [unit](const Unit& candidate) { return candidate.name == unit; });
    if (known == std::end(units))
        return std::nullopt;
    return Duration{known->isShorter ? number / known->factor : number * known->factor, std::string(text)};
}

std::uint64_t RowsIn(const Duration& duration, std::optional<double> period, const std::string& place,
                     const std::string& owner) {
    if (!period)
        throw Error(place, owner + " cannot be " + duration.text + ", since nothing says how far rows are apart",
                    "add sample_period to [plan], or a [raster]; or write the number of rows");
    if (const auto rows = AsWhole(duration.seconds / *period); rows && *rows != 0)
        return *rows;
    throw Error(place, owner + " is no whole number of rows above 0: " + duration.text,
                "rows are " + Text(*period) + " s apart; write a multiple");
}

std::uint64_t HoldRows(const Value& hold, std::optional<double> period, const std::string& place) {
    std::uint64_t rows = 0;
    if (const auto* const duration = std::get_if<Duration>(&hold))
        rows = RowsIn(*duration, period, place, "\"hold\"");
    else if (const auto* const whole = std::get_if<std::int64_t>(&hold); whole != nullptr && *whole > 0)
        rows = static_cast<std::uint64_t>(*whole);
    if (rows == 0)
        throw Error(place, "\"hold\" is no number of rows above 0", "write hold = 5, or hold = \"5 s\"");
    return rows;
}

void Complete(ParametersByName& parameters, const Operation& operation, std::optional<double> period,
              const std::string& place) {
    for (const Parameter& parameter : operation.parameters) {
        const auto given = parameters.find(parameter.name);
        if (given != parameters.end()) {
            if (const auto* const duration = std::get_if<Duration>(&given->second))
                given->second = Converted(parameter, *duration, period, place);
        } else if (parameter.isRowTime && period) {
            parameters.emplace(parameter.name, parameter.unit == "Hz" ? 1 / *period : *period);
        }
    }
}

} // namespace Vel::Engine
