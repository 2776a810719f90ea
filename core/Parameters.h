/// The parameters of one call of Initialize.
#pragma once

#include "core/Arithmetic.h"

#include <bit>
#include <cstdarg>
#include <cstddef>
#include <string_view>

namespace Velmarosk::Operation {

/// Reads the variable arguments of Initialize one after the other. The parameter signature gives their number; what
/// each of them is, the family that reads them knows. Reading more than Count() values is not allowed.
class Parameters {
    static_assert(sizeof(unsigned int) == sizeof(UInt32) && sizeof(unsigned long long) == sizeof(UInt64));

public:
    /// Takes the list over where it stands; the caller ends it.
    Parameters(const char* parameterSignature, std::va_list& list) noexcept
        : signature(parameterSignature), arguments(&list) {}

    std::size_t Count() const noexcept { return signature.size(); }
    std::string_view Signature() const noexcept { return signature; }

    /// A floating parameter, which arrives as a double.
    Float64 NextFloat64() noexcept { return va_arg(*arguments, double); }

    /// A true Float32 in the low 32 bits of a floating argument, taken by value and so on machines of any byte order.
    Float32 NextPackedFloat32() noexcept {
        return std::bit_cast<Float32>(static_cast<UInt32>(std::bit_cast<UInt64>(NextFloat64())));
    }

    /// The low 32 bits of an integer parameter.
    UInt32 NextUInt32() noexcept { return va_arg(*arguments, unsigned int); }

    UInt64 NextUInt64() noexcept { return va_arg(*arguments, unsigned long long); }

    /// A NUL-terminated text that stays the host's.
    const char* NextText() noexcept { return va_arg(*arguments, const char*); }

    /// A value of a channel's sample type: of an integer the low bits at the type's width, of a floating value the
    /// double that arrives, narrowed for Float32.
    template <Sample T>
    T NextSample() noexcept {
        if constexpr (FloatSample<T>) {
            return ConvertSample<T>(NextFloat64());
        } else if constexpr (sizeof(T) == sizeof(UInt64)) {
            return static_cast<T>(NextUInt64());
        } else {
            return static_cast<T>(NextUInt32());
        }
    }

    /// The value of a family with exactly one parameter. False, with the value as it was, for any other number.
    template <Sample T>
    bool TakeOnly(T& value) noexcept {
        if (Count() != 1)
            return false;
        value = NextSample<T>();
        return true;
    }

private:
    std::string_view signature;
    std::va_list* arguments;
};

} // namespace Velmarosk::Operation
