/// The typed host side of VelOperation for C++20: channels that know their sample type and their NoValue, and
/// operations that dispose of themselves. Types determine signatures, so these cannot be wrong. Everything is inline
/// and costs nothing beyond the calls of VelOperation.h, which states the rules of life, threads and memory.
///
///     Vel::Channel<double> x, y, z;
///     auto divide = Vel::OperationHandle::Create(true, "Divide", z, x, y);
///     x = 1.0;
///     y = 3.0;
///     if (divide.Execute())
///         use(z.Get());
#pragma once

#if __cplusplus <= 201703L && (!defined(_MSVC_LANG) || _MSVC_LANG <= 201703L)
#error "VelOperation.hpp needs C++20, as by -std=c++20; VelOperation.h does not."
#endif

#include "VelOperation.h"

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <string_view>
#include <type_traits>
#include <utility>

namespace Vel {

/// A sample type: its letter in signatures, its name, its size in bytes.
struct SampleType {
    char letter;
    std::string_view name;
    std::size_t size;
    bool isSigned;
    bool isFloating;
};

/// All sample types.
inline constexpr std::array<SampleType, 10> sampleTypes{{{'B', "UInt8", 1, false, false},
                                                         {'W', "UInt16", 2, false, false},
                                                         {'L', "UInt32", 4, false, false},
                                                         {'Q', "UInt64", 8, false, false},
                                                         {'b', "SInt8", 1, true, false},
                                                         {'w', "SInt16", 2, true, false},
                                                         {'l', "SInt32", 4, true, false},
                                                         {'q', "SInt64", 8, true, false},
                                                         {'F', "Float32", 4, true, true},
                                                         {'D', "Float64", 8, true, true}}};

namespace Detail {

template <class T, class... TOthers>
concept OneOf = (std::same_as<T, TOthers> || ...);

/// The letter of a sample type, 0 for any other type. An integer's letter depends on its width, from 8 bits to 64.
template <class T>
constexpr char Letter() noexcept {
    if constexpr (OneOf<T, float, double, unsigned char, unsigned short, unsigned int, unsigned long,
                        unsigned long long, signed char, short, int, long, long long>)
        for (const SampleType& type : sampleTypes)
            if (type.size == sizeof(T) && type.isSigned == std::is_signed_v<T> &&
                type.isFloating == std::is_floating_point_v<T>)
                return type.letter;
    return 0;
}

} // namespace Detail

/// The types of samples: float, double, and the signed and unsigned integer types from `signed char` to `long long`,
/// each with the letter of its width. So `long` is SInt64 if it has 64 bits and SInt32 if it has 32; std::int8_t to
/// std::uint64_t are the same everywhere. bool, char, other character types and wider integers are not samples.
template <class T>
concept Sample = (Detail::Letter<T>() != 0);

/// The default NoValue of a channel: a NaN, or the lowest signed, or the highest unsigned value.
template <Sample T>
inline constexpr T defaultNoValue = std::is_floating_point_v<T> ? std::numeric_limits<T>::quiet_NaN()
                                    : std::is_signed_v<T>       ? std::numeric_limits<T>::lowest()
                                                                : std::numeric_limits<T>::max();

/// A channel: its NoValue, its own sample, and the pointer that operations follow. The pointer starts at the own
/// sample, and may move over samples elsewhere. A channel cannot be moved, since operations keep its address, and must
/// outlive them.
template <Sample T>
class Channel {
public:
    explicit Channel(T itsNoValue = defaultNoValue<T>) noexcept
        : noValue(itsNoValue), sample(itsNoValue), current(&sample) {}
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;

    /// The current sample. The pointer must not be null.
    T Get() const noexcept { return *current; }
    void Set(T value) noexcept { *current = value; }
    Channel& operator=(T value) noexcept {
        Set(value);
        return *this;
    }

    T NoValue() const noexcept { return noValue; }
    void SetNoValue() noexcept { Set(noValue); }
    /// A NaN as NoValue stands for every NaN.
    bool IsNoValue() const noexcept { return *current == noValue || (*current != *current && noValue != noValue); }

    /// Moves the pointer to a sample of the host; null means that there is none.
    void MoveTo(T* newSample) noexcept { current = newSample; }
    /// Moves the pointer back to the channel's own sample.
    void MoveHome() noexcept { current = &sample; }
    T* Current() const noexcept { return current; }

