#include "engine/GearTable.h"

#include "engine/NumberText.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

namespace Vel::Engine {

namespace {

constexpr std::size_t pieceLength = 80; // the library reads this much at a time
constexpr std::size_t mostPages = 256;  // the limit of a pipe for users other than root

/// Blocks all signals for this thread and for threads that it starts meanwhile.
class SignalsHeldBack {
public:
    SignalsHeldBack() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before);
    }
    SignalsHeldBack(const SignalsHeldBack&) = delete;
    SignalsHeldBack& operator=(const SignalsHeldBack&) = delete;
    ~SignalsHeldBack() { pthread_sigmask(SIG_SETMASK, &before, nullptr); }

private:
    sigset_t before{};
};

std::vector<std::string> Packets(const std::vector<std::array<double, 2>>& gears) {
    std::vector<std::string> packets;
    packets.reserve(gears.size() + 1);
    for (const auto& [ratio, gear] : gears)
        packets.push_back(Text(ratio) + " =" + Text(gear) + '\0');
    packets.emplace_back(pieceLength, '\0');
    return packets;
}

[[noreturn]] void Fail() { throw std::system_error(errno, std::generic_category(), "gear table"); }

bool Send(int file, const std::string& packet) {
    return write(file, packet.data(), packet.size()) == static_cast<ssize_t>(packet.size());
}

} // namespace

GearTable::Pipe::Pipe() {
    if (pipe2(ends.data(), O_DIRECT | O_CLOEXEC | O_NONBLOCK) != 0)
        Fail();
}

GearTable::Pipe::~Pipe() {
    CloseReading();
    close(ends[1]);
}

void GearTable::Pipe::CloseReading() {
    if (ends[0] != -1)
        close(std::exchange(ends[0], -1));
}

GearTable::GearTable(const std::vector<std::array<double, 2>>& gears) {
    std::vector<std::string> packets = Packets(gears);
    // Each packet takes a page of the pipe. If so many pages are not allowed, the pipe keeps its size.
    const std::size_t pages = std::min(packets.size(), mostPages);
    fcntl(pipe.ends[1], F_SETPIPE_SZ, static_cast<int>(pages * static_cast<std::size_t>(getpagesize())));
    std::size_t sent = 0;
    while (sent < packets.size() && Send(pipe.ends[1], packets[sent]))
        ++sent;
    if (sent < packets.size())
        SendInBackground(std::move(packets), sent);
}

GearTable::~GearTable() {
    pipe.CloseReading(); // a sender waiting for room ends, since no reader is left
    if (sending.joinable())
        sending.join();
}

void GearTable::SendInBackground(std::vector<std::string> packets, std::size_t sent) {
    if (fcntl(pipe.ends[1], F_SETFL, O_DIRECT) != 0) // the sender waits for room
        Fail();
    const SignalsHeldBack none; // the new thread keeps them blocked: a pipe without a reader would raise SIGPIPE
    sending = std::jthread([packets = std::move(packets), sent, file = pipe.ends[1]]() mutable {
        while (sent < packets.size() && Send(file, packets[sent]))
            ++sent;
    });
}

std::string GearTable::FileName() const { return "/proc/self/fd/" + std::to_string(pipe.ends[0]); }

} // namespace Vel::Engine
