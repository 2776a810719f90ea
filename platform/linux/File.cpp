#include "platform/File.h"

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace Velmarosk::Platform {

namespace {

template <class TCall>
auto RepeatWhileInterrupted(TCall call) noexcept {
    auto result = call();
    while (result == -1 && errno == EINTR)
        result = call();
    return result;
}

} // namespace

InputFile::InputFile(const char* name) noexcept
    : file(RepeatWhileInterrupted([name] { return open(name, O_RDONLY | O_CLOEXEC); })) {}

InputFile::~InputFile() {
    if (IsOpen())
        close(static_cast<int>(file));
}

std::optional<std::size_t> InputFile::Read(std::span<char> destination) noexcept {
    const auto delivered =
        RepeatWhileInterrupted([&] { return read(static_cast<int>(file), destination.data(), destination.size()); });
    if (delivered == -1)
        return std::nullopt;
    return static_cast<std::size_t>(delivered);
}

} // namespace Velmarosk::Platform
