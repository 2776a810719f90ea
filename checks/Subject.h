/// Every row of the vocabulary as a subject of checks: an operation on its own channels, with valid parameters and with
/// samples around the edges. For checks that walk over all rows, and for the fuzz targets.
#pragma once

#include "checks/Samples.h"
#include "engine/Parameters.h"
#include "vocabulary/Vocabulary.h"

#include <VelOperation.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <random>
#include <span>
#include <string>
#include <vector>

namespace VelChecks {

/// Chooses a number below `count`: from a seeded generator in walks, from the fuzzer's bytes in its targets.
using Choose = std::function<std::uint64_t(std::uint64_t count)>;

/// The same choices on every run, whatever the compiler.
class SeededChoice {
public:
    explicit SeededChoice(std::uint64_t seed) : engine(seed) {}
    std::uint64_t operator()(std::uint64_t count) { return engine() % count; }

private:
    std::mt19937_64 engine;
};

/// One accepted combination of types.
struct Row {
    const Vel::Operation* operation;
    std::string signature;

    std::string Title(bool noValueAware) const;
};

std::vector<Row> AllRows();

std::size_t SizeOfSample(char letter);
bool IsNaN(char letter, SampleBits sample);
bool IsAbove(char letter, SampleBits sample, SampleBits other);
/// The same bits, or two NaNs.
bool AreSame(char letter, SampleBits sample, SampleBits other);
/// Whether a sample is its channel's NoValue, as the library compares.
bool IsNoValue(char letter, SampleBits sample, SampleBits marker);

/// A whole number in a type; only its low bits where the type is too narrow.
SampleBits SampleOf(char letter, std::int64_t whole);

/// Small whole numbers, the ends of the type, infinities, NaNs.
SampleBits ChooseSample(char letter, const Choose& choose);

/// The usual marker of a type: a NaN, or the lowest signed, or the highest unsigned value.
SampleBits UsualNoValue(char letter);

/// Parameters that the row's operation accepts. Sometimes leaves optional ones out.
Vel::Engine::ParametersByName ChooseParametersByName(const Row& row, const Choose& choose);
Vel::Engine::OrderedParameters ChooseParameters(const Row& row, const Choose& choose);

/// A channel's own sample, of any type: bytes, which the library reads as that type.
class SampleCell {
public:
    SampleCell& operator=(SampleBits sample) noexcept {
        std::memcpy(bytes.data(), &sample, sizeof sample);
        return *this;
    }
    operator SampleBits() const noexcept { // NOLINT(google-explicit-constructor): it stands for its sample
        SampleBits sample = 0;
        std::memcpy(&sample, bytes.data(), sizeof sample);
        return sample;
    }
    const void* Address() const noexcept { return bytes.data(); }

private:
    alignas(SampleBits) std::array<std::byte, sizeof(SampleBits)> bytes{};
};

/// A row's operation, created on channels that hold their NoValue, as a host creates it.
class Subject {
public:
    /// `noValues`: one for each letter of the signature, or nothing where an operand has none; empty: the usual ones.
    Subject(Row itsRow, bool noValueAware, std::span<const std::optional<SampleBits>> noValues = {});
    Subject(const Subject&) = delete;
    Subject& operator=(const Subject&) = delete;
    ~Subject() { Dispose(handle); }

    VelHandle Handle() const { return handle; }
    bool Initialize(const Vel::Engine::OrderedParameters& parameters) {
        return Vel::Engine::CallInitialize(handle, parameters.list);
    }
    bool Execute() { return ::Execute(handle); }
    bool Reset() { return ::Reset(handle); }
    bool Terminate() { return ::Terminate(handle); }

    std::span<SampleCell> Results() { return std::span(samples).first(row.operation->results); }
    std::span<SampleCell> Operands() {
        return std::span(samples).subspan(row.operation->results, row.operation->operands);
    }
    std::span<const std::optional<SampleBits>> ResultMarkers() const {
        return std::span(markers).first(row.operation->results);
    }
    /// The letter of an operand's type.
    char Letter(std::size_t operand) const { return row.signature[row.operation->results + operand]; }
    bool HasNoValue() const;

    /// Gives each operand a sample, sometimes its NoValue. Avoids divisions that fault.
    void ChooseOperands(const Choose& choose);
    /// Makes one channel of the signature use the sample of another one.
    void ShareChannel(std::size_t channel, std::size_t with) { pointers[channel].Aim(samples[with].Address()); }
    /// Replaces a divisor that makes the processor fault.
    void KeepFromFaults();

private:
    static constexpr std::size_t mostChannels = 17;

    const Row row;
    std::array<std::optional<SampleBits>, mostChannels> markers{};
    std::array<SampleCell, mostChannels> samples{};
    std::vector<Vel::Engine::SamplePointer> pointers;
    VelHandle handle = nullptr;
};

} // namespace VelChecks
