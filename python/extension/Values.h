/// Values of parameters and settings, from Python.
#pragma once

#include "engine/Engine.h"

#include <nanobind/nanobind.h>

#include <string>

namespace VelPython {

/// Takes bool, int, float, what NumPy has of them, "10 s", datetime.timedelta, and pairs of numbers as lists or as an
/// array. Throws Vel::Error with `place`, and the name of what the value is for, for anything else.
Vel::Engine::Value ValueFrom(nanobind::handle object, const std::string& place, const std::string& name);

Vel::Engine::ParametersByName ValuesFrom(const nanobind::dict& objects, const std::string& place);

} // namespace VelPython
