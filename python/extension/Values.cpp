#include "Values.h"

#include "engine/Duration.h"
#include "vocabulary/Quote.h"

#include <nanobind/ndarray.h>

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace nb = nanobind;

namespace VelPython {

namespace {

using Vel::Engine::Value;
using Pairs = std::vector<std::array<double, 2>>;

std::optional<Value> WholeFrom(nb::handle object) {
    std::int64_t whole = 0;
    if (nb::try_cast(object, whole, false))
        return whole;
    std::uint64_t large = 0;
    if (nb::try_cast(object, large, false))
        return large;
    return std::nullopt;
}

/// Converts lists and arrays with NumPy, if they have two columns of numbers.
std::optional<Pairs> PairsFrom(nb::handle object) {
    nb::object array;
    try {
        array =
            nb::module_::import_("numpy").attr("asarray")(object, nb::arg("dtype") = "float64", nb::arg("order") = "C");
    } catch (const nb::python_error& error) {
        if (!error.matches(PyExc_ValueError) && !error.matches(PyExc_TypeError))
            throw;
        return std::nullopt;
    }
    nb::ndarray<const double, nb::ndim<2>, nb::c_contig> pairs;
    if (!nb::try_cast(array, pairs) || pairs.shape(1) != 2)
        return std::nullopt;
    Pairs result(pairs.shape(0));
    for (std::size_t i = 0; i < result.size(); ++i)
        result[i] = {pairs.data()[2 * i], pairs.data()[2 * i + 1]};
    return result;
}

} // namespace

Value ValueFrom(nb::handle object, const std::string& place, const std::string& name) {
    if (PyBool_Check(object.ptr()))
        return object.ptr() == Py_True;
    if (PyLong_Check(object.ptr()))
        if (const auto whole = WholeFrom(object))
            return *whole;
    if (PyFloat_Check(object.ptr()))
        return PyFloat_AsDouble(object.ptr());
    if (PyUnicode_Check(object.ptr())) {
        const std::string text = nb::str(object).c_str();
        if (auto duration = Vel::Engine::ParseDuration(text))
            return *duration;
        throw Vel::Error(place, Vel::Quoted(name) + " cannot be " + Vel::Quoted(text), Vel::Engine::durationHint);
    }
    if (nb::hasattr(object, "total_seconds"))
        return Vel::Engine::Duration{nb::cast<double>(object.attr("total_seconds")()), nb::str(object).c_str()};
    if (nb::hasattr(object, "item") && nb::hasattr(object, "ndim") && nb::cast<int>(object.attr("ndim")) == 0) {
        const nb::object scalar = object.attr("item")();
        if (!nb::hasattr(scalar, "item"))
            return ValueFrom(scalar, place, name);
    }
    if (!PyLong_Check(object.ptr()))
        if (auto pairs = PairsFrom(object))
            return *pairs;
    throw Vel::Error(place, Vel::Quoted(name) + " cannot be " + Vel::Quoted(nb::repr(object).c_str()),
                     "give a number, True or False, a duration such as \"10 s\", or pairs of numbers such as "
                     "[[0, 4], [10, 20]]");
}

Vel::Engine::ParametersByName ValuesFrom(const nb::dict& objects, const std::string& place) {
    Vel::Engine::ParametersByName values;
    for (const auto& [key, object] : objects) {
        const std::string name = nb::str(key).c_str();
        values.emplace(name, ValueFrom(object, place, name));
    }
    return values;
}

} // namespace VelPython
