/// Forms of numbers that only some programs write. They are tried where the usual form does not fit.
#pragma once

#include "recordings/CsvFormat.h"
#include "vocabulary/SampleTypes.h"

#include <string>
#include <string_view>
#include <system_error>

namespace Vel::Recordings {

/// Returns the number with a decimal point and without groups of digits, perhaps in `buffer`. A text that is not a
/// number of the format becomes one that is not a number at all.
std::string_view PlainNumber(std::string_view text, const CsvFormat& format, std::string& buffer);

/// Reads integers written 5.0, 1e3, 0x1F, true or false. A number too near to 0 for a floating type becomes 0. `error`
/// is the error of the usual form, and is returned if no other form fits.
template <Sample T>
std::errc ReadOtherForm(std::string_view text, std::errc error, T& value);

} // namespace Vel::Recordings
