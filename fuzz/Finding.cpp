#include "fuzz/Finding.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>

namespace VelFuzz {

namespace {

int messages = 0;

void Check(int level, const char* text) {
    constexpr std::size_t bufferSize = 120;
    constexpr std::string_view prefix = "VelOperation.dll : ";
    ++messages;
    Require(level == 2 || level == 4 || level == 8, "an unknown level of a message");
    Require(strnlen(text, bufferSize) < bufferSize, "a message longer than its buffer");
    Require(std::string_view(text).starts_with(prefix), "a message without the name of the library");
}

} // namespace

void Require(bool holds, std::string_view what) {
    if (holds)
        return;
    std::fprintf(stderr, "Not as required: %.*s\n", static_cast<int>(what.size()), what.data());
    std::abort();
}

VelChecks::Choose ChoicesFrom(FuzzedDataProvider& bytes) {
    return [&bytes](std::uint64_t count) { return bytes.ConsumeIntegralInRange<std::uint64_t>(0, count - 1); };
}

const VelChecks::Row& RowFrom(const std::vector<VelChecks::Row>& rows, FuzzedDataProvider& bytes) {
    using Index = std::map<std::string, const VelChecks::Row*>;
    static std::map<const std::vector<VelChecks::Row>*, Index> indices;
    Index& index = indices[&rows];
    if (index.empty())
        for (const VelChecks::Row& row : rows)
            index.emplace(std::string(row.operation->name) + ' ' + row.signature, &row);
    const auto found = index.lower_bound(bytes.ConsumeRandomLengthString());
    return *(found == index.end() ? index.begin() : found)->second;
}

void ForEachPart(std::span<const std::uint8_t> input, const std::function<void(FuzzedDataProvider& bytes)>& run) {
    constexpr std::string_view separator = "----";
    while (!input.empty()) {
        const auto end = std::search(input.begin(), input.end(), separator.begin(), separator.end());
        const auto length = static_cast<std::size_t>(end - input.begin());
        FuzzedDataProvider bytes(input.data(), length);
        run(bytes);
        input = input.subspan(std::min(length + separator.size(), input.size()));
    }
}

MessageCheck::MessageCheck() {
    messages = 0;
    SetMessageCallback(&Check);
}

int MessageCheck::Count() const { return messages; }

} // namespace VelFuzz
