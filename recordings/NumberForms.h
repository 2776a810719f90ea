/// Forms of numbers that only some programs write. They are tried where the usual form does not fit.
#pragma once

#include "recordings/CsvFormat.h"
#include "vocabulary/SampleTypes.h"

#include <string>
#include <string_view>
#include <system_error>

namespace Vel::Recordings {

/// The number with a decimal point and without groups of digits. What is no number of the format stays none. `buffer`
/// may hold the text.
std::string_view PlainNumber(std::string_view text, const CsvFormat& format, std::string& buffer);

/// Integers: 5.0, 1e3, 0x1F, true and false. Floating types: what lies too near to 0 for them is 0. `error` is what the
/// usual form has met, and what is returned where none fits.
template <Sample T>
std::errc ReadOtherForm(std::string_view text, std::errc error, T& value);

} // namespace Vel::Recordings
