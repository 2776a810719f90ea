// The table of "Gangermittlung", delivered to the library as a file that ends as the library expects.
#pragma once

#include <array>
#include <string>
#include <vector>

namespace Velreplay {

/// A pipe in packet mode: each gear is one packet, which the library reads as one record, and a packet of exactly 80
/// bytes ends the table. (At the end of a short regular file the library would read on for ever.)
class GearTable {
public:
    /// Pairs of ratio and gear.
    explicit GearTable(const std::vector<std::array<double, 2>>& gears);
    GearTable(const GearTable&) = delete;
    GearTable& operator=(const GearTable&) = delete;
    ~GearTable();

    /// The name under which this process opens the table, once.
    std::string FileName() const;

private:
    void Send(const std::string& packet) const;

    std::array<int, 2> ends{-1, -1};
};

} // namespace Velreplay
