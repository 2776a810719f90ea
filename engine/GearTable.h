/// The table of "Gangermittlung", delivered to the library as a file that ends as the library expects.
#pragma once

#include <array>
#include <string>
#include <thread>
#include <vector>

namespace Vel::Engine {

/// A pipe in packet mode: each gear is one packet, which the library reads as one record, and a packet of exactly 80
/// bytes ends the table. (At the end of a short regular file the library would read on for ever.)
class GearTable {
public:
    /// Pairs of ratio and gear. What the pipe has no room for is sent while it is read, by a thread.
    explicit GearTable(const std::vector<std::array<double, 2>>& gears);
    GearTable(const GearTable&) = delete;
    GearTable& operator=(const GearTable&) = delete;
    /// Packets that have not been read are lost.
    ~GearTable();

    /// The name under which this process opens the table, once.
    std::string FileName() const;

private:
    void SendInBackground(std::vector<std::string> packets, std::size_t sent);

    /// Both ends of a pipe.
    struct Pipe {
        Pipe();
        Pipe(const Pipe&) = delete;
        Pipe& operator=(const Pipe&) = delete;
        ~Pipe();
        void CloseReading();

        std::array<int, 2> ends{-1, -1};
    };

    Pipe pipe;
    std::jthread sending;
};

} // namespace Vel::Engine
