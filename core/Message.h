/// The one way in which the library speaks to its host: a callback with a level and a text, at set-up only.
#pragma once

namespace Velmarosk::Operation {

/// Receives a level (2, 4 or 8) and a text that is valid for the time of the call only.
using MessageCallback = void (*)(int level, const char* text);

/// Replaces the callback; null stops all messages. Not to be called while another thread creates or initialises.
void SetMessageCallback(MessageCallback callback) noexcept;

/// Formats a message behind the library's name, cuts it at the end of a buffer of 120 characters, and hands it to the
/// callback on the calling thread. Without a callback nothing is formatted.
[[gnu::format(printf, 2, 3)]] void ReportMessage(int level, const char* format, ...);

} // namespace Velmarosk::Operation
