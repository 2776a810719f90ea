/// A file that takes the place of another one when it is complete.
#pragma once

#include <string>

namespace Vel::Recordings {

/// What is written goes into a file beside, with the ending ".part" added, so that a run that fails leaves the old one.
class Replacement {
public:
    /// A name that is a symbolic link stands for the file behind it.
    explicit Replacement(const std::string& name);
    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;
    /// Removes what has neither been kept nor left.
    ~Replacement();

    const std::string& PartName() const { return part; }
    /// Puts the written file in its place.
    void Keep();
    /// Leaves the written file where it is.
    void Leave() { isSettled = true; }

private:
    std::string target;
    std::string part;
    bool isSettled = false;
};

/// Opens a file for writing, made if there is none and emptied, and returns its number. Throws Error.
int OpenForWriting(const std::string& name);

} // namespace Vel::Recordings
