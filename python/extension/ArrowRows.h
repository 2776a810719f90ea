/// Rows of Arrow columns, one by one, as a new column.
#pragma once

#include "ArrowType.h"
#include "ArrowWriter.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace VelPython {

/// Copies values out of arrays of one schema. A dictionary's values stand for its indices; texts have offsets of 64
/// bits.
class ArrowRows {
public:
    /// Throws Vel::Error for a type whose values cannot be copied one by one, such as a list.
    ArrowRows(const ArrowSchema& schema, std::string itsName);

    /// Of the new column.
    const std::string& Format() const { return format; }

    /// Checks an array that rows up to `length` are taken from.
    void Check(const ArrowArray& array, std::int64_t length) const;
    void Append(const ArrowArray& array, std::int64_t row);
    std::size_t Rows() const { return rows; }
    /// The rows since the last time.
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
    Buffer values; ///< or the ends of texts
    Buffer texts;
};

} // namespace VelPython
