/// The file from which the gear determination learns a vehicle's ratios.
///
/// It is read in pieces of up to 80 bytes. A piece of exactly 80 bytes ends the table; only shorter ones are records.
/// That is the reverse of the usual test. The end of the file does not end the table. So the writer must deliver
/// records one by one, as a pipe in packet mode does.
///
/// A record is "<ratio><one character>=<gear>" and a NUL, for instance "3.45 =2". Everything before the NUL is one
/// text, whatever it contains; line ends have no meaning. A record without a NUL continues with what an earlier, longer
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

/// Appends a file's entries to a table. True if it reached the table's end; false if it cannot open the file or read
/// on, and what it has read stays in the table. It returns for no other reason: at the end of a file without a closing
/// piece it appends the last record again and again, until memory runs out.
bool AppendGearTable(const char* fileName, std::vector<GearEntry>& table);

} // namespace Velmarosk::Operation
