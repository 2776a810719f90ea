/// Files, as the operating system hands them out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace Velmarosk::Platform {

/// A file that is open for reading, while others may read and write it. Closed at the end of the object.
class InputFile {
public:
    /// The name is in the system's own encoding, on Windows in UTF-8. Waits where the system does: for the writer of a
    /// named pipe.
    explicit InputFile(const char* name) noexcept;
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;
    ~InputFile();

    bool IsOpen() const noexcept { return file != none; }

    /// One read without a buffer in between; repeated only if a signal interrupted it before anything was read. The
    /// number of bytes delivered, 0 at the end of the file; nothing if the file cannot be read.
    std::optional<std::size_t> Read(std::span<char> destination) noexcept;

private:
    static constexpr std::intptr_t none = -1;
    std::intptr_t file; ///< the descriptor or handle of the system
};

} // namespace Velmarosk::Platform
