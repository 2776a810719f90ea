#include "engine/Parameters.h"

#include "engine/NumberText.h"
#include "vocabulary/Help.h"
#include "vocabulary/Quote.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

namespace Vel::Engine {

namespace {

/// A number as T, if T can hold it. Floating types accept every number.
template <class T>
std::optional<T> As(const Value& value) {
    if (const bool* flag = std::get_if<bool>(&value); flag != nullptr && std::is_integral_v<T>)
        return static_cast<T>(*flag ? 1 : 0);
    const auto fromWhole = [](auto whole) {
        if constexpr (std::is_integral_v<T>)
            return std::in_range<T>(whole) ? std::optional<T>(static_cast<T>(whole)) : std::nullopt;
        else
            return std::optional<T>(static_cast<T>(whole));
    };
    if (const std::int64_t* whole = std::get_if<std::int64_t>(&value))
        return fromWhole(*whole);
    if (const std::uint64_t* whole = std::get_if<std::uint64_t>(&value))
        return fromWhole(*whole);
    if constexpr (std::is_floating_point_v<T>)
        if (const double* number = std::get_if<double>(&value))
            if (std::abs(*number) <= std::numeric_limits<T>::max())
                return static_cast<T>(*number);
    return std::nullopt;
}

/// The form in which a sample of type T is passed as a variable argument.
template <class T>
Argument Promote(T value) {
    if constexpr (std::is_floating_point_v<T>)
        return static_cast<double>(value);
    else if constexpr (sizeof(T) == 8)
        return value;
    else if constexpr (std::is_signed_v<T>)
        return static_cast<std::int32_t>(value);
    else
        return static_cast<std::uint32_t>(value);
}

bool IsFinite(const std::array<double, 2>& pair) { return std::isfinite(pair[0]) && std::isfinite(pair[1]); }

/// Puts the parameters of one operation in order.
class Ordering {
public:
    Ordering(const Operation& itsOperation, char itsType, const ParametersByName& itsValues,
             const std::string& itsPlace)
        : operation(itsOperation), type(itsType), values(itsValues), place(itsPlace) {}

    OrderedParameters Run() && {
        RefuseUnknown();
        const std::size_t count = CountPassed();
        for (const Parameter& parameter : operation.parameters.first(count))
            Pass(parameter);
        return std::move(ordered);
    }

private:
    const Value* Given(const Parameter& parameter) const {
        const auto found = values.find(parameter.name);
        return found == values.end() ? nullptr : &found->second;
    }

    [[noreturn]] void Refuse(const std::string& what) const {
        throw Error(place, what,
                    "the parameters of " + std::string(operation.name) + " are\n" + DescribeParameters(operation));
    }
    [[noreturn]] void RefuseValue(const Parameter& parameter, const std::string& what) const {
        Refuse("parameter \"" + std::string(parameter.name) + "\" " + what);
    }

    void RefuseUnknown() const {
        for (const auto& [name, value] : values)
            if (std::none_of(operation.parameters.begin(), operation.parameters.end(),
                             [&, &key = name](const Parameter& parameter) { return parameter.name == key; }))
                Refuse("unknown parameter " + Quoted(name));
    }

    /// How many parameters to pass: up to the last one that is given or has a default.
    std::size_t CountPassed() const {
        std::size_t count = 0;
        for (std::size_t i = 0; i < operation.parameters.size(); ++i) {
            const Parameter& parameter = operation.parameters[i];
            const Default::Kind otherwise = parameter.otherwise.kind;
            const bool isPaired =
                otherwise == Default::Kind::Paired && i > 0 && Given(operation.parameters[i - 1]) != nullptr;
            const bool hasValue = otherwise != Default::Kind::Omitted && otherwise != Default::Kind::Paired;
            if (Given(parameter) != nullptr || hasValue || isPaired)
                count = i + 1;
        }
        return count;
    }

    void Pass(const Parameter& parameter) {
        const Value* const given = Given(parameter);
        if (given == nullptr) {
            PassDefault(parameter);
            return;
        }
        CheckRange(parameter, *given);
        if (std::holds_alternative<bool>(*given) && parameter.kind != ParameterKind::Flag)
            RefuseValue(parameter, "is no flag, so it cannot be true or false");
        switch (parameter.kind) {
        case ParameterKind::Number:
            return Add('D', Need<double>(parameter, *given));
        case ParameterKind::Sample:
            return WithType(type, [&]<class T>(T) { Add(type, Promote(Need<T>(parameter, *given))); });
        case ParameterKind::Count:
            return Add('L', Need<std::uint32_t>(parameter, *given));
        case ParameterKind::Mask:
            return Add('Q', Need<std::uint64_t>(parameter, *given));
        case ParameterKind::Flag:
            return Add('L', Need<std::uint32_t>(parameter, *given));
        case ParameterKind::PackedSeconds:
            return Add('F', VelPackFloat32(Need<float>(parameter, *given)));
        case ParameterKind::Curve:
            return PassCurve(parameter, Pairs(parameter, *given));
        case ParameterKind::GearTable:
            return PassGears(parameter, Pairs(parameter, *given));
        }
    }

