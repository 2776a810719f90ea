#include "ArrowReader.h"

#include "engine/NumberText.h"
#include "vocabulary/Quote.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <utility>
#include <variant>

namespace VelPython {

namespace {

using Kind = ArrowType::Kind;
using Vel::Error, Vel::Quoted, Vel::Sample;

constexpr std::int64_t epoch = 946'684'800; ///< 2000-01-01 in seconds since 1970
constexpr std::int64_t nanosecondsPerSecond = 1'000'000'000;

/// A 16-bit floating value as Arrow stores it.
struct Half {
    std::uint16_t bits;
};

float Widened(Half half) {
    constexpr unsigned fractionBits = 10;
    constexpr unsigned highestExponent = 31;
    constexpr int bias = 15;
    const unsigned exponent = (half.bits >> fractionBits) & highestExponent;
    const unsigned fraction = half.bits & ((1U << fractionBits) - 1);
    const float sign = (half.bits & 0x8000U) != 0 ? -1.0F : 1.0F;
    if (exponent == highestExponent)
        return fraction != 0 ? std::numeric_limits<float>::quiet_NaN() : sign * std::numeric_limits<float>::infinity();
    if (exponent == 0)
        return sign * std::ldexp(static_cast<float>(fraction), 1 - bias - static_cast<int>(fractionBits));
    return sign * std::ldexp(static_cast<float>(fraction + (1U << fractionBits)),
                             static_cast<int>(exponent) - bias - static_cast<int>(fractionBits));
}

/// Converts a number to another type if that can hold it exactly.
template <Sample TTo, class TFrom>
bool Convert(TFrom from, TTo& to) {
    if constexpr (std::is_integral_v<TFrom> && std::is_integral_v<TTo>) {
        to = static_cast<TTo>(from);
        return std::in_range<TTo>(from);
    } else if constexpr (std::is_integral_v<TFrom>) {
        to = static_cast<TTo>(from);
        const TTo bound = std::ldexp(TTo{1}, std::numeric_limits<TFrom>::digits); // the first number beyond TFrom
        return to < bound && static_cast<TFrom>(to) == from;
    } else if constexpr (std::is_integral_v<TTo>) {
        const TFrom bound = std::ldexp(TFrom{1}, std::numeric_limits<TTo>::digits);
        const TFrom least = std::is_signed_v<TTo> ? -bound : TFrom{0};
        if (!(from >= least && from < bound) || std::trunc(from) != from)
            return false;
        to = static_cast<TTo>(from);
        return true;
    } else {
        to = static_cast<TTo>(from);
        return static_cast<TFrom>(to) == from;
    }
}

template <class T>
std::string TextOf(T value) {
    if constexpr (std::is_floating_point_v<T>)
        return Vel::Engine::Text(double{value});
    else
        return std::to_string(value);
}

/// Values in a buffer, possibly unaligned.
template <class T>
struct Plain {
    const std::byte* bytes;

