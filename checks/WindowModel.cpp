#include "checks/WindowModel.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <limits>
#include <set>

namespace VelChecks {

namespace {

using Vel::Engine::Argument;
using Vel::Engine::ArgumentList;
using Answer = WindowModel::Answer;

/// A parameter as a sample: the low bits of an integer, a double narrowed for Float32.
template <class T>
T SampleFrom(const Argument& argument) {
    return std::visit(
        []<class TValue>(TValue value) {
            if constexpr (std::is_floating_point_v<T> == std::is_floating_point_v<TValue> && !std::is_pointer_v<TValue>)
                return static_cast<T>(value);
            else
                return T{};
        },
        argument);
}

std::uint32_t CountFrom(const Argument& argument) { return std::get<std::uint32_t>(argument); }

/// What all have in common: the samples that they hold.
template <class T>
class Holding : public WindowModel {
public:
    void Reset() override { held.clear(); }
    bool MayAllocate(SampleBits sample, bool isNoValue) const override {
        return Enters(FromBits<T>(sample), isNoValue) && held.size() >= mostHeld && !Leaves();
    }

protected:
    /// Whether a sample enters, and whether the oldest leaves for it.
    virtual bool Enters(T sample, bool isNoValue) const = 0;
    virtual bool Leaves() const = 0;

    void Hold(T sample) {
        held.push_back(sample);
        mostHeld = std::max(mostHeld, held.size());
    }
    bool Admits(T sample) const { return !(lower > sample) && !(sample > upper); }
    void SetBounds(const Argument& itsLower, const Argument& itsUpper) {
        lower = SampleFrom<T>(itsLower);
        upper = SampleFrom<T>(itsUpper);
    }

    std::deque<T> held;
    std::uint32_t length = 0;

private:
    std::size_t mostHeld = 0;
    T lower = std::numeric_limits<T>::lowest();
    T upper = std::numeric_limits<T>::max();
};

template <class T>
class Line final : public Holding<T> {
public:
    explicit Line(bool isItAware) : isAware(isItAware) { this->length = 1; }

    void Initialize(const ArgumentList& parameters) override {
        const auto& values = parameters.arguments;
        this->length = values.empty() ? 1 : CountFrom(values[0]);
        initialValue = values.size() < 2 ? T{} : SampleFrom<T>(values[1]);
        if (values.size() >= 2 && this->length == 0)
            this->length = 1;
    }

    Answer Execute(SampleBits bits, bool isNoValue) override {
        const T sample = FromBits<T>(bits);
        if (!Enters(sample, isNoValue))
            return isAware && isNoValue ? Answer{false, {BitsOf(Vel::defaultNoValue<T>)}} : Answer{true, {bits}};
        const bool isFull = Leaves();
        const T result = isFull ? this->held.front() : initialValue;
        if (isFull)
            this->held.pop_front();
        this->Hold(sample);
        return {true, {BitsOf(result)}};
    }

private:
    bool Enters(T /*sample*/, bool isNoValue) const override {
        return !(isAware && isNoValue) && (this->length != 0 || !this->held.empty());
    }
    bool Leaves() const override { return this->held.size() == this->length; }

    bool isAware;
    T initialValue{};
};

/// The oldest of the smallest, or the newest of the largest, and a NaN only where there is nothing else. Without a
/// window the newest of equal ones.
template <class T, bool isMax>
class Extreme final : public Holding<T> {
public:
    explicit Extreme(bool isItAware) : isAware(isItAware) {}

    void Initialize(const ArgumentList& parameters) override {
        const auto& values = parameters.arguments;
        if (values.size() < 2)
            return;
        this->SetBounds(values[0], values[1]);
        this->length = values.size() == 2 ? 0 : CountFrom(values[2]);
    }

    void Reset() override {
        Holding<T>::Reset();
        sorted.clear();
        places.clear();
        isFull = hasValue = false;
        extreme = start;
    }

    /// Samples of a narrow type that can still become the extreme all differ.
    bool MayAllocate(SampleBits sample, bool isNoValue) const override {
        if constexpr (sizeof(T) <= sizeof(std::uint16_t))
            if (this->held.size() >= std::size_t{1} << (8 * sizeof(T)))
                return false;
        return Holding<T>::MayAllocate(sample, isNoValue);
    }

    Answer Execute(SampleBits bits, bool isNoValue) override {
        const T sample = FromBits<T>(bits);
        if (isAware && isNoValue)
            return Known();
        if (!this->Admits(sample))
            return {hasValue, {}};
        if (this->length == 0) {
            if (isMax ? sample >= extreme : sample <= extreme) {
                extreme = sample;
                hasValue = true;
            }
            return Known();
        }
        if (Leaves()) {
            if (places.front() != sorted.end())
                sorted.erase(places.front());
            places.pop_front();
            this->held.pop_front();
        }
        this->Hold(sample);
        places.push_back(IsNaN(sample) ? sorted.end() : sorted.insert(sample));
        isFull = isFull || this->held.size() == this->length;
        hasValue = true;
        return {true, {BitsOf(sorted.empty() ? sample : isMax ? *sorted.rbegin() : *sorted.begin())}};
    }

private:
    bool Enters(T sample, bool isNoValue) const override {
        return !(isAware && isNoValue) && this->length != 0 && this->Admits(sample);
    }
    bool Leaves() const override { return isFull; }
    Answer Known() const { return {hasValue, {hasValue ? std::optional(BitsOf(extreme)) : std::nullopt}}; }

