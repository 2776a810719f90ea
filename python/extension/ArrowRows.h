/// Copies single rows of Arrow columns to a new column.
#pragma once

#include "ArrowType.h"
#include "ArrowWriter.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace VelPython {

/// Copies values from arrays of one schema. Dictionary indices are replaced by their values; texts get 64-bit offsets.
class ArrowRows {
public:
    /// Throws Vel::Error for a type whose values cannot be copied one by one, such as a list.
    ArrowRows(const ArrowSchema& schema, std::string itsName);

    /// The Arrow format of the new column.
    const std::string& Format() const { return format; }

    /// Checks an array before rows up to `length` are copied from it.
    void Check(const ArrowArray& array, std::int64_t length) const;
    void Append(const ArrowArray& array, std::int64_t row);
    std::size_t Rows() const { return rows; }
    /// The rows since the last call.
    OwnedArray Finish();

private:
    void AppendValue(const ArrowArray& array, std::size_t row);
    void AppendText(const void* text, std::size_t bytes);
    void AppendNull();

    std::string name;
    ArrowType type;
    bool isDictionary;
    ArrowType indexType;
    std::string format;
    std::size_t rows = 0;
    std::size_t nulls = 0;
    Buffer validity;
    Buffer values; ///< for texts their end offsets
    Buffer texts;
};

} // namespace VelPython