    /// The reference that Create takes for this channel.
    T** Reference() noexcept { return &current; }

private:
    T noValue;
    T sample;
    T* current;
};

/// A parameter that is passed as a Float32, not as a double: the duration of "MonoFlop" with one operand.
struct PackedFloat32 {
    float value;
};

namespace Detail {

/// Makes a channel show its NoValue while an operation is created, and restores the sample afterwards.
template <Sample T>
class NoValueShown {
public:
    explicit NoValueShown(Channel<T>& channel) noexcept : sample(channel.Current()) {
        if (sample != nullptr) {
            before = *sample;
            *sample = channel.NoValue();
        }
    }
    NoValueShown(const NoValueShown&) = delete;
    NoValueShown& operator=(const NoValueShown&) = delete;
    ~NoValueShown() {
        if (sample != nullptr)
            *sample = before;
    }

private:
    T* sample;
    T before{};
};

/// Calls a function while all channels show their NoValue. Restores samples in reverse order, so that a sample survives
/// that several channels share.
template <class TFunction>
auto ShowNoValues(TFunction function) {
    return function();
}
template <class TFunction, Sample T, Sample... TRest>
auto ShowNoValues(TFunction function, Channel<T>& channel, Channel<TRest>&... rest) {
    const NoValueShown<T> shown(channel);
    return ShowNoValues(function, rest...);
}

/// The type of a parameter's value: for an unscoped enumeration its underlying integer type.
template <class T>
struct Value {
    using Type = T;
};
template <class T>
requires std::is_enum_v<T> && std::is_convertible_v<T, long long>
struct Value<T> {
    using Type = std::underlying_type_t<T>;
};

/// The letter of a parameter's type, 0 if parameters cannot have this type.
template <class T>
constexpr char ParameterLetter() noexcept {
    using Type = typename Value<T>::Type;
    if constexpr (Sample<Type>)
        return Letter<Type>();
    else if constexpr (std::same_as<Type, bool>)
        return 'W';
    else if constexpr (std::same_as<Type, PackedFloat32>)
        return 'F';
    else if constexpr (OneOf<Type, const char*, char*>)
        return 'S';
    else
        return 0;
}

} // namespace Detail

/// The types of parameters: those of samples, PackedFloat32, bool, NUL-terminated texts, and unscoped enumerations,
/// which stand for their value. Nothing else is converted silently.
template <class T>
concept ParameterType = (Detail::ParameterLetter<T>() != 0);

namespace Detail {

/// Not a fold expression: clang allows these up to 256 types, and a curve has two parameters for each point.
template <class... Ts>
consteval bool AreParameters() {
    for (const bool isParameter : {true, ParameterType<Ts>...})
        if (!isParameter)
            return false;
    return true;
}

/// A parameter as a variable argument. Integers are widened to 64 bits, and operations take the low ones that they
/// need. Not on 32-bit processors, where an argument has the size of its type: there a 64-bit parameter, such as a
/// mask, must be given as one.
template <ParameterType T>
constexpr auto Argument(T value) noexcept {
    if constexpr (std::same_as<T, PackedFloat32>)
        return VelPackFloat32(value.value);
    else if constexpr (std::is_pointer_v<T>)
        return static_cast<const char*>(value);
    else if constexpr (std::is_floating_point_v<T>)
        return static_cast<double>(value);
    else if constexpr (sizeof(void*) < 8 && sizeof(T) < 8)
        return +static_cast<typename Value<T>::Type>(value);
    else if constexpr (std::is_signed_v<typename Value<T>::Type>)
        return static_cast<long long>(value);
    else
        return static_cast<unsigned long long>(value);
}

} // namespace Detail

/// Owns one operation, or none. Move-only; disposes of the operation at its end.
class OperationHandle {
public:
    OperationHandle() noexcept = default;
    explicit OperationHandle(VelHandle created) noexcept : handle(created) {}
    OperationHandle(OperationHandle&& other) noexcept : handle(std::exchange(other.handle, nullptr)) {}
    OperationHandle& operator=(OperationHandle&& other) noexcept {
        std::swap(handle, other.handle);
        return *this;
    }
    ~OperationHandle() { ::Dispose(handle); }

    /// Creates an operation on channels in signature order, results first. Each channel shows its NoValue to the new
    /// operation and then gets its sample back, so nobody may use these channels meanwhile. Empty if the library
    /// refuses; the message callback has been told why.
    template <Sample... Ts>
    [[nodiscard]] static OperationHandle Create(bool noValueAware, const char* operationName,
                                                Channel<Ts>&... channels) {
        static constexpr char signature[] = {Detail::Letter<Ts>()..., '\0'};
        return Detail::ShowNoValues(
            [&] { return OperationHandle(::Create(noValueAware, operationName, signature, channels.Reference()...)); },
            channels...);
    }

    explicit operator bool() const noexcept { return handle != nullptr; }
    VelHandle Get() const noexcept { return handle; }

    /// Parameters in order. A floating parameter must be passed as a floating number and an integer as an integer: 2.0
    /// is not 2.
    template <class... TParameters>
    requires(Detail::AreParameters<TParameters...>()) bool Initialize(TParameters... parameters) {
        static constexpr char signature[] = {Detail::ParameterLetter<TParameters>()..., '\0'};
        return ::Initialize(handle, signature, Detail::Argument(parameters)...);
    }
    bool Execute() { return ::Execute(handle); }
    bool Reset() { return ::Reset(handle); }
    bool Terminate() { return ::Terminate(handle); }

private:
    VelHandle handle = nullptr;
};

} // namespace Vel
