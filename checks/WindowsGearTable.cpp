// The engine's gear table on Windows: a named pipe. Each packet is written after the one before has been read, so the
// library takes each with its own read. The handles of Windows have 32 significant bits.
#include "engine/GearTable.h"

#include <atomic>
#include <charconv>
#include <cstdint>
#include <system_error>
#include <utility>

#include <windows.h>

namespace Vel::Engine {

namespace {

HANDLE HandleOf(int end) { return reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(end)); }

std::string Text(double number) {
    std::array<char, 32> text{};
    return {text.data(), std::to_chars(text.data(), text.data() + text.size(), number).ptr};
}

void Write(HANDLE pipe, const std::string& packet) {
    DWORD written = 0;
    WriteFile(pipe, packet.data(), static_cast<DWORD>(packet.size()), &written, nullptr);
    FlushFileBuffers(pipe); // waits for the reader
}

} // namespace

GearTable::Pipe::Pipe() {
    static std::atomic<int> count = 0;
    ends[0] = ++count;
}

GearTable::Pipe::~Pipe() { CloseReading(); }

void GearTable::Pipe::CloseReading() { CloseHandle(HandleOf(std::exchange(ends[1], -1))); }

GearTable::GearTable(const std::vector<std::array<double, 2>>& gears) {
    const HANDLE server =
        CreateNamedPipeA(FileName().c_str(), PIPE_ACCESS_OUTBOUND, PIPE_TYPE_MESSAGE, 1, 4096, 4096, 0, nullptr);
    if (server == INVALID_HANDLE_VALUE)
        throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), "gear table");
    pipe.ends[1] = static_cast<int>(reinterpret_cast<std::intptr_t>(server));
    sending = std::jthread([server, gears] {
        ConnectNamedPipe(server, nullptr);
        for (const auto& [ratio, gear] : gears)
            Write(server, Text(ratio) + " =" + Text(gear) + '\0');
        Write(server, std::string(80, '\0'));
    });
}

GearTable::~GearTable() {
    // Where nobody has opened the pipe, its thread still waits for it.
    CloseHandle(CreateFileA(FileName().c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    sending.join();
}

std::string GearTable::FileName() const {
    return R"(\\.\pipe\VelOperation.)" + std::to_string(GetCurrentProcessId()) + '.' + std::to_string(pipe.ends[0]);
}

} // namespace Vel::Engine
