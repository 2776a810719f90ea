#include "recordings/Source.h"

#include "vocabulary/Error.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <new>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

namespace Vel::Recordings {

namespace {

constexpr int noticeMilliseconds = 500;
constexpr std::array<char, 2> gzipMark{'\x1F', '\x8B'};
constexpr const char* remedy = "name a CSV file, or - for standard input";

Bytef* AsBytes(char* text) { return reinterpret_cast<Bytef*>(text); }

} // namespace

/// Unpacks gzip: one member behind another, and perhaps zeros behind the last.
class Source::Unpacking {
public:
    Unpacking(Source& itsSource, std::span<const char> beginning)
        : source(itsSource), packed(std::max(packedBytes, beginning.size())) {
        std::copy(beginning.begin(), beginning.end(), packed.begin());
        stream.next_in = AsBytes(packed.data());
        stream.avail_in = static_cast<uInt>(beginning.size());
        constexpr int gzipOnly = 16;
        if (inflateInit2(&stream, MAX_WBITS + gzipOnly) != Z_OK)
            throw std::bad_alloc();
    }
    Unpacking(const Unpacking&) = delete;
    Unpacking& operator=(const Unpacking&) = delete;
    ~Unpacking() { inflateEnd(&stream); }

    std::size_t Read(std::span<char> room) {
        if (isDamaged) // what is before the damage has been handed out
            RefuseDamage();
        stream.next_out = AsBytes(room.data());
        stream.avail_out = static_cast<uInt>(room.size());
        while (stream.avail_out == room.size()) { // a member may hold nothing
            if (stream.avail_in == 0 && !Refill())
                return 0;
            if (isBetween && !Begin())
                continue;
            const int answer = inflate(&stream, Z_NO_FLUSH);
            isBetween = answer == Z_STREAM_END;
            if (answer == Z_MEM_ERROR)
                throw std::bad_alloc();
            isDamaged = answer != Z_OK && answer != Z_STREAM_END && answer != Z_BUF_ERROR;
            if (isDamaged && stream.avail_out == room.size())
                RefuseDamage();
        }
        return room.size() - stream.avail_out;
    }

private:
    [[noreturn]] void RefuseDamage() const {
        throw Error(source.name,
                    std::string("the gzip data are damaged") + (stream.msg == nullptr ? "" : ": ") +
                        (stream.msg == nullptr ? "" : stream.msg),
                    "fetch the file again; zcat shows what is before the damage");
    }
    static constexpr std::size_t packedBytes = std::size_t{1} << 16;

    bool Refill() {
        const std::size_t count = source.ReadStored(packed);
        if (count == 0 && !isBetween && !source.isInterrupted())
            throw Error(source.name, "the gzip data end too early",
                        "fetch the whole file again; zcat shows what is there");
        stream.next_in = AsBytes(packed.data());
        stream.avail_in = static_cast<uInt>(count);
        return count != 0;
    }
    /// Begins the next member. False: these were only zeros.
    bool Begin() {
        while (stream.avail_in != 0 && *stream.next_in == 0) {
            ++stream.next_in;
            --stream.avail_in;
        }
        if (stream.avail_in == 0)
            return false;
        isBetween = false;
        inflateReset(&stream);
        return true;
    }

    Source& source;
    std::vector<char> packed;
    z_stream stream{};
    bool isBetween = false; ///< members
    bool isDamaged = false;
};

Source::Source(const std::string& itsName, const std::function<bool()>& itsIsInterrupted)
    : name(itsName == "-" ? "standard input" : itsName), isInterrupted(itsIsInterrupted) {
    do // opening a pipe waits for its writer, and a signal ends that wait
        file = itsName == "-" ? dup(STDIN_FILENO) : open(itsName.c_str(), O_RDONLY | O_CLOEXEC);
    while (file == -1 && errno == EINTR && !isInterrupted());
    if (file == -1 && !isInterrupted())
        throw Error(name, "the recording cannot be opened: " + ErrorText(), remedy);
    struct stat status {};
    if (fstat(file, &status) == 0 && S_ISREG(status.st_mode) && lseek(file, 0, SEEK_CUR) == 0)
        size = static_cast<std::uint64_t>(status.st_size);
}

Source::~Source() {
    if (file != -1)
        close(file);
}

std::optional<std::uint64_t> Source::SizeOf(const std::string& name) {
    struct stat status {};
    if (name == "-")
        return std::nullopt;
    if (stat(name.c_str(), &status) != 0 || access(name.c_str(), R_OK) != 0)
        throw Error(name, "the recording cannot be opened: " + ErrorText(), remedy);
    if (S_ISDIR(status.st_mode))
        throw Error(name, "the recording cannot be opened: " + ErrorText(EISDIR), remedy);
    return S_ISREG(status.st_mode) ? std::optional(static_cast<std::uint64_t>(status.st_size)) : std::nullopt;
}

std::size_t Source::Read(std::span<char> room) {
    if (!hasBegun)
        return ReadFirst(room);
    return unpacking ? unpacking->Read(room) : ReadStored(room);
}

/// Reads enough bytes to tell whether gzip has packed them.
std::size_t Source::ReadFirst(std::span<char> room) {
    hasBegun = true;
    std::size_t count = 0;
    while (count < gzipMark.size()) {
        const std::size_t more = ReadStored(room.subspan(count));
        if (more == 0)
            return count;
        count += more;
    }
    if (!std::equal(gzipMark.begin(), gzipMark.end(), room.begin()))
        return count;
    unpacking = std::make_unique<Unpacking>(*this, room.first(count));
    return unpacking->Read(room);
}

/// Waits for something to read. The wait ends now and then, since a signal may have come just before it. False:
/// interrupted.
bool Source::AwaitBytes() const {
    pollfd source{file, POLLIN, 0};
    while (!isInterrupted()) {
        const int ready = poll(&source, 1, noticeMilliseconds);
        if (ready > 0 || (ready == -1 && errno != EINTR))
            return true;
    }
    return false;
}

std::size_t Source::ReadStored(std::span<char> room) {
    while (AwaitBytes()) {
        const ssize_t count = read(file, room.data(), room.size());
        if (count == -1 && errno == EINTR)
            continue;
        if (count == -1)
            throw Error(name, "the recording cannot be read: " + ErrorText(), remedy);
        if (count == 0 && position < size)
            throw Error(name, "the recording became shorter while it was read", "copy it first, or read it again");
        position += static_cast<std::uint64_t>(count);
        return static_cast<std::size_t>(count);
    }
    return 0;
}

} // namespace Vel::Recordings
