/// The structures of the Arrow C data and stream interfaces, as Arrow lays them out, and owners for them.
#pragma once

#include <cstdint>
#include <string>
#include <utility>

#ifndef ARROW_C_DATA_INTERFACE
#define ARROW_C_DATA_INTERFACE

#define ARROW_FLAG_DICTIONARY_ORDERED 1
#define ARROW_FLAG_NULLABLE 2
#define ARROW_FLAG_MAP_KEYS_SORTED 4

extern "C" {

struct ArrowSchema {
    const char* format;
    const char* name;
    const char* metadata;
    int64_t flags;
    int64_t n_children;
    struct ArrowSchema** children;
    struct ArrowSchema* dictionary;
    void (*release)(struct ArrowSchema*);
    void* private_data;
};

struct ArrowArray {
    int64_t length;
    int64_t null_count;
    int64_t offset;
    int64_t n_buffers;
    int64_t n_children;
    const void** buffers;
    struct ArrowArray** children;
    struct ArrowArray* dictionary;
    void (*release)(struct ArrowArray*);
    void* private_data;
};
}

#endif

#ifndef ARROW_C_STREAM_INTERFACE
#define ARROW_C_STREAM_INTERFACE

extern "C" {

struct ArrowArrayStream {
    int (*get_schema)(struct ArrowArrayStream*, struct ArrowSchema* out);
    int (*get_next)(struct ArrowArrayStream*, struct ArrowArray* out);
    const char* (*get_last_error)(struct ArrowArrayStream*);
    void (*release)(struct ArrowArrayStream*);
    void* private_data;
};
}

#endif

namespace VelPython {

/// Owns one of these structures and releases it once. A structure whose `release` is null is empty.
template <class T>
class Owned {
public:
    Owned() = default;
    /// Moves the contents out of a producer's structure, which is empty afterwards.
    explicit Owned(T& given) : value(std::exchange(given, T{})) {}
    Owned(Owned&& other) noexcept : value(std::exchange(other.value, T{})) {}
    Owned& operator=(Owned&& other) noexcept {
        if (this != &other) {
            Release();
            value = std::exchange(other.value, T{});
        }
        return *this;
    }
    ~Owned() { Release(); }

    T* operator->() { return &value; }
    const T* operator->() const { return &value; }
    T& operator*() { return value; }
    const T& operator*() const { return value; }
    explicit operator bool() const { return value.release != nullptr; }

    /// Moves the contents to a consumer's structure, which must be empty.
    void MoveTo(T* to) { *to = std::exchange(value, T{}); }

private:
    void Release() {
        if (value.release != nullptr)
            value.release(&value);
    }

    T value{};
};

using OwnedSchema = Owned<ArrowSchema>;
using OwnedArray = Owned<ArrowArray>;
using OwnedStream = Owned<ArrowArrayStream>;

} // namespace VelPython
