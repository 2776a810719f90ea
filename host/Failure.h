// What stops velreplay: where, what, and what to do about it.
#pragma once

#include <cerrno>
#include <stdexcept>
#include <string>
#include <system_error>

namespace Velreplay {

class Failure : public std::runtime_error {
public:
    /// "place: what", and the remedy on a line of its own if there is one.
    Failure(const std::string& place, const std::string& what, const std::string& remedy = {})
        : std::runtime_error(place + ": " + what + (remedy.empty() ? "" : "\n  " + remedy)) {}
};

/// What the operating system says about an error number.
inline std::string ErrorText(int error = errno) { return std::generic_category().message(error); }

} // namespace Velreplay
