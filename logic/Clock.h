/// The date and time as a number, and the components of such a number. A time value is the number of seconds since
/// 2000-01-01 00:00:00 on the clock that it came from. These operations have no parameters, no state and no
/// NoValue-aware form. Execute always returns true; an operand's NoValue is a number like any other.
#pragma once

#include "core/Arithmetic.h"
#include "core/OperationRows.h"
#include "platform/FileTime.h"
#include "platform/SystemClock.h"

namespace Velmarosk::Operation {

inline constexpr UInt64 fileTicksPerSecond = 10'000'000;
/// From the epoch of file times, 1601-01-01, to the epoch of time values.
inline constexpr UInt64 secondsFromFileEpoch = 12'591'158'400;
inline constexpr UInt64 fileTicksFromFileEpoch = secondsFromFileEpoch * fileTicksPerSecond;

/// The time value of a file time.
template <Sample T>
T TimeValue(UInt64 fileTime) noexcept {
    const auto ticks = FloatFromUInt64<Float64>(fileTime - fileTicksFromFileEpoch);
    return ConvertSample<T>(ticks / static_cast<Float64>(fileTicksPerSecond));
}

inline UInt64 FileTimeOf(UInt64 timeValue) noexcept { return (timeValue + secondsFromFileEpoch) * fileTicksPerSecond; }

/// Multiplies in T: in Float32 the product is no finer than the time value.
template <FloatSample T>
UInt64 FileTimeOf(T timeValue) noexcept {
    return TruncateToUInt64(timeValue * static_cast<T>(fileTicksPerSecond)) + fileTicksFromFileEpoch;
}

/// Asks a clock of the operating system on each sample.
template <Platform::SYSTEMTIME (*GetTime)() noexcept, class TResult>
class CClockSource : public CConstOperation<TResult> {
public:
    using CConstOperation<TResult>::CConstOperation;

    bool Execute() override {
        UInt64 fileTime = 0;
        Platform::SystemTimeToFileTime(GetTime(), fileTime);
        this->resultRef.Write(TimeValue<TResult>(fileTime));
        return true;
    }
};

/// "SystemTime": the time value of the coordinated universal time, to the millisecond; whole seconds in UInt64, steps
/// of 64 seconds in Float32 from the year 2017 to the year 2034.
template <class TResult>
using CSystemTime = CClockSource<Platform::GetSystemTime, TResult>;

/// "LocalTime": the same for the local wall clock. It jumps with daylight saving.
template <class TResult>
using CLocalTime = CClockSource<Platform::GetLocalTime, TResult>;

/// One field of the calendar time of a time value; 0 if the value is no calendar time.
template <UInt16 Platform::SYSTEMTIME::*field, class TResult, class TOperand>
class CClockComponent : public CUnaryOperation<TResult, TOperand> {
public:
    using CUnaryOperation<TResult, TOperand>::CUnaryOperation;

    bool Execute() override {
        Platform::SYSTEMTIME time{}; // stays so if the conversion fails
        Platform::FileTimeToSystemTime(FileTimeOf(this->operandRef.Read()), time);
        this->resultRef.Write(static_cast<TResult>(time.*field));
        return true;
    }
};

/// "Hour": 0 to 23 of the time value in the operand.
template <class TResult, class TOperand>
using CHour = CClockComponent<&Platform::SYSTEMTIME::wHour, TResult, TOperand>;

/// "Minute": 0 to 59.
template <class TResult, class TOperand>
using CMinute = CClockComponent<&Platform::SYSTEMTIME::wMinute, TResult, TOperand>;

/// "Second": 0 to 59, without the fraction.
template <class TResult, class TOperand>
using CSecond = CClockComponent<&Platform::SYSTEMTIME::wSecond, TResult, TOperand>;

/// The rows of this topic.
std::span<const Family> ClockFamilies() noexcept;

} // namespace Velmarosk::Operation
