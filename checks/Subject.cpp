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
    return {MakePool(Vel::sampleTypes[Index].letter)...};
}

/// The values chosen for the parameters of one operation, in their order.
using Chosen = Vel::Engine::ParametersByName;

Vel::Engine::Value ChooseNumber(const Vel::Parameter& parameter, const Chosen& before, const Choose& choose) {
    const Vel::Range& range = parameter.range;
    if (!range.belowHalf.empty()) { // anywhere between what it must be above and what it must be below
        constexpr std::uint64_t steps = 200;
        const double least = range.above.empty() ? 0 : std::get<double>(before.find(range.above)->second);
        const double most = std::get<double>(before.find(range.belowHalf)->second) / 2;
        return least + (most - least) * static_cast<double>(1 + choose(steps)) / (steps + 1);
    }
    constexpr std::array numbers{1.0, 0.001, 0.1, 0.5, 3.0, 100.0, 0.0, -1.5};
    const double number = numbers[choose(numbers.size())];
    const double size = std::abs(number);
    return number >= range.least ? number : size >= range.least ? size : 1.0;
}

Vel::Engine::Value ChooseCount(const Vel::Parameter& parameter, const Choose& choose) {
    constexpr std::uint64_t longest = 150; // more than a block of a window, and soon filled
    const auto least = static_cast<std::uint64_t>(std::max(parameter.range.least, 0.0));
    const auto most = parameter.range.most < longest ? static_cast<std::uint64_t>(parameter.range.most) : longest;
    return static_cast<std::int64_t>(least + choose(most - least + 1));
}

Vel::Engine::Value ChooseSampleValue(const Vel::Parameter& parameter, char type, const Choose& choose) {
    const auto whole = static_cast<std::int64_t>(choose(usualSamples));
    const std::int64_t value = parameter.range.excludesZero && whole == 0 ? 1
                               : parameter.range.notBelow.empty()         ? whole
                                                                          : whole + 90; // well above the one before
    if (type == 'F' || type == 'D')
        return static_cast<double>(value);
    return value;
}

Vel::Engine::Value ChoosePairs(const Choose& choose) {
    std::vector<std::array<double, 2>> pairs(1 + choose(20));
    double x = -3;
    for (auto& pair : pairs)
        pair = {x += 0.5 * static_cast<double>(choose(4)), static_cast<double>(choose(usualSamples))};
    return pairs;
}

Vel::Engine::Value ChooseValue(const Vel::Parameter& parameter, char type, const Chosen& before, const Choose& choose) {
    using enum Vel::ParameterKind;
    switch (parameter.kind) {
    case Number:
        return ChooseNumber(parameter, before, choose);
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

/// The lowest integer by -1: the one pair of samples that hosts must not divide, since the processor faults. Narrow
/// types are divided in 32 bits, where it is harmless.
bool FaultsOnDivision(const Row& row, SampleBits dividend, SampleBits divisor) {
    if (!row.operation->traits.divides)
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
    for (const Vel::Operation& operation : Vel::AllOperations())
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
    return WithType(letter, [=]<class T>(T) { return Vel::IsNoValue(FromBits<T>(sample), FromBits<T>(marker)); });
}

SampleBits SampleOf(char letter, std::int64_t whole) {
    return WithType(letter, [=]<class T>(T) { return BitsOf(static_cast<T>(whole)); });
}

SampleBits ChooseSample(char letter, const Choose& choose) {
    static const std::array pools = MakePools(std::make_index_sequence<Vel::sampleTypes.size()>());
    const Pool& pool = pools[Vel::TypeIndex(letter)];
    return choose(3) != 0 ? pool.usual[choose(pool.usual.size())] : pool.edges[choose(pool.edges.size())];
}

SampleBits UsualNoValue(char letter) {
    return WithType(letter, []<class T>(T) { return BitsOf(Vel::defaultNoValue<T>); });
}

Vel::Engine::ParametersByName ChooseParametersByName(const Row& row, const Choose& choose) {
    Chosen chosen;
    const char type = row.signature.back();
    for (const Vel::Parameter& parameter : row.operation->parameters) {
        const Vel::Default::Kind otherwise = parameter.otherwise.kind;
        const bool mayMiss = otherwise != Vel::Default::Kind::Required && otherwise != Vel::Default::Kind::Paired;
        if (mayMiss && choose(2) == 0)
            break; // the ones after it cannot be given then
        chosen.emplace(parameter.name, ChooseValue(parameter, type, chosen, choose));
    }
    return chosen;
}

Vel::Engine::OrderedParameters ChooseParameters(const Row& row, const Choose& choose) {
    return Vel::Engine::OrderParameters(*row.operation, row.signature.back(), ChooseParametersByName(row, choose),
                                        row.signature);
}

Subject::Subject(Row itsRow, bool noValueAware, std::span<const std::optional<SampleBits>> noValues)
    : row(std::move(itsRow)) {
    Vel::Engine::ArgumentList references;
    pointers.reserve(row.signature.size());
    for (std::size_t i = 0; i < row.signature.size(); ++i) {
        markers[i] = noValues.empty() ? UsualNoValue(row.signature[i]) : noValues[i];
        samples[i] = markers[i].value_or(0);
        pointers.emplace_back(row.signature[i]).Aim(markers[i] ? samples[i].Address() : nullptr);
        references.Add(row.signature[i], pointers[i].Reference());
    }
    handle = Vel::Engine::CallCreate(noValueAware, std::string(row.operation->name), references);
    if (handle == nullptr)
        throw std::logic_error(row.Title(noValueAware) + " does not exist");
    for (std::size_t i = 0; i < row.signature.size(); ++i)
        pointers[i].Aim(samples[i].Address());
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
