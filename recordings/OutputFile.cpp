#include "recordings/OutputFile.h"

#include "vocabulary/Error.h"

#include <cstdio>
#include <filesystem>
#include <random>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Vel::Recordings {

namespace {

namespace fs = std::filesystem;

constexpr mode_t newFileMode = 0666; // less the umask
constexpr mode_t ownMode = 0600;
constexpr mode_t permissions = 0777;
constexpr mode_t groupPermissions = 0070;
constexpr std::string_view partEnding = ".part";
constexpr std::size_t randomCharacters = 6;

/// Follows symbolic links, also one that leads to nothing yet.
fs::path BehindLinks(fs::path path) {
    constexpr int mostLinks = 40; // as many as the system follows
    std::error_code error;
    for (int links = 0; links < mostLinks && fs::is_symlink(path, error); ++links)
        path = path.parent_path() / fs::read_symlink(path, error);
    return path;
}

fs::path FolderOf(const fs::path& path) { return path.has_parent_path() ? path.parent_path() : fs::path("."); }

/// A regular file that can be reached by a name, or nothing yet. What a process has open may have no name any more.
bool IsReplaceable(const fs::path& path, const fs::path& target) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0)
        return errno == ENOENT && path.has_filename();
    std::error_code error;
    return S_ISREG(status.st_mode) && fs::equivalent(path, target, error);
}

/// As much of a name as leaves room for an ending, and no half of a character.
std::string Shortened(const std::string& name, std::size_t ending, int folder) {
    const long limit = fpathconf(folder, _PC_NAME_MAX);
    const std::size_t most = (limit > 0 ? static_cast<std::size_t>(limit) : 255) - ending;
    if (name.size() <= most)
        return name;
    std::size_t length = most;
    while (length > 1 && (static_cast<unsigned char>(name[length]) & 0xC0) == 0x80)
        --length;
    return name.substr(0, length);
}

std::string RandomText() {
    constexpr std::string_view characters = "abcdefghijklmnopqrstuvwxyz0123456789";
    static std::random_device source;
    std::uniform_int_distribution<std::size_t> choose(0, characters.size() - 1);
    std::string text;
    while (text.size() < randomCharacters)
        text += characters[choose(source)];
    return text;
}

/// Group and owner may stay others' only if the user may give files away. Rights of a group that did not stay end.
void HandOnOwnerAndPermissions(int file, const struct stat& old) {
    mode_t mode = old.st_mode & permissions;
    if (fchown(file, old.st_uid, old.st_gid) != 0 && fchown(file, static_cast<uid_t>(-1), old.st_gid) != 0)
        mode &= ~groupPermissions;
    (void)!fchmod(file, mode); // there are disks without permissions
}

/// Brings a file, or the names in a folder, to the disk. Some kinds of disks cannot, and say so.
bool Sync(int file) { return fsync(file) == 0 || errno == EINVAL || errno == EBADF || errno == ENOTSUP; }

std::string RemedyFor(int error) {
    if (error == ENOSPC || error == EDQUOT)
        return "make room on the disk, or write to another one";
    if (error == EFBIG)
        return "write to another disk, or raise the limit of file sizes (ulimit -f)";
    return {};
}

} // namespace

OutputFile::OutputFile(const std::string& itsName) : name(itsName == "-" ? "standard output" : itsName) {
    if (itsName == "-" || itsName == "/dev/stdout") {
        file = dup(STDOUT_FILENO);
        return;
    }
    const fs::path target = BehindLinks(itsName);
    if (IsReplaceable(itsName, target))
        CreateBeside(target);
    else
        file = open(itsName.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC);
    if (file == -1)
        throw Error(name, "cannot be written: " + ErrorText(),
                    errno == EACCES || errno == EROFS || errno == ENOENT
                        ? "name a file in a folder that exists and that you may write to"
                        : RemedyFor(errno));
}

