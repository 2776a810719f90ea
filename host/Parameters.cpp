#include "host/Parameters.h"

#include "host/Failure.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

namespace Velreplay {

namespace {

/// A number as T, if it is one of its values. Floating types take every number.
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

/// The form in which a sample of type T travels as a variable argument.
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

/// Puts one operation's parameters in order, one after the other.
class Ordering {
public:
    Ordering(const Operation& itsOperation, char itsType, const ComputationPlan& itsPlan)
        : operation(itsOperation), type(itsType), plan(itsPlan) {}

    OrderedParameters Run() && {
        RefuseUnknown();
        const std::size_t count = CountPassed();
        for (const Parameter& parameter : operation.parameters.first(count))
            Pass(parameter);
        return std::move(ordered);
    }

private:
    const Value* Given(const Parameter& parameter) const {
        const auto found = plan.parameters.find(parameter.name);
        return found == plan.parameters.end() ? nullptr : &found->second;
    }

    [[noreturn]] void Refuse(const std::string& what) const {
        throw Failure(plan.place, what,
                      "the parameters of " + std::string(operation.name) + " are\n" + DescribeParameters(operation));
    }
    [[noreturn]] void RefuseValue(const Parameter& parameter, const std::string& what) const {
        Refuse("parameter \"" + std::string(parameter.name) + "\" " + what);
    }

    void RefuseUnknown() const {
        for (const auto& [name, value] : plan.parameters)
            if (std::none_of(operation.parameters.begin(), operation.parameters.end(),
                             [&, &key = name](const Parameter& parameter) { return parameter.name == key; }))
                Refuse("unknown parameter \"" + name + "\"");
    }

    /// How many parameters are passed: up to the last one that is given or has a value otherwise.
    std::size_t CountPassed() const {
        std::size_t count = 0;
        for (std::size_t i = 0; i < operation.parameters.size(); ++i) {
            const Parameter& parameter = operation.parameters[i];
            const bool withPrevious = parameter.otherwise == paired && count == i;
            if (Given(parameter) != nullptr || (parameter.otherwise != omitted && parameter.otherwise != paired) ||
                (withPrevious && i > 0 && Given(operation.parameters[i - 1]) != nullptr))
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
        switch (parameter.kind) {
        case ParameterKind::Number:
            return Add('D', Need<double>(parameter, *given));
        case ParameterKind::Sample:
            return std::visit([&](auto samples) { PassSample(parameter, *given, samples); }, SamplesOfType(type));
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
        if (parameter.otherwise == required || parameter.otherwise == omitted || parameter.otherwise == paired)
            RefuseValue(parameter, "is missing");
        const std::string_view text = parameter.otherwise;
        const double number = text == "1" ? 1.0 : 0.0; // the defaults that there are besides the bounds
        if (parameter.kind == ParameterKind::Number)
            Add('D', number);
        else if (parameter.kind == ParameterKind::Count)
            Add('L', static_cast<std::uint32_t>(number));
        else
            std::visit([&](auto samples) { PassDefaultSample(text, number, samples); }, SamplesOfType(type));
    }

    template <class T>
    void PassDefaultSample(std::string_view text, double number, const Samples<T>&) {
        using Limits = std::numeric_limits<T>;
        Add(type, Promote(text == "lowest"    ? Limits::lowest()
                          : text == "highest" ? Limits::max()
                                              : static_cast<T>(number)));
    }
    template <class T>
    void PassSample(const Parameter& parameter, const Value& value, const Samples<T>&) {
        Add(type, Promote(Need<T>(parameter, value)));
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

    void CheckRange(const Parameter& parameter, const Value& value) const {
        const auto number = As<double>(value);
        if (number && !(*number >= parameter.least && *number <= parameter.most))
            RefuseValue(parameter, "is out of range");
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
        return *pairs;
    }

    void Add(char letter, Argument argument) { ordered.list.Add(letter, argument); }

    const Operation& operation;
    const char type;
    const ComputationPlan& plan;
    OrderedParameters ordered;
};

} // namespace

OrderedParameters OrderParameters(const Operation& operation, char type, const ComputationPlan& plan) {
    return Ordering(operation, type, plan).Run();
}

} // namespace Velreplay
