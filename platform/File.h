/// Files of the operating system.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace Velmarosk::Platform {

/// A file open for reading; others may read and write it meanwhile. The destructor closes it.
class InputFile {
public:
    /// The name is in the system's encoding, on Windows in UTF-8. Waits when the system waits: for the writer of a
    /// named pipe.
    explicit InputFile(const char* name) noexcept;
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;
    ~InputFile();

    bool IsOpen() const noexcept { return file != none; }

    /// One read, without a buffer in between; repeated only if a signal interrupted it before it read anything. Returns
    /// the number of bytes read, 0 at the end of the file, or nothing if the file cannot be read.
    std::optional<std::size_t> Read(std::span<char> destination) noexcept;

private:
    static constexpr std::intptr_t none = -1;
    std::intptr_t file; ///< the system's descriptor or handle
};

} // namespace Velmarosk::Platform
