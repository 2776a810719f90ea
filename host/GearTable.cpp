#include "host/GearTable.h"

#include "host/Numbers.h"

#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

namespace Velreplay {

namespace {

constexpr std::size_t pieceLength = 80; // what the library reads at a time

std::string Text(double number) {
    std::array<char, longestNumber> text{};
    return {text.data(), WriteNumber(text.data(), number)};
}

} // namespace

GearTable::GearTable(const std::vector<std::array<double, 2>>& gears) {
    if (pipe2(ends.data(), O_DIRECT | O_CLOEXEC) != 0)
        throw std::system_error(errno, std::generic_category(), "gear table");
    // Each packet takes a page of the pipe, and nobody reads until all have been sent.
    fcntl(ends[1], F_SETPIPE_SZ, static_cast<int>((gears.size() + 1) * static_cast<std::size_t>(getpagesize())));
    fcntl(ends[1], F_SETFL, O_DIRECT | O_NONBLOCK);
    for (const auto& [ratio, gear] : gears)
        Send(Text(ratio) + " =" + Text(gear) + '\0');
    Send(std::string(pieceLength, '\0'));
}

GearTable::~GearTable() {
    for (const int end : ends)
        close(end);
}

std::string GearTable::FileName() const { return "/proc/self/fd/" + std::to_string(ends[0]); }

void GearTable::Send(const std::string& packet) const {
    if (write(ends[1], packet.data(), packet.size()) != static_cast<ssize_t>(packet.size()))
        throw std::system_error(errno, std::generic_category(), "gear table");
}

} // namespace Velreplay
