/// The bytes of a recording: of a file, a pipe or standard input, unpacked where gzip has packed them.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace Vel::Recordings {

class Source {
public:
    /// Opens a file, or standard input for "-". Reading ends once `itsIsInterrupted` returns true. It is called often,
    /// and a signal ends each wait for input.
    Source(const std::string& itsName, const std::function<bool()>& itsIsInterrupted);
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;
    ~Source();

    /// Reads what is there, up to as many bytes as there is room for. 0: there are no more, or it is interrupted.
    std::size_t Read(std::span<char> room);

    /// For messages.
    const std::string& Name() const { return name; }
    /// Bytes read of the file, as it is stored.
    std::uint64_t Position() const { return position; }

    /// Size of a regular file in bytes; nothing for pipes and devices. Throws Error if it cannot be opened.
    static std::optional<std::uint64_t> SizeOf(const std::string& name);

private:
    class Unpacking;

    bool AwaitBytes() const;
    std::size_t ReadStored(std::span<char> room);
    std::size_t ReadFirst(std::span<char> room);

    std::string name;
    const std::function<bool()>& isInterrupted;
    int file = -1;
    std::uint64_t size = 0; ///< of a regular file when it was opened
    std::uint64_t position = 0;
    bool hasBegun = false;
    std::unique_ptr<Unpacking> unpacking;
};

} // namespace Vel::Recordings
