/// The file from which the gear determination learns a vehicle's ratios.
///
/// It is read in pieces of up to 80 bytes, and the test on them is intended to be the reverse of the usual one: a piece
/// of exactly 80 bytes ends the table, and only shorter ones are records. The end of the file does not end the table.
/// So the writer has to deliver records one by one, as a pipe in packet mode does.
///
/// A record is "<ratio><one character>=<gear>" and a NUL, for instance "3.45 =2". Everything in front of the NUL is one
/// text, whatever it holds, and line ends have no meaning. A record without a NUL runs on into what an earlier, longer
/// one left in the buffer.
#pragma once

#include "core/SampleTypes.h"

#include <optional>
#include <string_view>
#include <vector>

namespace Velmarosk::Operation {

struct GearEntry {
    Float32 ratio;
    SInt8 gear;
};

/// The entry in the text of one piece; nothing if it has no "=". A ratio or a gear that is no number is 0.
std::optional<GearEntry> ParseGearRecord(std::string_view text) noexcept;

/// Appends a file's entries to a table. True if the table's end was reached; false if the file cannot be opened, or not
/// be read any further, and what was read by then stays in the table. Does not return while neither comes: at the end
/// of a file without a closing piece it goes over the last record again and again, until no memory is left for the
/// table.
bool AppendGearTable(const char* fileName, std::vector<GearEntry>& table);

} // namespace Velmarosk::Operation
