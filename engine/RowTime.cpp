#include "engine/RowTime.h"

#include "vocabulary/Vocabulary.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cmath>

namespace Vel::Engine {

namespace {

constexpr double tolerance = 0.1; // relative to a step: times are often rounded

bool IsNameOfTime(std::string name) {
    std::transform(name.begin(), name.end(), name.begin(),
                   [](char letter) { return static_cast<char>(std::tolower(static_cast<unsigned char>(letter))); });
    for (const std::string_view word : {"time", "zeit", "t"}) // perhaps followed by a unit
        if (name.starts_with(word) &&
            (name.size() == word.size() || std::isalnum(static_cast<unsigned char>(name[word.size()])) == 0))
            return true;
    return false;
}

bool CountsOnEqualSteps(const ComputationPlan& computation) {
    for (const Operation* const operation : FindOperations(computation.operation))
        for (const Parameter& parameter : operation->parameters)
            if (parameter.isRowTime && computation.parameters.contains(parameter.name))
                return true;
    return false;
}

std::string Text(double number) {
    constexpr int digits = 6;
    std::array<char, 32> text{};
    return {text.data(),
            std::to_chars(text.data(), text.data() + text.size(), number, std::chars_format::general, digits).ptr};
}

} // namespace

RowTime::RowTime(const Plan& plan) {
    const auto found = std::find_if(plan.computations.begin(), plan.computations.end(), CountsOnEqualSteps);
    if (found == plan.computations.end())
        return;
    user = found->results.front().name;
    for (std::size_t i = 0; i < plan.inputs.size() && !input; ++i)
        if (IsNameOfTime(plan.inputs[i].channel.name) || IsNameOfTime(plan.inputs[i].column.value_or(""))) {
            input = i;
            inputName = plan.inputs[i].channel.name;
            noValue = plan.inputs[i].channel.noValue;
        }
}

void RowTime::Look(std::span<const Column> inputs, std::size_t rows) {
    if (!input)
        return;
    std::visit(
        [&]<class T>(T none) {
            for (std::size_t i = 0; i < rows; ++i, ++row) {
                const T time = inputs[*input].At<T>(i);
                ++rowsSince;
                if (!IsNoValue(time, none))
                    Look(static_cast<double>(time));
            }
        },
        noValue);
}

void RowTime::Look(double time) {
    const std::optional<double> last = std::exchange(before, time);
    if (!last) {
        rowsSince = 0;
        return;
    }
    const double step = (time - *last) / static_cast<double>(std::exchange(rowsSince, 0));
    if (firstStep == 0)
        firstStep = least = most = step;
    least = std::min(least, step);
    most = std::max(most, step);
    if (firstStep > 0 && std::abs(step - firstStep) <= tolerance * firstStep)
        return;
    if (irregular++ == 0)
        firstIrregular = row + 1;
}

std::optional<Warning> RowTime::FindWarning() const {
    if (irregular == 0)
        return std::nullopt;
    return Warning{inputName,
                   "steps of " + Text(least) + " to " + Text(most) + " from row to row, while \"" + user +
                       "\" takes them for equal",
                   firstIrregular, irregular};
}

} // namespace Vel::Engine
