/// What stops a host: where, what, and what to do about it.
#pragma once

#include "vocabulary/Quote.h"

#include <cerrno>
#include <stdexcept>
#include <string>
#include <system_error>

namespace Vel {

class Error : public std::runtime_error {
public:
    /// what() is "place: fault", and the remedy on a line of its own if there is one. A place may have the name of a
    /// file, whatever that holds, so it is escaped.
    Error(const std::string& itsPlace, std::string itsFault, std::string itsRemedy = {})
        : std::runtime_error(Escaped(itsPlace) + ": " + itsFault + (itsRemedy.empty() ? "" : "\n  " + itsRemedy)),
          place(Escaped(itsPlace)),
          fault(std::move(itsFault)),
          remedy(std::move(itsRemedy)) {}

    const std::string& Place() const noexcept { return place; }
    const std::string& Fault() const noexcept { return fault; }
    const std::string& Remedy() const noexcept { return remedy; } ///< may be empty

private:
    std::string place;
    std::string fault;
    std::string remedy;
};

/// What the operating system says about an error number.
inline std::string ErrorText(int error = errno) { return std::generic_category().message(error); }

} // namespace Vel
