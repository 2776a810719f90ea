/// The table of "Gangermittlung", passed to the library as a file that ends as the library expects.
#pragma once

#include <array>
#include <string>
#include <thread>
#include <vector>

namespace Vel::Engine {

/// A pipe in packet mode. Each gear is one packet, which the library reads as one record; a packet of exactly 80 bytes
/// ends the table. (At the end of a short regular file the library would read forever.)
class GearTable {
public:
    /// Takes pairs of ratio and gear. If they do not all fit in the pipe, a thread sends the rest while it is read.
    explicit GearTable(const std::vector<std::array<double, 2>>& gears);
    GearTable(const GearTable&) = delete;
    GearTable& operator=(const GearTable&) = delete;
    /// Discards packets that have not been read.
    ~GearTable();

    /// The file name to open the table by: only in this process, and only once.
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
