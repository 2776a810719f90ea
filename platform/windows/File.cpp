#include "platform/File.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <new>

#include <windows.h>

namespace Velmarosk::Platform {

namespace {

HANDLE HandleOf(std::intptr_t file) noexcept { return reinterpret_cast<HANDLE>(file); }

/// Opens a file for reading whose name is UTF-8. Invalid if there is none.
HANDLE Open(const char* name) noexcept {
    const int length = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, name, -1, nullptr, 0);
    const std::unique_ptr<wchar_t[]> wideName(new (std::nothrow) wchar_t[static_cast<std::size_t>(length) + 1]);
    if (length == 0 || wideName == nullptr)
        return INVALID_HANDLE_VALUE;
    MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, name, -1, wideName.get(), length);
    return CreateFileW(wideName.get(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                       OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
}

} // namespace

InputFile::InputFile(const char* name) noexcept : file(reinterpret_cast<std::intptr_t>(Open(name))) {}

InputFile::~InputFile() {
    if (IsOpen())
        CloseHandle(HandleOf(file));
}

std::optional<std::size_t> InputFile::Read(std::span<char> destination) noexcept {
    constexpr std::size_t most = std::numeric_limits<DWORD>::max();
    DWORD delivered = 0;
    if (ReadFile(HandleOf(file), destination.data(), static_cast<DWORD>(std::min(destination.size(), most)), &delivered,
                 nullptr))
        return delivered;
    switch (GetLastError()) {
    case ERROR_BROKEN_PIPE: // its writer has closed it
        return 0;
    case ERROR_MORE_DATA: // the rest of a message follows with the next read
        return delivered;
    default:
        return std::nullopt;
    }
}

} // namespace Velmarosk::Platform
