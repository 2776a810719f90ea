/// Any text as a formula: gives an error that points into it, or computations with the same bits as the blocks that
/// explain them.

#include "engine/Formula.h"
#include "fuzz/Finding.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>

using namespace VelFuzz;
using namespace Vel::Engine;

namespace {

constexpr std::size_t rows = 4;
const std::string place = "plan.toml:1";

struct FuzzedInput {
    const char* name;
    char type;
};
constexpr std::array<FuzzedInput, 8> fuzzedInputs{
    {{"a", 'D'}, {"b", 'D'}, {"f", 'F'}, {"w", 'W'}, {"u", 'B'}, {"s", 'l'}, {"q", 'Q'}, {"Temp [V]", 'D'}}};

const ParametersByName settings{{"corner", 5.5},
                                {"count", std::int64_t{3}},
                                {"top", ~std::uint64_t{0}},
                                {"flag", true},
                                {"points", std::vector<std::array<double, 2>>{{0, 1}, {2, 3}}}};

Plan PlanOfInputs() {
    Plan plan;
    for (const auto& [name, type] : fuzzedInputs)
        plan.inputs.push_back({place, {name, Vel::DefaultNoValue(type)}, name});
    return plan;
}

char TypeOfInput(std::string_view name) {
    for (const auto& [known, type] : fuzzedInputs)
        if (name == known)
            return type;
    return Vel::openType;
}

/// A message has the place, the formula's line and a caret that stands in it.
void CheckMessage(const Vel::Error& error) {
    Require(error.Place().starts_with(place + ": channel \"z"), "the place of a message");
    Require(!error.Fault().empty() && error.Fault().find('\n') == std::string::npos, "the fault of a message");
    const std::string& remedy = error.Remedy();
    if (!remedy.starts_with("  ")) // of formulas that are empty or too long
        return;
    const std::size_t lineEnd = remedy.find('\n');
    const std::size_t caretEnd = std::min(remedy.find('\n', lineEnd + 1), remedy.size());
    Require(lineEnd != std::string::npos && remedy[caretEnd - 1] == '^', "the caret of a message");
    Require(lineEnd <= 500 && caretEnd - lineEnd <= lineEnd + 4, "a caret behind the formula");
}

/// The bytes of z in all rows, for samples derived from a number.
std::string Results(const Plan& plan, std::uint64_t seed) {
    Run run(plan, rows);
    std::vector<std::vector<std::uint64_t>> samples;
    std::vector<Vel::Column> columns;
    for (const InputPlan& input : plan.inputs) {
        samples.emplace_back();
        for (std::size_t row = 0; row < rows; ++row) {
            seed = seed * 6364136223846793005u + 1442695040888963407u;
            const auto small = static_cast<std::uint8_t>((seed >> 40) % 7);
            std::uint64_t bits = 0;
            Vel::WithType(input.channel.Type().letter, [&]<class T>(T) {
                const T sample = small == 6 ? std::get<T>(input.channel.noValue) : static_cast<T>(small);
                std::memcpy(&bits, &sample, sizeof sample);
            });
            samples.back().push_back(bits);
        }
        columns.push_back({samples.back().data(), sizeof(std::uint64_t)});
    }
    run.Feed(columns, rows);
    const std::size_t channel = run.Find("z");
    const Vel::Column result = run.ColumnOf(channel);
    return {static_cast<const char*>(result.first), rows * run.Channels()[channel].Type().size};
}

bool HangsOnTheClock(const Plan& plan) {
    return std::any_of(plan.computations.begin(), plan.computations.end(), [](const ComputationPlan& computation) {
        const auto named = Vel::FindOperations(computation.operation);
        return std::any_of(named.begin(), named.end(), [](const auto* known) { return known->traits.readsClock; });
    });
}

std::string WithoutComments(std::string text) {
    for (std::size_t begin = text.find("\n#"); begin != std::string::npos; begin = text.find("\n#"))
        text.erase(begin, text.find('\n', begin + 1) - begin);
    return text;
}

void Check(const std::string& text) {
    Plan plan = PlanOfInputs();
    try {
        const Formula formula("z", text, place, settings);
        formula.Expand({TypeOfInput, [](std::string_view) { return std::string(); }, {}}, plan.constants,
                       plan.computations);
    } catch (const Vel::Error& error) {
        return CheckMessage(error);
    }
    std::optional<std::string> results;
    try {
        results = Results(plan, text.size());
    } catch (const Vel::Error&) { // parameters that an operation refuses by itself
        return;
    }
    const std::string explained = Explain(plan);
    const Plan again = ParsePlan(explained, "explained");
    Require(Explain(again) == WithoutComments(explained), "a plan is explained otherwise than what explains it");
    Require(HangsOnTheClock(plan) || Results(again, text.size()) == *results, "blocks that give other bits");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ForEachPart({data, size}, [](FuzzedDataProvider& bytes) { Check(bytes.ConsumeRemainingBytesAsString()); });
    return 0;
}