void OutputFile::CreateBeside(const std::string& target) {
    struct stat old {};
    const bool isThere = stat(target.c_str(), &old) == 0;
    if (isThere && access(target.c_str(), W_OK) != 0)
        return;
    const fs::path folderPath = FolderOf(target);
    folder = open(folderPath.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder == -1 && errno == EACCES) // one may be allowed to write to it, and not to list it
        folder = open(folderPath.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (folder == -1)
        return;
    folderName = folderPath.string();
    lastName = fs::path(target).filename().string();
    const std::string beginning = Shortened(lastName, 1 + randomCharacters + partEnding.size(), folder);
    do {
        partName = beginning + "." + RandomText() + std::string(partEnding);
        file =
            openat(folder, partName.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, isThere ? ownMode : newFileMode);
    } while (file == -1 && errno == EEXIST);
    if (file != -1 && isThere)
        HandOnOwnerAndPermissions(file, old);
}

OutputFile::~OutputFile() {
    const int error = errno; // of the failure that ends the run
    if (file != -1) {
        close(file);
        if (!folderName.empty())
            unlinkat(folder, partName.c_str(), 0);
    }
    if (folder != -1)
        close(folder);
    errno = error;
}

std::string OutputFile::PartPath() const {
    return folderName == "." ? partName : (fs::path(folderName) / partName).string();
}

void OutputFile::Fail(int error) const {
    throw Error(name, "cannot be written: " + ErrorText(error), RemedyFor(error));
}

bool OutputFile::Write(std::string_view text) {
    std::string_view left = text;
    while (!left.empty()) {
        const ssize_t count = write(file, left.data(), left.size());
        if (count >= 0) {
            left.remove_prefix(static_cast<std::size_t>(count));
        } else if (errno == EPIPE) {
            return false;
        } else if (errno != EINTR) {
            const int error = errno;
            TakeBackPartialLine(text.substr(0, text.size() - left.size()));
            Fail(error);
        }
    }
    return true;
}

void OutputFile::TakeBackPartialLine(std::string_view written) const {
    const std::size_t lineEnd = written.rfind('\n');
    const std::size_t partial = lineEnd == std::string_view::npos ? written.size() : written.size() - lineEnd - 1;
    const off_t end = lseek(file, 0, SEEK_CUR);
    if (partial != 0 && end != -1 && ftruncate(file, end - static_cast<off_t>(partial)) != 0)
        std::perror(name.c_str());
}

/// Disks on a network may fail as late as this.
void OutputFile::CloseWhole() {
    const bool isOnDisk = folderName.empty() || Sync(file);
    const int error = errno;
    const bool isClosed = close(std::exchange(file, -1)) == 0;
    if (!isOnDisk || !isClosed)
        Fail(isOnDisk ? errno : error);
}

void OutputFile::Keep() {
    try {
        CloseWhole();
        if (folderName.empty())
            return;
        if (renameat(folder, partName.c_str(), folder, lastName.c_str()) != 0)
            throw Error(name, "cannot be put in its place: " + ErrorText());
    } catch (const Error& failure) {
        if (folderName.empty() || faccessat(folder, partName.c_str(), F_OK, 0) != 0)
            throw;
        const std::string separator = failure.Remedy().empty() ? "" : "\n  ";
        throw Error(failure.Place(), failure.Fault(),
                    failure.Remedy() + separator + "what was written is in " + Escaped(PartPath()));
    }
    if (!Sync(folder))
        throw Error(name, "is in its place, but may not have reached the disk: " + ErrorText());
}

std::string OutputFile::Leave() {
    if (folderName.empty() || file == -1)
        return {};
    Sync(file); // as much of it as can be; there is a failure to tell about already
    close(std::exchange(file, -1));
    return PartPath();
}

bool IsSamePlace(const std::string& one, const std::string& other) {
    std::error_code error;
    if (fs::exists(one, error) && fs::exists(other, error))
        return fs::equivalent(one, other, error);
    const fs::path target = BehindLinks(one);
    const fs::path otherTarget = BehindLinks(other);
    return target.filename() == otherTarget.filename() &&
           fs::equivalent(FolderOf(target), FolderOf(otherTarget), error);
}

} // namespace Vel::Recordings
