/// The parameters of one call of Initialize.
#pragma once

#include "core/Arithmetic.h"

#include <bit>
#include <cstdarg>
#include <cstddef>
#include <string_view>

namespace Velmarosk::Operation {

/// Reads the variable arguments of Initialize one after the other. The parameter signature gives their number; the
/// family that reads them knows their types. Do not read more than Count() values.
class Parameters {
    static_assert(sizeof(unsigned int) == sizeof(UInt32) && sizeof(unsigned long long) == sizeof(UInt64));

public:
    /// Reads on from where the list is; the caller ends it.
    Parameters(const char* parameterSignature, std::va_list& list) noexcept
        : signature(parameterSignature), arguments(&list) {}

    std::size_t Count() const noexcept { return signature.size(); }
    std::string_view Signature() const noexcept { return signature; }

    /// A floating parameter, which arrives as a double.
    Float64 NextFloat64() noexcept { return va_arg(*arguments, double); }

    /// A true Float32 in the low 32 bits of a floating argument. Works by value, so on either byte order.
    Float32 NextPackedFloat32() noexcept {
        return std::bit_cast<Float32>(static_cast<UInt32>(std::bit_cast<UInt64>(NextFloat64())));
    }

    /// The low 32 bits of an integer parameter.
    UInt32 NextUInt32() noexcept { return va_arg(*arguments, unsigned int); }

    UInt64 NextUInt64() noexcept { return va_arg(*arguments, unsigned long long); }

    /// A NUL-terminated text, which the host owns.
    const char* NextText() noexcept { return va_arg(*arguments, const char*); }

    /// A value of a channel's sample type: the low bits of an integer, at the type's width; or a double, narrowed for
    /// Float32.
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

    /// Reads the value of a family with exactly one parameter. For any other number returns false and leaves the value
    /// alone.
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
