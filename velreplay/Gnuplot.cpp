#include "velreplay/Gnuplot.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <string_view>

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Velreplay {

namespace {

/// A file number that closes itself.
class File {
public:
    explicit File(int itsNumber) : number(itsNumber) {}
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    ~File() { Close(); }

    int Number() const { return number; }
    void Close() {
        if (number != -1)
            close(number);
        number = -1;
    }

private:
    int number;
};

/// Into memory, so that neither side waits for the other and no disk can be full.
bool WriteScript(int file, std::string_view script) {
    while (!script.empty()) {
        const ssize_t count = write(file, script.data(), script.size());
        if (count == -1 && errno != EINTR)
            return false;
        script.remove_prefix(count > 0 ? static_cast<std::size_t>(count) : 0);
    }
    return lseek(file, 0, SEEK_SET) == 0;
}

std::string ReadToEnd(int file) {
    std::string text;
    std::array<char, 1 << 16> block{};
    for (;;) {
        const ssize_t count = read(file, block.data(), block.size());
        if (count > 0)
            text.append(block.data(), static_cast<std::size_t>(count));
        else if (count == 0 || errno != EINTR)
            return text;
    }
}

pid_t Start(int input, int output) {
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_adddup2(&files, input, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&files, output, STDOUT_FILENO);
    std::array<char, 8> name{"gnuplot"};
    const std::array<char*, 2> arguments{name.data(), nullptr};
    pid_t process = -1;
    const int error = posix_spawnp(&process, name.data(), &files, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&files);
    return error == 0 ? process : -1;
}

bool HasSucceeded(pid_t process) {
    int status = -1;
    while (waitpid(process, &status, 0) == -1)
        if (errno != EINTR)
            return false;
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

} // namespace

bool IsGnuplotInstalled() {
    std::FILE* const answer = popen("gnuplot --version >/dev/null 2>&1", "r");
    return answer != nullptr && pclose(answer) == 0;
}

std::string RunGnuplot(const std::string& script) {
    const File input(memfd_create("script", MFD_CLOEXEC));
    std::array<int, 2> ends{-1, -1};
    if (!WriteScript(input.Number(), script) || pipe2(ends.data(), O_CLOEXEC) != 0)
        return {};
    const File output(ends[0]);
    File theirs(ends[1]);
    const pid_t process = Start(input.Number(), theirs.Number());
    theirs.Close(); // or the end would never come
    if (process == -1)
        return {};
    std::string written = ReadToEnd(output.Number());
    return HasSucceeded(process) ? written : std::string();
}

} // namespace Velreplay