    void PassDefault(const Parameter& parameter) {
        const Default& otherwise = parameter.otherwise;
        switch (otherwise.kind) {
        case Default::Kind::Required:
        case Default::Kind::Omitted:
        case Default::Kind::Paired:
            RefuseValue(parameter, "is missing");
        case Default::Kind::Lowest:
            return WithType(type, [this]<class T>(T) { Add(type, Promote(std::numeric_limits<T>::lowest())); });
        case Default::Kind::Highest:
            return WithType(type, [this]<class T>(T) { Add(type, Promote(std::numeric_limits<T>::max())); });
        case Default::Kind::Number:
            break;
        }
        if (parameter.kind == ParameterKind::Number)
            Add('D', otherwise.number);
        else if (parameter.kind == ParameterKind::Count)
            Add('L', static_cast<std::uint32_t>(otherwise.number));
        else
            WithType(type, [&]<class T>(T) { Add(type, Promote(static_cast<T>(otherwise.number))); });
    }

    void PassCurve(const Parameter& parameter, const std::vector<std::array<double, 2>>& points) {
        if (!std::is_sorted(points.begin(), points.end(), [](const auto& a, const auto& b) { return a[0] < b[0]; }))
            RefuseValue(parameter, "is not in ascending order of x");
        for (const auto& [x, y] : points) {
            Add(type, x);
            Add(type, y);
        }
    }
    void PassGears(const Parameter& parameter, const std::vector<std::array<double, 2>>& gears) {
        for (const auto& gear : gears)
            if (gear[1] != std::nearbyint(gear[1]) || std::abs(gear[1]) > std::numeric_limits<std::int8_t>::max())
                RefuseValue(parameter, "has a gear that is no SInt8");
        const GearTable& table = ordered.tables.emplace_back(gears);
        const std::string& name = ordered.texts.emplace_back(table.FileName());
        Add('S', static_cast<const void*>(name.c_str()));
    }

    /// A parameter's number, given or default; empty if it is not a number.
    std::optional<double> NumberOf(std::string_view name) const {
        if (name.empty())
            return std::nullopt;
        const auto parameter = std::find_if(operation.parameters.begin(), operation.parameters.end(),
                                            [name](const Parameter& candidate) { return candidate.name == name; });
        if (const Value* const given = Given(*parameter))
            return As<double>(*given);
        if (parameter->otherwise.kind == Default::Kind::Number)
            return parameter->otherwise.number;
        return std::nullopt;
    }

    void CheckRange(const Parameter& parameter, const Value& value) const {
        const auto number = As<double>(value);
        if (!number)
            return;
        const Range& range = parameter.range;
        if (*number < range.least)
            RefuseValue(parameter, range.least == 0  ? "is negative"
                                   : range.least < 1 ? "is not above 0"
                                                     : "is below " + Text(range.least));
        if (*number > range.most)
            RefuseValue(parameter, "is above " + Text(range.most));
        if (range.excludesZero && *number == 0)
            RefuseValue(parameter, "is 0");
        const auto bits = As<std::uint64_t>(value);
        constexpr std::size_t mostBytes = sizeof(std::uint64_t);
        if (const std::size_t bytes = TypeOf(type).size;
            range.hasBitsOfType && bits && bytes < mostBytes && *bits >> (8 * bytes) != 0)
            RefuseValue(parameter,
                        "has bits that the operand, of type " + std::string(TypeOf(type).name) + ", has not");
        if (const auto bound = NumberOf(range.notBelow);
            bound && *number < *bound) // beyond 2^53 only as exact as a double
            RefuseValue(parameter, "is below \"" + std::string(range.notBelow) + "\", " + Text(*bound));
        if (const auto bound = NumberOf(range.above); bound && *number <= *bound)
            RefuseValue(parameter, "is not above \"" + std::string(range.above) + "\", " + Text(*bound));
        if (const auto bound = NumberOf(range.belowHalf); bound && *number >= *bound / 2)
            RefuseValue(parameter,
                        "is not below half of \"" + std::string(range.belowHalf) + "\", " + Text(*bound / 2));
    }

    template <class T>
    T Need(const Parameter& parameter, const Value& value) const {
        if (const auto converted = As<T>(value))
            return *converted;
        RefuseValue(parameter, std::is_integral_v<T> ? "is no whole number within its type" : "is no number");
    }
    const std::vector<std::array<double, 2>>& Pairs(const Parameter& parameter, const Value& value) const {
        const auto* const pairs = std::get_if<std::vector<std::array<double, 2>>>(&value);
        if (pairs == nullptr || pairs->empty())
            RefuseValue(parameter, "is no list of pairs of numbers");
        if (!std::all_of(pairs->begin(), pairs->end(), IsFinite))
            RefuseValue(parameter, "has a number that is not finite");
        return *pairs;
    }

    void Add(char letter, Argument argument) { ordered.list.Add(letter, argument); }

    const Operation& operation;
    const char type;
    const ParametersByName& values;
    const std::string& place;
    OrderedParameters ordered;
};

} // namespace

OrderedParameters OrderParameters(const Operation& operation, char type, const ParametersByName& given,
                                  const std::string& place) {
    return Ordering(operation, type, given, place).Run();
}

} // namespace Vel::Engine
