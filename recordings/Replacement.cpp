#include "recordings/Replacement.h"

#include "vocabulary/Error.h"

#include <cstdio>
#include <filesystem>

#include <fcntl.h>

namespace Vel::Recordings {

namespace {

constexpr mode_t newFileMode = 0666; // less the umask

std::string BehindLinks(const std::string& name) {
    std::error_code error;
    const std::filesystem::path path = std::filesystem::weakly_canonical(name, error);
    return error ? name : path.string();
}

} // namespace

Replacement::Replacement(const std::string& name) : target(BehindLinks(name)), part(target + ".part") {}

Replacement::~Replacement() {
    if (!isSettled)
        std::remove(part.c_str());
}

void Replacement::Keep() {
    if (std::rename(part.c_str(), target.c_str()) != 0)
        throw Error(target, "cannot be put in its place: " + ErrorText());
    isSettled = true;
}

int OpenForWriting(const std::string& name) {
    const int file = open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, newFileMode);
    if (file == -1)
        throw Error(name, "cannot be written: " + ErrorText(),
                    "name a file in a folder that exists and that you may write to");
    return file;
}

} // namespace Vel::Recordings
