// The parameters of an operation: by name as a plan says them, in order as Initialize takes them.
#pragma once

#include "host/Arguments.h"
#include "host/GearTable.h"
#include "host/Plan.h"
#include "host/Vocabulary.h"

#include <list>

namespace Velreplay {

/// What Initialize takes, with what must live until it has been called.
struct OrderedParameters {
    ArgumentList list;
    std::list<GearTable> tables;
    std::list<std::string> texts;
};

/// Puts the parameters of a computation in order. `type` is the letter of the operand's type. Refuses what is missing,
/// unknown or out of range.
OrderedParameters OrderParameters(const Operation& operation, char type, const ComputationPlan& plan);

} // namespace Velreplay
