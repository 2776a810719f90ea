/// What the fuzz targets have in common.
#pragma once

#include "checks/Subject.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <string_view>

namespace VelFuzz {

/// Ends the process with a text, as a finding, unless the condition holds.
void Require(bool holds, std::string_view what);

/// Choices from the fuzzer's bytes; 0 when they are used up.
VelChecks::Choose ChoicesFrom(FuzzedDataProvider& bytes);

/// Chooses a row by its title, which the bytes hold as text: the first row that does not come before that text in the
/// alphabet. So kept inputs keep their meaning when rows are added or removed. The rows of a list must not move.
const VelChecks::Row& RowFrom(const std::vector<VelChecks::Row>& rows, FuzzedDataProvider& bytes);

/// Runs a function on each part of an input, from "----" to "----". So one file can keep many small inputs.
void ForEachPart(std::span<const std::uint8_t> input, const std::function<void(FuzzedDataProvider& bytes)>& run);

/// Receives the library's messages during its life, and checks their form.
class MessageCheck {
public:
    MessageCheck();
    MessageCheck(const MessageCheck&) = delete;
    MessageCheck& operator=(const MessageCheck&) = delete;
    ~MessageCheck() { SetMessageCallback(nullptr); }

    int Count() const;
};

} // namespace VelFuzz
