#include "checks/Subject.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <utility>

namespace VelChecks {

namespace {

constexpr std::uint64_t usualSamples = 8; ///< small whole numbers, so that ties and repetitions are frequent

/// The samples of a type that are chosen from.
struct Pool {
    std::array<SampleBits, usualSamples> usual{};
    std::vector<SampleBits> edges;
};

Pool MakePool(char letter) {
    return WithType(letter, []<class T>(T) {
        Pool pool;
        for (std::size_t i = 0; i < pool.usual.size(); ++i)
            pool.usual[i] = BitsOf(static_cast<T>(i));
        for (const T edge : EdgeSamples<T>()) {
            pool.edges.push_back(BitsOf(edge));
            if (IsNaN(edge)) // with payloads as well
                for (SampleBits payload = 1; payload < usualSamples; ++payload)
                    pool.edges.push_back(BitsOf(edge) | SampleOfNumber(payload, sizeof(T)));
        }
        return pool;
    });
}

template <std::size_t... Index>
std::array<Pool, sizeof...(Index)> MakePools(std::index_sequence<Index...>) {
    return {MakePool(Velreplay::typeLetters[Index])...};
}

Velreplay::Value ChooseNumber(const Velreplay::Parameter& parameter, const Choose& choose) {
    // What several parameters of one operation must agree on.
    if (parameter.name == "sample_rate")
        return 1000.0;
    if (parameter.name == "corner1")
        return 1.0 + static_cast<double>(choose(200));
    if (parameter.name == "corner2")
        return 210.0 + static_cast<double>(choose(200));
    constexpr std::array numbers{1.0, 0.001, 0.1, 0.5, 3.0, 100.0, 0.0, -1.5};
    const double number = numbers[choose(numbers.size())];
    return number < parameter.least ? std::abs(number) : number;
}

Velreplay::Value ChooseCount(const Velreplay::Parameter& parameter, const Choose& choose) {
    constexpr std::uint64_t longest = 150; // more than a block of a window, and soon filled
    const auto least = static_cast<std::uint64_t>(std::max(parameter.least, 0.0));
    const auto most = parameter.most < longest ? static_cast<std::uint64_t>(parameter.most) : longest;
    return static_cast<std::int64_t>(least + choose(most - least + 1));
}

Velreplay::Value ChooseSampleValue(const Velreplay::Parameter& parameter, char type, const Choose& choose) {
    const auto whole = static_cast<std::int64_t>(choose(usualSamples));
    const std::int64_t value = parameter.name == "upper_bound" ? whole + 90 : whole;
    if (type == 'F' || type == 'D')
        return static_cast<double>(value);
    return value;
}

Velreplay::Value ChoosePairs(const Choose& choose) {
    std::vector<std::array<double, 2>> pairs(1 + choose(20));
    double x = -3;
    for (auto& pair : pairs)
        pair = {x += 0.5 * static_cast<double>(choose(4)), static_cast<double>(choose(usualSamples))};
    return pairs;
}

Velreplay::Value ChooseValue(const Velreplay::Parameter& parameter, char type, const Choose& choose) {
    using enum Velreplay::ParameterKind;
    switch (parameter.kind) {
    case Number:
        return ChooseNumber(parameter, choose);
    case PackedSeconds:
        return static_cast<double>(choose(usualSamples)) / 4;
    case Sample:
        return ChooseSampleValue(parameter, type, choose);
    case Count:
        return ChooseCount(parameter, choose);
    case Mask: {
        const std::uint64_t length = 1 + choose(8);
        return static_cast<std::int64_t>(((1u << length) - 1) << choose(9 - length));
    }
    case Flag:
        return choose(2) == 1;
    case Curve:
    case GearTable:
        return ChoosePairs(choose);
    }
    throw std::logic_error("unknown kind of parameter");
}

/// The lowest integer by -1: the one pair of samples that hosts must keep away, since the processor faults. Narrow
/// types are divided in 32 bits, where it is harmless.
bool FaultsOnDivision(const Row& row, SampleBits dividend, SampleBits divisor) {
    if (row.operation->name != "Divide" && row.operation->name != "Modulo")
        return false;
    return WithType(row.signature.front(), [=]<class T>(T) {
        return std::is_signed_v<T> && std::is_integral_v<T> && sizeof(T) >= sizeof(int) &&
               FromBits<T>(divisor) == static_cast<T>(-1) && FromBits<T>(dividend) == std::numeric_limits<T>::lowest();
    });
}

} // namespace

std::string Row::Title(bool noValueAware) const {
    return std::string(operation->name) + ' ' + signature + (noValueAware ? ", NoValue-aware" : ", plain");
}

std::vector<Row> AllRows() {
    std::vector<Row> rows;
    for (const Velreplay::Operation& operation : Velreplay::AllOperations())
        for (const std::string& signature : SignaturesOf(operation))
            rows.push_back({&operation, signature});
    return rows;
}

std::size_t SizeOfSample(char letter) {
    return WithType(letter, [](auto value) { return sizeof value; });
}

bool IsNaN(char letter, SampleBits sample) {
    return WithType(letter, [sample]<class T>(T) { return IsNaN(FromBits<T>(sample)); });
}

bool IsAbove(char letter, SampleBits sample, SampleBits other) {
    return WithType(letter, [=]<class T>(T) { return FromBits<T>(sample) > FromBits<T>(other); });
}

bool AreSame(char letter, SampleBits sample, SampleBits other) {
    return sample == other || (IsNaN(letter, sample) && IsNaN(letter, other));
}

bool IsNoValue(char letter, SampleBits sample, SampleBits marker) {
    return WithType(letter, [=]<class T>(T) {
        Velreplay::Samples<T> channel;
        channel.noValue = FromBits<T>(marker);
        return channel.IsNoValue(FromBits<T>(sample));
    });
}

SampleBits SampleOf(char letter, std::int64_t whole) {
    return WithType(letter, [=]<class T>(T) { return BitsOf(static_cast<T>(whole)); });
}

SampleBits ChooseSample(char letter, const Choose& choose) {
    static const std::array pools = MakePools(std::make_index_sequence<Velreplay::typeLetters.size()>());
    const Pool& pool = pools[Velreplay::typeLetters.find(letter)];
    return choose(3) != 0 ? pool.usual[choose(pool.usual.size())] : pool.edges[choose(pool.edges.size())];
}

SampleBits UsualNoValue(char letter) {
    return WithType(letter, []<class T>(T) { return BitsOf(Vel::defaultNoValue<T>); });
}

Velreplay::OrderedParameters ChooseParameters(const Row& row, const Choose& choose) {
    Velreplay::ComputationPlan plan;
    const char type = row.signature.back();
    for (const Velreplay::Parameter& parameter : row.operation->parameters) {
        const bool mayMiss = parameter.otherwise != Velreplay::required && parameter.otherwise != Velreplay::paired;
        if (mayMiss && choose(2) == 0)
            break; // of those that follow none can be given
        plan.parameters.emplace(parameter.name, ChooseValue(parameter, type, choose));
    }
    return OrderParameters(*row.operation, type, plan);
}

Subject::Subject(Row itsRow, bool noValueAware, std::span<const std::optional<SampleBits>> noValues)
    : row(std::move(itsRow)) {
    Velreplay::ArgumentList references;
    for (std::size_t i = 0; i < row.signature.size(); ++i) {
        markers[i] = noValues.empty() ? UsualNoValue(row.signature[i]) : noValues[i];
        samples[i] = markers[i].value_or(0);
        pointers[i] = markers[i] ? &samples[i] : nullptr;
        references.Add(row.signature[i], static_cast<const void*>(&pointers[i]));
    }
    handle = Velreplay::CallCreate(noValueAware, std::string(row.operation->name), references);
    if (handle == nullptr)
        throw std::logic_error(row.Title(noValueAware) + " does not exist");
    for (std::size_t i = 0; i < row.signature.size(); ++i)
        pointers[i] = &samples[i];
}

bool Subject::HasNoValue() const {
    for (std::size_t i = row.operation->results; i < row.signature.size(); ++i)
        if (markers[i] && IsNoValue(row.signature[i], samples[i], *markers[i]))
            return true;
    return false;
}

void Subject::ChooseOperands(const Choose& choose) {
    constexpr std::uint64_t samplesPerNoValue = 12;
    const std::size_t first = row.operation->results;
    for (std::size_t i = first; i < row.signature.size(); ++i)
        samples[i] =
            markers[i] && choose(samplesPerNoValue) == 0 ? *markers[i] : ChooseSample(row.signature[i], choose);
    KeepFromFaults();
}

void Subject::KeepFromFaults() {
    if (FaultsOnDivision(row, samples[1], samples[2]))
        samples[2] = SampleOf(row.signature[2], 1);
}

} // namespace VelChecks
