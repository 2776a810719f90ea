/// The library's only messages to its host: a callback with a level and a text, during set-up only.
#pragma once

namespace Velmarosk::Operation {

/// Receives a level (2, 4 or 8) and a text that is valid during the call only.
using MessageCallback = void (*)(int level, const char* text);

/// Replaces the callback; null stops all messages. Do not call it while another thread creates or initialises
/// operations.
void SetMessageCallback(MessageCallback callback) noexcept;

/// Formats a message after the library's name, cuts it at the end of a buffer of 120 characters, and passes it to the
/// callback on the calling thread. Formats nothing if there is no callback.
[[gnu::format(printf, 2, 3)]] void ReportMessage(int level, const char* format, ...);

} // namespace Velmarosk::Operation
