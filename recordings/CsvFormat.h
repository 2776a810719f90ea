/// How a table is written as text.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Vel::Recordings {

struct CsvFormat {
    char separator = ',';
    bool decimalComma = false;
    std::string thousands = {};            ///< the character between groups of three digits; empty: there is none
    std::vector<std::string> missing = {}; ///< cells that say "no sample", beside the empty one, NaN and NA
    std::uint64_t skippedLines = 0;        ///< before the header
    bool hasUnits = false;                 ///< in a row of their own below the header
    bool takesBadCells = false;            ///< as missing samples
    bool takesNoValues = false;            ///< cells that hold the NoValue of an integer type, as missing samples

    bool IsMissing(std::string_view cell) const {
        return std::find(missing.begin(), missing.end(), cell) != missing.end();
    }
};

/// What some programs put before a text in UTF-8.
inline constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

} // namespace Vel::Recordings
