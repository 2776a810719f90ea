/// The parameters of an operation: by name as a plan says them, in order as Initialize takes them.
#pragma once

#include "engine/Calls.h"
#include "engine/Engine.h"
#include "engine/GearTable.h"
#include "vocabulary/Vocabulary.h"

#include <list>

namespace Vel::Engine {

/// What Initialize takes, with what must live until it has been called.
struct OrderedParameters {
    ArgumentList list;
    std::list<GearTable> tables;
    std::list<std::string> texts;
};

/// Puts the parameters of an operation in order. `type` is the letter of the last operand's type. Throws Error, with
/// the place that is given, for what is missing, unknown or makes no sense.
OrderedParameters OrderParameters(const Operation& operation, char type, const ParametersByName& given,
                                  const std::string& place);

} // namespace Vel::Engine