    Plain(const void* buffer, std::int64_t first)
        : bytes(static_cast<const std::byte*>(buffer) + first * static_cast<std::int64_t>(sizeof(T))) {}
    T operator[](std::size_t row) const {
        T value;
        std::memcpy(&value, bytes + row * sizeof(T), sizeof(T));
        return value;
    }
};
struct Halves {
    Plain<Half> values;
    float operator[](std::size_t row) const { return Widened(values[row]); }
};
struct Bits {
    const std::uint8_t* bits;
    std::size_t first;
    std::uint8_t operator[](std::size_t row) const { return BitAt(bits, first + row) ? 1 : 0; }
};
struct Nothing {
    std::uint8_t operator[](std::size_t /*row*/) const { return 0; }
};

/// Calls a function with a reader for an array's values from `first` on.
template <class TFunction>
void WithValues(const ArrowArray& array, const ArrowType& type, std::int64_t first, TFunction function) {
    const auto plain = [&]<class T>(T) { function(Plain<T>(array.buffers[1], first)); };
    switch (type.kind) {
    case Kind::Null:
        return function(Nothing{});
    case Kind::Bool:
        return function(Bits{static_cast<const std::uint8_t*>(array.buffers[1]), static_cast<std::size_t>(first)});
    case Kind::Floating:
        return type.bytes == sizeof(Half)    ? function(Halves{{array.buffers[1], first}})
               : type.bytes == sizeof(float) ? plain(float{})
                                             : plain(double{});
    default:
        break;
    }
    switch (type.bytes) {
    case 1:
        return type.isSigned ? plain(std::int8_t{}) : plain(std::uint8_t{});
    case 2:
        return type.isSigned ? plain(std::int16_t{}) : plain(std::uint16_t{});
    case 4:
        return type.isSigned ? plain(std::int32_t{}) : plain(std::uint32_t{});
    default:
        return type.isSigned ? plain(std::int64_t{}) : plain(std::uint64_t{});
    }
}

/// The letter of the sample type that equals an Arrow type; 0 if there is none.
char LetterOf(const ArrowType& type) {
    if (type.kind == Kind::Integer || (type.kind == Kind::Floating && type.bytes >= sizeof(float)))
        for (const Vel::SampleType& sample : Vel::sampleTypes)
            if (sample.size == type.bytes && sample.isSigned == type.isSigned &&
                sample.isFloating == (type.kind == Kind::Floating))
                return sample.letter;
    return 0;
}

/// The floor of the quotient, and the remainder.
std::pair<std::int64_t, std::int64_t> Split(std::int64_t value, std::int64_t by) {
    std::int64_t whole = value / by;
    std::int64_t rest = value % by;
    if (rest < 0) {
        --whole;
        rest += by;
    }
    return {whole, rest};
}

} // namespace

class ArrowReader::Parts {
public:
    Parts(WantedSamples itsWanted, const ArrowSchema& schema)
        : wanted(std::move(itsWanted)), isDictionary(schema.dictionary != nullptr) {
        if (isDictionary)
            indexType = TypeOf(schema);
        type = isDictionary ? TypeOf(*schema.dictionary) : TypeOf(schema);
        const std::string place = "column " + Quoted(wanted.column);
        const bool isDouble = wanted.channel.Type().letter == 'D';
        const std::string wantedType = wanted.time ? "Time" : std::string(wanted.channel.Type().name);
        switch (type.kind) {
        case Kind::Integer:
        case Kind::Floating:
        case Kind::Bool:
            if (wanted.time && !IsUnix())
                throw Error(place, "it holds numbers (" + type.name + "), and the input is a Time",
                            R"(give the input format = "unix" for seconds since 1970, or type = "Float64")");
            break;
        case Kind::Null:
            break;
        case Kind::Date:
        case Kind::Timestamp:
            if (!isDouble)
                throw Error(place, "it holds times (" + type.name + "), and the input is a " + wantedType,
                            R"(write: type = "Time")");
            TakeZone(place);
            break;
        case Kind::Duration:
            if (!isDouble || wanted.time)
                throw Error(place, "it holds durations (" + type.name + "), and the input is a " + wantedType,
                            R"(write: type = "Float64"; the samples are seconds then)");
            break;
        default:
            throw Error(place, "values of the type " + type.name + " are no samples",
                        "convert the column to numbers or times, or leave it out of the plan's inputs");
        }
        isInPlace = !isDictionary && !wanted.time && LetterOf(type) == wanted.channel.Type().letter;
    }

    void Take(const ArrowArray& itsArray, std::int64_t itsFirst, std::int64_t rows, std::uint64_t itsRowsBefore) {
        CheckArray(itsArray, isDictionary ? indexType : type, itsFirst + rows, wanted.column);
        array = &itsArray;
        first = itsArray.offset + itsFirst;
        rowsBefore = itsRowsBefore;
        validity = Validity(itsArray, first);
        if (isDictionary)
            TakeDictionary();
    }

    Block Read(std::size_t begin, std::size_t count) {
        fault.reset();
        return std::visit([&]<class T>(T noValue) { return Read(begin, count, noValue); }, wanted.channel.noValue);
    }

    WantedSamples wanted;
    ArrowType type;
    NoValues taken;
    std::optional<Error> fault;

private:
    bool IsUnix() const {
        return wanted.time->kind == Vel::TimeForm::Kind::UnixSeconds ||
               wanted.time->kind == Vel::TimeForm::Kind::UnixMilliseconds;
    }

    /// Times with a zone are points in time. Those without one are taken as UTC, unless the plan gives a zone.
    void TakeZone(const std::string& place) {
        if (!wanted.time || wanted.time->zone.empty())
            return;
        const bool isOfClocks = type.kind == Kind::Date || type.zone.empty();
        if (!wanted.time->isLocal && isOfClocks && type.kind == Kind::Timestamp)
            throw Error(place,
                        "its times (" + type.name + ") have no zone, and the plan takes them for those of " +
                            Quoted(wanted.time->zone),
                        "give the column its zone, as tz_localize of pandas and replace_time_zone of polars do");
        if (wanted.time->isLocal && !isOfClocks)
            zone.emplace(wanted.time->zone, place);
    }

