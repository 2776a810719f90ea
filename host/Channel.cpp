#include "host/Channel.h"

#include <algorithm>
#include <array>

namespace Velreplay {

namespace {

constexpr std::array<std::string_view, 10> typeNames{"UInt8",  "UInt16", "UInt32", "UInt64",  "SInt8",
                                                     "SInt16", "SInt32", "SInt64", "Float32", "Float64"};

template <std::size_t... Index>
AnySamples Make(std::size_t index, std::index_sequence<Index...>) {
    AnySamples samples;
    ((Index == index ? void(samples.emplace<Index>()) : void()), ...);
    return samples;
}

} // namespace

AnySamples SamplesOfType(char letter) {
    return Make(typeLetters.find(letter), std::make_index_sequence<std::variant_size_v<AnySamples>>());
}

std::string_view TypeName(char letter) { return typeNames[typeLetters.find(letter)]; }

std::optional<char> TypeLetter(std::string_view name) {
    const auto found = std::find(typeNames.begin(), typeNames.end(), name);
    if (found == typeNames.end())
        return std::nullopt;
    return typeLetters[static_cast<std::size_t>(found - typeNames.begin())];
}

std::string TypeNames() {
    std::string all;
    for (const std::string_view name : typeNames)
        all.append(all.empty() ? "" : ", ").append(name);
    return all;
}

void Prepare(Channel& channel, std::size_t rows) {
    std::visit(
        [&](auto& samples) {
            samples.values.assign(rows + 2, samples.noValue); // one before, and one that a block may begin
            samples.finished = samples.values;
        },
        channel.samples);
}

void FillConstant(Channel& channel, const AnySamples& constant) {
    std::visit(
        [&]<class T>(Samples<T>& samples) {
            const T value = std::get<Samples<T>>(constant).noValue;
            std::fill(samples.values.begin() + 1, samples.values.end(), value);
            std::fill(samples.finished.begin() + 1, samples.finished.end(), value);
        },
        channel.samples);
}

void Finish(Channel& channel, std::size_t rows) {
    std::visit(
        [&](auto& samples) {
            samples.values.swap(samples.finished);
            samples.values[0] = samples.finished[rows];
            samples.values[1] = samples.finished[rows + 1];
        },
        channel.samples);
}

} // namespace Velreplay
