#include "Module.h"

#include "recordings/OutputFile.h"

#include <nanobind/nanobind.h>
#include <nanobind/stl/string.h>

#include <optional>
#include <string>
#include <string_view>

namespace nb = nanobind;

namespace VelPython {

namespace {

using Vel::Recordings::OutputFile;

/// The bytes of an object, for as long as this lives.
class Bytes {
public:
    explicit Bytes(nb::handle object) {
        if (PyObject_GetBuffer(object.ptr(), &view, PyBUF_SIMPLE) != 0)
            throw nb::python_error();
    }
    Bytes(const Bytes&) = delete;
    Bytes& operator=(const Bytes&) = delete;
    ~Bytes() { PyBuffer_Release(&view); }

    std::string_view Text() const { return {static_cast<const char*>(view.buf), static_cast<std::size_t>(view.len)}; }

private:
    Py_buffer view{};
};

/// An OutputFile that is removed when the caller says so: an exception that is passed on keeps objects alive.
class PythonFile {
public:
    explicit PythonFile(const std::string& name) { file.emplace(name); }

    bool Write(nb::handle bytes) {
        const Bytes text(bytes);
        const nb::gil_scoped_release noGil;
        return file.value().Write(text.Text());
    }
    void Keep() { file.value().Keep(); }
    void Discard() { file.reset(); }

private:
    std::optional<OutputFile> file;
};

} // namespace

void AddFiles(nb::module_& module) {
    nb::class_<PythonFile>(module, "OutputFile")
        .def(nb::init<const std::string&>(), nb::arg("name"))
        .def("write", &PythonFile::Write, nb::arg("bytes"))
        .def("keep", &PythonFile::Keep, nb::call_guard<nb::gil_scoped_release>())
        .def("discard", &PythonFile::Discard);
}

} // namespace VelPython