    template <Sample T>
    Block Read(std::size_t begin, std::size_t count, T noValue) {
        if (isInPlace && validity.AreAll(begin, count)) {
            const void* const address = Plain<T>(array->buffers[1], first).bytes + begin * sizeof(T);
            const auto* const values = static_cast<const T*>(address);
            if (reinterpret_cast<std::uintptr_t>(address) % alignof(T) == 0 && !Holds(values, count, noValue))
                return {{values, sizeof(T)}, count};
        }
        std::vector<T>& samples = Room<T>(count);
        const std::size_t done =
            isDictionary ? ReadDictionary(begin, count, samples, noValue) : ReadValues(begin, count, samples, noValue);
        return {Vel::Over(samples), done};
    }

    /// Whether one of the values is the NoValue, which the engine would take for a missing sample.
    template <Sample T>
    static bool Holds(const T* values, std::size_t count, T noValue) {
        bool found = false;
        if constexpr (std::is_floating_point_v<T>) {
            if (std::isnan(noValue)) // a NaN is one
                return false;
            for (std::size_t row = 0; row < count; ++row)
                found |= std::isnan(values[row]);
        } else {
            for (std::size_t row = 0; row < count; ++row)
                found |= values[row] == noValue;
        }
        return found;
    }

    template <Sample T>
    std::vector<T>& Room(std::size_t count) {
        if (!std::holds_alternative<std::vector<T>>(room))
            room = std::vector<T>();
        auto& samples = std::get<std::vector<T>>(room);
        if (samples.size() < count)
            samples.resize(count);
        return samples;
    }

    template <Sample T>
    std::size_t ReadValues(std::size_t begin, std::size_t count, std::vector<T>& samples, T noValue) {
        std::size_t row = 0;
        if (type.kind == Kind::Null) {
            std::fill_n(samples.begin(), count, noValue);
            return count;
        }
        WithValues(*array, type, first, [&](const auto values) {
            for (; row < count; ++row)
                if (!validity[begin + row])
                    samples[row] = noValue;
                else if (!TakeValue(values[begin + row], samples[row], noValue)) {
                    fault = FaultOf(values[begin + row], begin + row, samples[row], noValue);
                    return;
                } else if (std::is_integral_v<T> && samples[row] == noValue)
                    CountNoValue(begin + row);
        });
        return row;
    }

    /// False if the value is not a valid sample.
    template <Sample T, class TValue>
    bool TakeValue(TValue value, T& sample, T noValue) {
        if constexpr (std::is_floating_point_v<TValue>)
            if (std::isnan(value)) {
                sample = noValue;
                return true;
            }
        if constexpr (std::is_same_v<T, double>)
            if (wanted.time || type.IsTime() || type.kind == Kind::Duration) {
                sample = SecondsOf(value);
                return true;
            }
        if (!Convert(value, sample))
            return false;
        return wanted.takesNoValues || !std::is_integral_v<T> || sample != noValue;
    }

    template <class TValue>
    double SecondsOf(TValue value) {
        if constexpr (std::is_floating_point_v<TValue>) {
            const TValue seconds =
                wanted.time->kind == Vel::TimeForm::Kind::UnixMilliseconds ? value / TValue{1000} : value;
            return double{seconds} - static_cast<double>(epoch);
        } else {
            const auto units = static_cast<std::int64_t>(value);
            if (type.kind == Kind::Duration)
                return Seconds(units, type.perSecond, 0);
            if (type.secondsPerUnit != 0)
                return static_cast<double>(units * type.secondsPerUnit - epoch);
            std::int64_t perSecond = type.perSecond;
            if (!type.IsTime() && wanted.time->kind == Vel::TimeForm::Kind::UnixMilliseconds)
                perSecond = 1000;
            return Seconds(units, perSecond, epoch);
        }
    }
    double Seconds(std::int64_t units, std::int64_t perSecond, std::int64_t origin) {
        auto [seconds, rest] = Split(units, perSecond);
        constexpr std::int64_t mostExact = std::int64_t{1} << std::numeric_limits<double>::digits;
        if (seconds < -mostExact || seconds > mostExact) // beyond this a Float64 is less exact than a second
            return static_cast<double>(seconds) - static_cast<double>(origin);
        seconds -= origin;
        if (zone)
            seconds += zone->OffsetAt(seconds);
        return static_cast<double>(seconds) + static_cast<double>(rest) / static_cast<double>(perSecond);
    }