    static constexpr T start = isMax ? std::numeric_limits<T>::lowest() : std::numeric_limits<T>::max();

    bool isAware;
    bool isFull = false, hasValue = false;
    T extreme = start;
    std::multiset<T> sorted;
    std::deque<typename std::multiset<T>::iterator> places;
};

/// "Average", and "Statistics", which shows extremes of everything beside its mean.
template <class T>
class Mean final : public Holding<T> {
public:
    Mean(bool isItAware, bool hasItExtremes) : isAware(isItAware), hasExtremes(hasItExtremes) {}

    void Initialize(const ArgumentList& parameters) override {
        const auto& values = parameters.arguments;
        if (values.size() < 3 || (values.size() > 3 && hasExtremes))
            return;
        this->length = CountFrom(values[0]);
        this->SetBounds(values[1], values[2]);
        if (values.size() == 4)
            noValueLimit = CountFrom(values[3]);
    }

    void Reset() override {
        Holding<T>::Reset();
        count = noValues = 0;
        sum = 0;
        min = max = {};
    }

    Answer Execute(SampleBits bits, bool isNoValue) override {
        const T sample = FromBits<T>(bits);
        if (isAware && isNoValue)
            return Known();
        if (isNoValue && noValueLimit != 0)
            return ++noValues < noValueLimit && count != 0 ? Known() : Answer{false, {BitsOf(Vel::defaultNoValue<T>)}};
        noValues = 0;
        if (!this->Admits(sample)) {
            Answer answer = Known();
            if (hasExtremes)
                answer.results[0] = answer.results[1] = {};
            return answer;
        }
        if (Leaves()) {
            sum -= Wide(this->held.front());
            this->held.pop_front();
        } else if (this->length == 0 || count < this->length) {
            ++count;
        }
        if (this->length != 0)
            this->Hold(sample);
        sum = Wide(sample) + sum;
        if (sample <= min.value_or(std::numeric_limits<T>::max()))
            min = sample;
        if (sample >= max.value_or(std::numeric_limits<T>::lowest()))
            max = sample;
        return Known();
    }

private:
    bool Enters(T sample, bool isNoValue) const override {
        return !(isNoValue && (isAware || noValueLimit != 0)) && this->length != 0 && this->Admits(sample);
    }
    bool Leaves() const override { return this->length != 0 && count >= this->length && !this->held.empty(); }

    /// Samples above the signed range round twice.
    static double Wide(T sample) {
        if constexpr (std::same_as<T, std::uint64_t>)
            return static_cast<double>(static_cast<std::int64_t>(sample)) + (sample >> 63 != 0 ? 0x1p64 : 0.0);
        else
            return static_cast<double>(sample);
    }
    /// The rounding of large integers takes their mean out of the range.
    T Narrow(double mean) const {
        if constexpr (std::same_as<T, std::uint64_t>)
            return mean < 0x1p63   ? static_cast<T>(static_cast<std::int64_t>(mean))
                   : mean < 0x1p64 ? static_cast<T>(mean)
                                   : std::uint64_t{1} << 63;
        else if constexpr (std::same_as<T, std::int64_t>)
            return mean >= 0x1p63 ? std::numeric_limits<T>::lowest() : static_cast<T>(mean);
        else
            return static_cast<T>(mean);
    }
    Answer Known() const {
        const auto bits = [](bool isKnown, T value) { return isKnown ? std::optional(BitsOf(value)) : std::nullopt; };
        const auto mean = bits(count != 0, count != 0 ? Narrow(sum / static_cast<double>(count)) : T{});
        if (hasExtremes)
            return {min && max && mean,
                    {bits(min.has_value(), min.value_or(T{})), bits(max.has_value(), max.value_or(T{})), mean}};
        return {mean.has_value(), {mean}};
    }

    bool isAware, hasExtremes;
    std::uint32_t noValueLimit = 0, noValues = 0;
    std::uint64_t count = 0;
    double sum = 0;
    std::optional<T> min, max;
};

} // namespace

std::unique_ptr<WindowModel> WindowModel::Of(const Row& row, bool noValueAware) {
    const std::string_view name = row.operation->name;
    if (row.operation->operands != 1)
        return nullptr;
    return WithType(row.signature.back(), [&]<class T>(T) -> std::unique_ptr<WindowModel> {
        if (name == "GetOldValueN")
            return std::make_unique<Line<T>>(noValueAware);
        if (name == "Min")
            return std::make_unique<Extreme<T, false>>(noValueAware);
        if (name == "Max")
            return std::make_unique<Extreme<T, true>>(noValueAware);
        if (name == "Average" || name == "Statistics")
            return std::make_unique<Mean<T>>(noValueAware, name == "Statistics");
        return nullptr;
    });
}

} // namespace VelChecks
