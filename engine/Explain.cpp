#include "engine/Engine.h"
#include "vocabulary/Vocabulary.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>

namespace Vel::Engine {

namespace {

/// A text as a quoted TOML string.
std::string TextInQuotes(std::string_view text) {
    std::string quoted = "\"";
    for (const char character : text) {
        if (static_cast<unsigned char>(character) < ' ' || character == '\x7f') {
            std::array<char, 8> escaped{};
            std::snprintf(escaped.data(), escaped.size(), "\\u%04X", static_cast<unsigned>(character));
            quoted += escaped.data();
            continue;
        }
        if (character == '"' || character == '\\')
            quoted += '\\';
        quoted += character;
    }
    return quoted + '"';
}

std::string List(const std::vector<std::string>& names) {
    std::string list;
    for (const std::string& name : names)
        list += (list.empty() ? "" : ", ") + TextInQuotes(name);
    return "[" + list + "]";
}

/// Writes a number so that it reads back with all its bits and as the same kind.
template <class T>
std::string Number(T number) {
    std::array<char, 40> text{};
    std::string digits(text.data(), std::to_chars(text.data(), text.data() + text.size(), number).ptr);
    if constexpr (std::is_floating_point_v<T>) {
        if (digits.find_first_of(".einf") == std::string::npos)
            digits += ".0";
    } else if constexpr (sizeof number == sizeof(std::uint64_t) && std::is_unsigned_v<T>) {
        if (!std::in_range<std::int64_t>(number)) // TOML does not have them
            digits = TextInQuotes(digits);
    }
    return digits;
}

/// Writes a Float32 as the equal Float64, since TOML has only that.
std::string Written(const AnySample& sample) {
    return std::visit(
        []<class T>(T value) {
            if constexpr (std::is_same_v<T, float>)
                return Number(static_cast<double>(value));
            else
                return Number(value);
        },
        sample);
}

std::string Written(const std::vector<std::array<double, 2>>& pairs) {
    std::string list;
    for (const auto& [x, y] : pairs)
        list += (list.empty() ? "[" : ", [") + Number(x) + ", " + Number(y) + "]";
    return "[" + list + "]";
}

std::string Written(const Value& value) {
    return std::visit(
        []<class T>(const T& held) -> std::string {
            if constexpr (std::is_same_v<T, bool>)
                return held ? "true" : "false";
            else if constexpr (std::is_arithmetic_v<T>)
                return Number(held);
            else if constexpr (std::is_same_v<T, Duration>)
                return TextInQuotes(held.text);
            else
                return Written(held);
        },
        value);
}

bool IsSame(const AnySample& a, const AnySample& b) {
    return std::visit([&b]<class T>(T sample) { return IsNoValue(sample, std::get<T>(b)); }, a);
}

/// Writes the keys that all channels have.
std::string TypeOfChannel(const Channel& channel, std::string_view type) {
    std::string text = "type = " + TextInQuotes(type) + "\n";
    if (!IsSame(channel.noValue, DefaultNoValue(channel.Type().letter)))
        text += "no_value = " + Written(channel.noValue) + "\n";
    return text;
}

std::string Written(const TimeForm& form) {
    std::string text;
    if (form.kind == TimeForm::Kind::Pattern)
        text += "format = " + TextInQuotes(form.pattern) + "\n";
    else if (form.kind != TimeForm::Kind::Iso)
        text += form.kind == TimeForm::Kind::UnixSeconds ? "format = \"unix\"\n" : "format = \"unix_ms\"\n";
    if (!form.zone.empty())
        text += "zone = " + TextInQuotes(form.zone) + "\n";
    return text + (form.isLocal ? "clock = \"local\"\n" : "");
}

std::string Held(std::uint64_t rows) { return rows == 0 ? "" : "hold = " + std::to_string(rows) + "\n"; }

std::string Explain(const InputPlan& input) {
    std::string text = "\n[[inputs]]\nname = " + TextInQuotes(input.channel.name) + "\n";
    if (input.column && *input.column != input.channel.name)
        text += "column = " + TextInQuotes(*input.column) + "\n";
    text += TypeOfChannel(input.channel, input.time ? "Time" : input.channel.Type().name);
    text += Held(input.holdRows);
    if (input.isInterpolated)
        text += "resample = \"linear\"\n";
    return text + (input.time ? Written(*input.time) : "");
}

std::string Explain(const ConstantPlan& constant) {
    std::string text = "\n[[constants]]\nname = " + TextInQuotes(constant.channel.name) + "\n";
    text += TypeOfChannel(constant.channel, constant.channel.Type().name);
    if (!IsSame(constant.value, constant.channel.noValue))
        text += "value = " + Written(constant.value) + "\n";
    return text + (constant.isInner ? "inner = true\n" : "");
}

std::string Explain(const ComputationPlan& plan) {
    std::vector<std::string> names;
    for (const Channel& result : plan.results)
        names.push_back(result.name);
    std::string text = "\n[[channels]]\n";
    text += names.size() == 1 ? "name = " + TextInQuotes(names.front()) : "names = " + List(names);
    text += "\noperation = " + TextInQuotes(plan.operation) + "\n" +
            TypeOfChannel(plan.results.front(), plan.results.front().Type().name);
    text += "operands = " + List(plan.operands) + "\n";
    if (!plan.noValueAware)
        text += "no_value_aware = false\n";
    if (plan.showsOwnResultOverGaps)
        text += "own_result_over_gaps = true\n";
    if (!plan.resetWhen.empty())
        text += "reset_when = " + TextInQuotes(plan.resetWhen) + "\n";
    if (!plan.resetOnChange.empty())
        text += "reset_on_change = " + TextInQuotes(plan.resetOnChange) + "\n";
    text += Held(plan.holdRows);
    if (plan.isNoValueWhenRefused)
        text += "when_refused = \"no_value\"\n";
    std::string parameters;
    for (const auto& [name, value] : plan.parameters)
        parameters += (parameters.empty() ? "" : ", ") + name + " = " + Written(value);
    if (!parameters.empty())
        text += "parameters = { " + parameters + " }\n";
    return text + (plan.isInner ? "inner = true\n" : "");
}

/// For the first computation of a formula: the formula as a comment.
std::string Heading(const std::vector<ComputationPlan>& computations, std::size_t index) {
    if (index != 0 && computations[index - 1].isInner)
        return {};
    while (index < computations.size() && computations[index].isInner)
        ++index;
    if (index == computations.size() || computations[index].formula.empty())
        return {};
    std::string heading = computations[index].results.front().name + " = " + computations[index].formula;
    for (char& character : heading)
        if (static_cast<unsigned char>(character) < ' ' || character == '\x7f')
            character = ' ';
    return "\n# " + heading;
}

std::string Frame(const Plan& plan) {
    std::string text;
    if (!plan.output.empty())
        text += "output = " + List(plan.output) + "\n";
    if (plan.samplePeriod)
        text += "sample_period = " + Number(*plan.samplePeriod) + "\n";
    if (plan.keepsAll || !plan.keep.empty())
        text += "keep = " + (plan.keepsAll ? TextInQuotes("all") : List(plan.keep)) + "\n";
    if (!plan.rowsWhen.empty())
        text += "rows_when = " + TextInQuotes(plan.rowsWhen) + "\n";
    if (!plan.rowsBeforeChange.empty())
        text += "rows_before_change = " + TextInQuotes(plan.rowsBeforeChange) + "\n";
    return text.empty() ? text : "[plan]\n" + text;
}

std::string Explain(const RasterPlan& raster) {
    std::string text = "\n[raster]\ntime = " + TextInQuotes(raster.time) + "\nperiod = " + Number(raster.period) + "\n";
    if (std::isfinite(raster.maxGap))
        text += "max_gap = " + Number(raster.maxGap) + "\n";
    text += raster.isAligned ? "align = true\n" : "";
    text += "max_step = " + Number(raster.maxStep) + "\n";
    return text + (raster.beginsAnewOnStep ? "on_step = \"reset\"\n" : "");
}

} // namespace

std::string Explain(const Plan& plan) {
    std::string text = Frame(plan);
    if (plan.raster)
        text += Explain(*plan.raster);
    for (const InputPlan& input : plan.inputs)
        text += Explain(input);
    for (const ConstantPlan& constant : plan.constants)
        text += Explain(constant);
    for (std::size_t i = 0; i < plan.computations.size(); ++i)
        text += Heading(plan.computations, i) + Explain(plan.computations[i]);
    for (const auto& [name, section] : plan.sections)
        text += "\n" + section.Written(name);
    return text.substr(std::min(text.find_first_not_of('\n'), text.size()));
}

} // namespace Vel::Engine