    void CountNoValue(std::size_t row) {
        if (taken.count++ == 0)
            taken.firstRow = rowsBefore + row + 1;
    }

    Error Say(std::size_t row, const std::string& what, const std::string& remedy) const {
        return {"column " + Quoted(wanted.column) + ", row " + std::to_string(rowsBefore + row + 1), what, remedy};
    }

    template <Sample T, class TValue>
    Error FaultOf(TValue value, std::size_t row, T sample, T noValue) const {
        const std::string name(wanted.channel.Type().name);
        if (std::is_integral_v<T> && sample == noValue && Convert(value, sample))
            return Say(row, TextOf(value) + " is the NoValue of the type " + name,
                       "give the input a wider type or another no_value; where the value means no sample, write "
                       "on_no_value = \"missing\" into [recording]");
        return Say(row, TextOf(value) + " is no " + name + " exactly",
                   "give the input a type that has all values of the column (" + type.name +
                       "), or convert the column");
    }

    // Dictionaries.

    void TakeDictionary() {
        if (array->dictionary == nullptr)
            throw Error("column " + Quoted(wanted.column), "the Arrow array lacks its dictionary",
                        "its producer breaks the Arrow C data interface");
        const ArrowArray& values = *array->dictionary;
        CheckArray(values, type, 0, wanted.column);
        entries = Validity(values, values.offset);
    }

    template <Sample T>
    std::size_t ReadDictionary(std::size_t begin, std::size_t count, std::vector<T>& samples, T noValue) {
        const ArrowArray& dictionary = *array->dictionary;
        std::size_t row = 0;
        const auto firstInBuffer = static_cast<std::size_t>(first) + begin;
        WithValues(dictionary, type, dictionary.offset, [&](const auto values) {
            for (; row < count; ++row) {
                samples[row] = noValue;
                if (!validity[begin + row])
                    continue;
                const std::int64_t index = IntegerAt(array->buffers[1], firstInBuffer + row, indexType);
                if (index < 0 || index >= dictionary.length) {
                    fault = Say(begin + row, "the index lies outside of the dictionary",
                                "its producer breaks the Arrow C data interface");
                    return;
                }
                const auto entry = static_cast<std::size_t>(index);
                if (type.kind == Kind::Null || !entries[entry])
                    continue;
                if (!TakeValue(values[entry], samples[row], noValue)) {
                    fault = FaultOf(values[entry], begin + row, samples[row], noValue);
                    return;
                }
                if (std::is_integral_v<T> && samples[row] == noValue)
                    CountNoValue(begin + row);
            }
        });
        return row;
    }

    bool isDictionary;
    ArrowType indexType;
    bool isInPlace = false;
    std::optional<Vel::Recordings::Zone> zone; ///< for local time
    const ArrowArray* array = nullptr;
    std::int64_t first = 0;
    std::uint64_t rowsBefore = 0;
    Validity validity;
    Validity entries;
    std::variant<std::vector<std::uint8_t>, std::vector<std::uint16_t>, std::vector<std::uint32_t>,
                 std::vector<std::uint64_t>, std::vector<std::int8_t>, std::vector<std::int16_t>,
                 std::vector<std::int32_t>, std::vector<std::int64_t>, std::vector<float>, std::vector<double>>
        room;
};

ArrowReader::ArrowReader(WantedSamples itsWanted, const ArrowSchema& schema)
    : parts(std::make_unique<Parts>(std::move(itsWanted), schema)) {}
ArrowReader::ArrowReader(ArrowReader&&) noexcept = default;
ArrowReader& ArrowReader::operator=(ArrowReader&&) noexcept = default;
ArrowReader::~ArrowReader() = default;

void ArrowReader::Take(const ArrowArray& array, std::int64_t first, std::int64_t rows, std::uint64_t rowsBefore) {
    parts->Take(array, first, rows, rowsBefore);
}

ArrowReader::Block ArrowReader::Read(std::size_t begin, std::size_t count) { return parts->Read(begin, count); }

const std::optional<Error>& ArrowReader::Fault() const { return parts->fault; }

ArrowReader::NoValues ArrowReader::TakenNoValues() const { return parts->taken; }

bool ArrowReader::Rounds() const {
    return parts->type.kind == Kind::Timestamp && parts->type.perSecond == nanosecondsPerSecond;
}

} // namespace VelPython
