/// The ten sample types for code that learns a type at run time, from its letter or its name.
#pragma once

#include <VelOperation.hpp>

#include <cmath>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>

namespace Vel {

/// One sample of any type. The alternatives are in the order of Vel::sampleTypes.
using AnySample = std::variant<std::uint8_t, std::uint16_t, std::uint32_t, std::uint64_t, std::int8_t, std::int16_t,
                               std::int32_t, std::int64_t, float, double>;

template <class... Ts>
struct TypeList {};
using AllSampleTypes = TypeList<std::uint8_t, std::uint16_t, std::uint32_t, std::uint64_t, std::int8_t, std::int16_t,
                                std::int32_t, std::int64_t, float, double>;
using IntegerSampleTypes = TypeList<std::uint8_t, std::uint16_t, std::uint32_t, std::uint64_t, std::int8_t,
                                    std::int16_t, std::int32_t, std::int64_t>;

/// Calls a function with a value of each type.
template <class... Ts, class TFunction>
void ForEachType(TypeList<Ts...> /*types*/, TFunction function) {
    (function(Ts{}), ...);
}

/// The place of a letter in sampleTypes; sampleTypes.size() for a letter of no type.
constexpr std::size_t TypeIndex(char letter) noexcept {
    std::size_t index = 0;
    while (index < sampleTypes.size() && sampleTypes[index].letter != letter)
        ++index;
    return index;
}

static_assert([]<std::size_t... Index>(std::index_sequence<Index...>) {
    return ((Detail::Letter<std::variant_alternative_t<Index, AnySample>>() == sampleTypes[Index].letter) && ...);
}(std::make_index_sequence<sampleTypes.size()>()));

/// The type that a letter stands for. The letter must be one of sampleTypes.
constexpr const SampleType& TypeOf(char letter) noexcept { return sampleTypes[TypeIndex(letter)]; }

/// The type with a name such as "Float64"; nothing if there is no such type.
std::optional<SampleType> FindType(std::string_view name);

/// All names, for messages.
std::string TypeNames();

/// Calls a function with a zero of the type that a letter stands for.
template <class TFunction>
auto WithType(char letter, TFunction function) {
    using Result = decltype(function(double{}));
    using Call = Result (*)(TFunction&);
    constexpr auto calls = []<std::size_t... Index>(std::index_sequence<Index...>) {
        return std::array<Call, sizeof...(Index)>{
            [](TFunction& called) -> Result { return called(std::variant_alternative_t<Index, AnySample>{}); }...};
    }
    (std::make_index_sequence<std::variant_size_v<AnySample>>());
    return calls[TypeIndex(letter)](function);
}

/// Whether a sample is a channel's NoValue, as the library compares: a NaN as NoValue stands for every NaN.
template <Sample T>
bool IsNoValue(T sample, T noValue) noexcept {
    if constexpr (std::is_floating_point_v<T>)
        return sample == noValue || (std::isnan(sample) && std::isnan(noValue));
    else
        return sample == noValue;
}

/// The NoValue of a channel of a type for which none is given.
inline AnySample DefaultNoValue(char letter) {
    return WithType(letter, []<class T>(T) { return AnySample(defaultNoValue<T>); });
}

} // namespace Vel
