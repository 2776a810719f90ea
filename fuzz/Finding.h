/// What the fuzz targets have in common.
#pragma once

#include "checks/Subject.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <string_view>

namespace VelFuzz {

/// Ends the process with a text, as a finding of the fuzzer, unless the condition holds.
void Require(bool holds, std::string_view what);

/// Choices from the fuzzer's bytes; 0 when they are used up.
VelChecks::Choose ChoicesFrom(FuzzedDataProvider& bytes);

/// A row by its title, which the bytes hold as text: the first one that is not before that text in the alphabet. So
/// kept inputs mean the same when rows come and go. The rows of a list must stay where they are.
const VelChecks::Row& RowFrom(const std::vector<VelChecks::Row>& rows, FuzzedDataProvider& bytes);

/// Runs a function on each part of an input, from "----" to "----". So many small inputs can be kept as one.
void ForEachPart(std::span<const std::uint8_t> input, const std::function<void(FuzzedDataProvider& bytes)>& run);

/// Receives the library's messages while it lives, and requires their form.
class MessageCheck {
public:
    MessageCheck();
    MessageCheck(const MessageCheck&) = delete;
    MessageCheck& operator=(const MessageCheck&) = delete;
    ~MessageCheck() { SetMessageCallback(nullptr); }

    int Count() const;
};

} // namespace VelFuzz
