#include "Capsules.h"

#include "vocabulary/Error.h"

#include <nanobind/stl/string.h>

#include <cerrno>
#include <exception>
#include <new>

namespace nb = nanobind;

namespace VelPython {

namespace {

constexpr const char* schemaName = "arrow_schema";
constexpr const char* arrayName = "arrow_array";
constexpr const char* streamName = "arrow_array_stream";

template <class T>
nb::object CapsuleOf(Owned<T> owned, const char* name) {
    auto held = std::make_unique<Owned<T>>(std::move(owned));
    PyObject* const capsule = PyCapsule_New(&**held, name, [](PyObject* object) {
        auto* const value = static_cast<T*>(PyCapsule_GetPointer(object, PyCapsule_GetName(object)));
        delete reinterpret_cast<Owned<T>*>(value); // the structure is its first member
    });
    if (capsule == nullptr)
        throw nb::python_error();
    static_cast<void>(held.release());
    return nb::steal(capsule);
}

/// Takes a structure out of a producer's capsule.
template <class T>
Owned<T> Take(nb::handle capsule, const char* name) {
    auto* const value = static_cast<T*>(PyCapsule_GetPointer(capsule.ptr(), name));
    if (value == nullptr)
        throw nb::python_error();
    if (value->release == nullptr)
        throw Vel::Error("data", "its " + std::string(name) + " has been taken already",
                         "ask its producer for a new one");
    return Owned<T>(*value);
}

/// Releases the GIL, if this thread holds it, so that other Python threads can run.
class WithoutGil {
public:
    WithoutGil() : state(Py_IsInitialized() != 0 && PyGILState_Check() != 0 ? PyEval_SaveThread() : nullptr) {}
    WithoutGil(const WithoutGil&) = delete;
    WithoutGil& operator=(const WithoutGil&) = delete;
    ~WithoutGil() {
        if (state != nullptr)
            PyEval_RestoreThread(state);
    }

private:
    PyThreadState* state;
};

/// A stream over a producer of tables. Its exceptions become errors of the stream.
template <class TTables>
class Exported {
public:
    Exported(OwnedSchema itsSchema, TTables itsTables) : schema(std::move(itsSchema)), tables(std::move(itsTables)) {}

    static OwnedStream Export(OwnedSchema schema, TTables tables) {
        ArrowArrayStream stream{};
        stream.get_schema = [](ArrowArrayStream* self, ArrowSchema* out) {
            return Of(self).Call([out](Exported& exported) { CopySchema(*exported.schema).MoveTo(out); });
        };
        stream.get_next = [](ArrowArrayStream* self, ArrowArray* out) {
            return Of(self).Call([out](Exported& exported) { exported.tables.Next().MoveTo(out); });
        };
        stream.get_last_error = [](ArrowArrayStream* self) -> const char* {
            return Of(self).error.empty() ? nullptr : Of(self).error.c_str();
        };
        stream.release = [](ArrowArrayStream* self) {
            const WithoutGil noGil;
            delete &Of(self);
            self->release = nullptr;
        };
        stream.private_data = new Exported(std::move(schema), std::move(tables));
        return OwnedStream(stream);
    }

private:
    static Exported& Of(ArrowArrayStream* stream) { return *static_cast<Exported*>(stream->private_data); }

    template <class TFunction>
    int Call(TFunction function) noexcept {
        const WithoutGil noGil;
        try {
            function(*this);
            error.clear();
            return 0;
        } catch (const std::bad_alloc&) {
            return ENOMEM;
        } catch (const std::exception& thrown) {
            error = thrown.what();
            return EINVAL;
        }
    }

    OwnedSchema schema;
    TTables tables;
    std::string error;
};

struct OneTable {
    OwnedArray table;
    OwnedArray Next() { return std::move(table); }
};

struct KeptTables {
    std::vector<SharedArray> tables;
    std::size_t next = 0;
    OwnedArray Next() {
        if (next == tables.size())
            return {};
        const SharedArray& table = tables[next++];
        return ShareArray(**table, 0, (*table)->length, table);
    }
};

/// Closes the result when the stream is released.
struct ResultTables {
    std::shared_ptr<Replay> replay;

