/// How a table is written as text.
#pragma once

#include <string_view>

namespace Vel::Recordings {

struct CsvFormat {
    char separator = ',';
    bool decimalComma = false;
};

/// What some programs put before a text in UTF-8.
inline constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

} // namespace Vel::Recordings
