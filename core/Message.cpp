#include "core/Message.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <string_view>

namespace Velmarosk::Operation {

namespace {

constexpr std::string_view prefix = "VelOperation.dll : ";
constexpr std::size_t bufferSize = 120;

constinit MessageCallback messageCallback = nullptr;

} // namespace

void SetMessageCallback(MessageCallback callback) noexcept { messageCallback = callback; }

void ReportMessage(int level, const char* format, ...) {
    if (messageCallback == nullptr)
        return;
    std::array<char, bufferSize> buffer{};
    char* const text = std::copy(prefix.begin(), prefix.end(), buffer.begin());
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, bufferSize - prefix.size(), format, arguments);
    va_end(arguments);
    messageCallback(level, buffer.data());
}

} // namespace Velmarosk::Operation
