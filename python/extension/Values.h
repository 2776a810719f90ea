/// Converts Python objects to values of parameters and settings.
#pragma once

#include "engine/Engine.h"

#include <nanobind/nanobind.h>

#include <string>

namespace VelPython {

/// Accepts bool, int, float, their NumPy types, "10 s", datetime.timedelta, and pairs of numbers as lists or as an
/// array. Throws Vel::Error with `place` and the name of the parameter or setting for anything else.
Vel::Engine::Value ValueFrom(nanobind::handle object, const std::string& place, const std::string& name);

Vel::Engine::ParametersByName ValuesFrom(const nanobind::dict& objects, const std::string& place);

} // namespace VelPython