    explicit ResultTables(std::shared_ptr<Replay> itsReplay) : replay(std::move(itsReplay)) {}
    ResultTables(ResultTables&&) = default;
    ~ResultTables() {
        if (replay)
            replay->Close();
    }
    OwnedArray Next() { return replay->Next(); }
};

/// Views of the memory of Python objects.
class Views {
public:
    Views() = default;
    Views(const Views&) = delete;
    Views& operator=(const Views&) = delete;
    /// Any thread may be the last reader of the memory. After the interpreter has ended, the memory is not released.
    ~Views() {
        if (Py_IsInitialized() == 0)
            return;
        const nb::gil_scoped_acquire gil;
        for (Py_buffer& view : views)
            PyBuffer_Release(&view);
    }

    const void* Add(nb::handle object) {
        views.emplace_back();
        if (PyObject_GetBuffer(object.ptr(), &views.back(), PyBUF_SIMPLE) != 0) {
            views.pop_back();
            throw nb::python_error();
        }
        return views.back().buf;
    }

private:
    std::vector<Py_buffer> views;
};

} // namespace

nb::object SchemaCapsule(OwnedSchema schema) { return CapsuleOf(std::move(schema), schemaName); }
nb::object StreamCapsule(OwnedStream stream) { return CapsuleOf(std::move(stream), streamName); }

OwnedStream StreamOf(std::shared_ptr<Replay> replay) {
    OwnedSchema schema = CopySchema(replay->Schema());
    return Exported<ResultTables>::Export(std::move(schema), ResultTables(std::move(replay)));
}

OwnedStream StreamOfTables(OwnedSchema schema, std::vector<SharedArray> tables) {
    return Exported<KeptTables>::Export(std::move(schema), KeptTables{std::move(tables)});
}

OwnedStream StreamOfData(const nb::object& data) {
    if (nb::hasattr(data, "__arrow_c_stream__"))
        return Take<ArrowArrayStream>(data.attr("__arrow_c_stream__")(), streamName);
    if (!nb::hasattr(data, "__arrow_c_array__")) {
        const auto type = nb::cast<std::string>(data.type().attr("__name__"));
        throw nb::type_error(("data of the type " + type +
                              " are no table: give a mapping of arrays, or what has __arrow_c_stream__ or "
                              "__arrow_c_array__, as tables of pandas, polars, pyarrow and DuckDB have")
                                 .c_str());
    }
    const nb::object both = data.attr("__arrow_c_array__")();
    OwnedSchema schema = Take<ArrowSchema>(nb::object(both[0]), schemaName);
    OwnedArray array = Take<ArrowArray>(nb::object(both[1]), arrayName);
    return Exported<OneTable>::Export(std::move(schema), OneTable{std::move(array)});
}

nb::object StreamOfArrays(const std::vector<ArrayColumn>& columns, std::size_t rows) {
    const auto views = std::make_shared<Views>();
    std::vector<OwnedSchema> fields;
    std::vector<OwnedArray> arrays;
    for (const auto& [name, format, validity, values] : columns) {
        std::vector<const void*> buffers{validity.is_none() ? nullptr : views->Add(validity)};
        for (const nb::object& buffer : values)
            buffers.push_back(views->Add(buffer));
        ArrowArray array{};
        array.length = static_cast<std::int64_t>(rows);
        array.null_count = validity.is_none() ? 0 : -1;
        array.n_buffers = static_cast<std::int64_t>(buffers.size());
        array.buffers = buffers.data();
        arrays.push_back(ShareArray(array, 0, array.length, views));
        fields.push_back(MakeField(name, format));
    }
    return StreamCapsule(
        Exported<OneTable>::Export(MakeTableSchema(std::move(fields)), OneTable{MakeTable(rows, std::move(arrays))}));
}

std::shared_ptr<nb::object> Shared(nb::object object) {
    return {new nb::object(std::move(object)), [](nb::object* held) {
                if (Py_IsInitialized() == 0)
                    return; // the interpreter has ended
                const nb::gil_scoped_acquire gil;
                delete held;
            }};
}

} // namespace VelPython
