/// What else a recording may be, where it cannot be read as the table that was asked for.
#pragma once

#include "recordings/CsvFormat.h"

#include <span>
#include <string>
#include <string_view>

namespace Vel::Recordings {

/// Throws Error for a recording that begins like no text of single bytes: compressed, UTF-16, binary. The message shows
/// none of it.
void RefuseOtherThanText(std::string_view beginning, const std::string& name);

/// Advice where the header lacks a channel, or is no CSV: the options with which the beginning has more of the names,
/// or a name like the missing one, and the header.
std::string AdviceOnHeader(std::string_view beginning, std::size_t headerOffset, const CsvFormat& format,
                           std::span<const std::string> wanted, std::span<const std::string> header,
                           const std::string& missing);

} // namespace Vel::Recordings
