#include "host/Result.h"

#include "host/Failure.h"
#include "host/Numbers.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>

#include <sys/stat.h>
#include <unistd.h>

namespace Velreplay {

namespace {

constexpr std::size_t flushBytes = std::size_t{1} << 18;
constexpr std::array<std::string_view, 3> statusTexts{"computed", "no value", "refused"};

bool IsReplaceable(const std::string& name) {
    struct stat status {};
    return stat(name.c_str(), &status) != 0 || S_ISREG(status.st_mode);
}

std::string RemedyFor(int error) {
    if (error == ENOSPC || error == EDQUOT)
        return "make room on the disk, or write to another one with -o";
    if (error == EFBIG)
        return "write to another disk with -o, or raise the limit of file sizes (ulimit -f)";
    return {};
}

template <class T>
char* WriteCell(char* to, T value, bool decimalComma) {
    char* const end = WriteNumber(to, value);
    if constexpr (std::is_floating_point_v<T>)
        if (decimalComma)
            std::replace(to, end, '.', ',');
    return end;
}

} // namespace

Result::Result(const std::string& itsName, CsvFormat itsFormat, std::vector<const Channel*> itsChannels)
    : name(itsName == "-" ? "standard output" : itsName), format(itsFormat), channels(std::move(itsChannels)) {
    if (itsName == "-") {
        file = dup(STDOUT_FILENO);
        return;
    }
    if (IsReplaceable(itsName))
        replacement.emplace(itsName);
    file = OpenForWriting(replacement ? replacement->PartName() : itsName);
}

Result::~Result() {
    if (file != -1)
        close(file);
}

void Result::Append(std::string_view text) {
    if (used + text.size() > buffer.size())
        buffer.resize(used + text.size());
    std::copy(text.begin(), text.end(), buffer.begin() + static_cast<std::ptrdiff_t>(used));
    used += text.size();
}

void Result::AppendName(const std::string& channel) {
    if (used != 0)
        Append({&format.separator, 1});
    if (channel.find_first_of(std::string("\"\r\n") + format.separator) == std::string::npos)
        return Append(channel);
    Append("\"");
    for (const char character : channel)
        Append(character == '"' ? std::string_view("\"\"") : std::string_view(&character, 1));
    Append("\"");
}

void Result::WriteHeader() {
    for (const Channel* const channel : channels)
        AppendName(channel->name);
    for (const Computation* const computation : computations)
        AppendName(computation->Name() + ".status");
    Append("\n");
}

void Result::WriteRows(std::size_t rows) {
    // Room for the longest row beyond what causes a flush, so that a row needs no further tests.
    buffer.resize(std::max(buffer.size(), flushBytes + (channels.size() + computations.size() + 1) * longestNumber));
    for (std::size_t row = 1; row <= rows; ++row) {
        AppendRow(row);
        if (used > flushBytes)
            Flush();
    }
}

void Result::AppendRow(std::size_t row) {
    char* to = buffer.data() + used;
    for (const Channel* const channel : channels) {
        std::visit(
            [&](const auto& samples) {
                const auto value = samples.finished[row];
                if (!samples.IsNoValue(value))
                    to = WriteCell(to, value, format.decimalComma);
            },
            channel->samples);
        *to++ = format.separator;
    }
    for (const Computation* const computation : computations) {
        const std::string_view text = statusTexts[static_cast<std::size_t>(computation->Statuses()[row - 1])];
        to = std::copy(text.begin(), text.end(), to);
        *to++ = format.separator;
    }
    if (to == buffer.data() + used + 1) // the only cell is empty: quotes tell it from an empty line
        to = std::fill_n(to - 1, 2, '"') + 1;
    to[-1] = '\n';
    used = static_cast<std::size_t>(to - buffer.data());
}

void Result::Flush() {
    std::string_view left(buffer.data(), std::exchange(used, 0));
    while (!left.empty() && !isClosed) {
        const ssize_t count = write(file, left.data(), left.size());
        if (count >= 0)
            left.remove_prefix(static_cast<std::size_t>(count));
        else if (errno == EPIPE)
            isClosed = true;
        else if (errno != EINTR) {
            const int error = errno;
            TakeBackPartialRow(left);
            throw Failure(name, "the result cannot be written: " + ErrorText(error), RemedyFor(error));
        }
    }
}

/// Cuts a regular file behind its last whole row, after the front of the buffer has been written.
void Result::TakeBackPartialRow(std::string_view left) {
    const std::string_view written(buffer.data(), static_cast<std::size_t>(left.data() - buffer.data()));
    const std::size_t lineEnd = written.rfind('\n');
    const std::size_t partial = lineEnd == std::string_view::npos ? written.size() : written.size() - lineEnd - 1;
    const off_t end = lseek(file, 0, SEEK_CUR);
    if (partial != 0 && end != -1 && ftruncate(file, end - static_cast<off_t>(partial)) != 0)
        std::perror(name.c_str());
}

void Result::Keep() {
    Flush();
    if (close(std::exchange(file, -1)) != 0)
        throw Failure(name, "the result cannot be written: " + ErrorText(), RemedyFor(errno));
    if (replacement)
        replacement->Keep();
}

std::string Result::LeavePart() {
    if (!replacement)
        return {};
    replacement->Leave();
    return replacement->PartName();
}

} // namespace Velreplay
