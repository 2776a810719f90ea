/// A file that is written: whole or not at all, where its kind allows that.
#pragma once

#include <string>
#include <string_view>

namespace Vel::Recordings {

/// A regular file grows beside its place, under a name of its own that no other run takes: the file's name, six random
/// characters, ".part". It gets its name when it is complete, so a run that fails, in whatever way, leaves the old one.
/// Standard output, devices and pipes are written as the bytes come.
class OutputFile {
public:
    /// Makes the file, or opens what cannot be replaced. "-" is standard output. A symbolic link stands for the file
    /// behind it. A file that is replaced hands on its permissions, and owner and group as far as the user may.
    explicit OutputFile(const std::string& itsName);
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    /// Removes what has neither been kept nor left.
    ~OutputFile();

    /// Writes all of the text; false: nobody reads it any more. On a failure takes back what follows the last line end.
    bool Write(std::string_view text);
    /// Puts the file in its place. When this returns, it has reached the disk; if it throws, the file is left.
    void Keep();
    /// Leaves the file where it is, and returns its name; empty: the bytes went elsewhere.
    std::string Leave();

private:
    void CreateBeside(const std::string& target);
    void TakeBackPartialLine(std::string_view written) const;
    void CloseWhole();
    std::string PartPath() const;
    [[noreturn]] void Fail(int error) const;

    std::string name;       ///< for messages
    std::string folderName; ///< of a file that gets its name at the end, else empty
    int folder = -1;
    std::string lastName; ///< within the folder
    std::string partName;
    int file = -1;
};

/// Whether writing to both names would write to one file, or would once one of them is there.
bool IsSamePlace(const std::string& one, const std::string& other);

} // namespace Vel::Recordings
