/// Turns an operation's parameters, named in the plan, into the ordered list that Initialize takes.
#pragma once

#include "engine/Calls.h"
#include "engine/Engine.h"
#include "engine/GearTable.h"
#include "vocabulary/Vocabulary.h"

#include <list>

namespace Vel::Engine {

/// The arguments of Initialize, and the objects that must live until it has been called.
struct OrderedParameters {
    ArgumentList list;
    std::list<GearTable> tables;
    std::list<std::string> texts;
};

/// Puts the parameters of an operation in order. `type` is the letter of the last operand's type. Throws Error with
/// `place` for parameters that are missing or unknown, or whose values make no sense.
OrderedParameters OrderParameters(const Operation& operation, char type, const ParametersByName& given,
                                  const std::string& place);

} // namespace Vel::Engine
