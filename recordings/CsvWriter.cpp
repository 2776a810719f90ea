#include "recordings/CsvWriter.h"

#include "recordings/Numbers.h"
#include "vocabulary/Error.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>

#include <sys/stat.h>
#include <unistd.h>

namespace Vel::Recordings {

namespace {

constexpr std::size_t flushBytes = std::size_t{1} << 18;

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

CsvWriter::CsvWriter(const std::string& itsName, CsvFormat itsFormat, std::vector<ChannelType> itsChannels)
    : name(itsName == "-" ? "standard output" : itsName), format(itsFormat), channels(std::move(itsChannels)) {
    if (itsName == "-") {
        file = dup(STDOUT_FILENO);
        return;
    }
    if (IsReplaceable(itsName))
        replacement.emplace(itsName);
    file = OpenForWriting(replacement ? replacement->PartName() : itsName);
}

CsvWriter::~CsvWriter() {
    if (file != -1)
        close(file);
}

void CsvWriter::Append(std::string_view text) {
    if (used + text.size() > buffer.size())
        buffer.resize(used + text.size());
    std::copy(text.begin(), text.end(), buffer.begin() + static_cast<std::ptrdiff_t>(used));
    used += text.size();
}

void CsvWriter::AppendName(const std::string& channel) {
    if (used != 0)
        Append({&format.separator, 1});
    if (channel.find_first_of(std::string("\"\r\n") + format.separator) == std::string::npos)
        return Append(channel);
    Append("\"");
    for (const char character : channel)
        Append(character == '"' ? std::string_view("\"\"") : std::string_view(&character, 1));
    Append("\"");
}

void CsvWriter::WriteHeader(std::span<const std::string> statusNames) {
    for (const ChannelType& channel : channels)
        AppendName(channel.name);
    for (const std::string& statusName : statusNames)
        AppendName(statusName);
    Append("\n");
}

void CsvWriter::WriteRows(std::size_t rows, std::span<const Column> columns,
                          std::span<const std::vector<Status>> statuses) {
    // Room for the longest row beyond what causes a flush, so that a row needs no further tests.
    buffer.resize(std::max(buffer.size(), flushBytes + (columns.size() + statuses.size() + 1) * longestNumber));
    for (std::size_t row = 0; row < rows; ++row) {
        AppendRow(row, columns, statuses);
        if (used > flushBytes)
            Flush();
    }
}

void CsvWriter::AppendRow(std::size_t row, std::span<const Column> columns,
                          std::span<const std::vector<Status>> statuses) {
    char* to = buffer.data() + used;
    for (std::size_t i = 0; i < columns.size(); ++i) {
        std::visit(
            [&]<class T>(T noValue) {
                const T value = columns[i].At<T>(row);
                if (!IsNoValue(value, noValue))
                    to = WriteCell(to, value, format.decimalComma);
            },
            channels[i].noValue);
        *to++ = format.separator;
    }
    for (const std::vector<Status>& status : statuses) {
        const std::string_view text = statusTexts[static_cast<std::size_t>(status[row])];
        to = std::copy(text.begin(), text.end(), to);
        *to++ = format.separator;
    }
    if (to == buffer.data() + used + 1) // the only cell is empty: quotes tell it from an empty line
        to = std::fill_n(to - 1, 2, '"') + 1;
    to[-1] = '\n';
    used = static_cast<std::size_t>(to - buffer.data());
}

void CsvWriter::Flush() {
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
            throw Error(name, "the result cannot be written: " + ErrorText(error), RemedyFor(error));
        }
    }
}

/// Cuts a regular file behind its last whole row, after the front of the buffer has been written.
void CsvWriter::TakeBackPartialRow(std::string_view left) {
    const std::string_view written(buffer.data(), static_cast<std::size_t>(left.data() - buffer.data()));
    const std::size_t lineEnd = written.rfind('\n');
    const std::size_t partial = lineEnd == std::string_view::npos ? written.size() : written.size() - lineEnd - 1;
    const off_t end = lseek(file, 0, SEEK_CUR);
    if (partial != 0 && end != -1 && ftruncate(file, end - static_cast<off_t>(partial)) != 0)
        std::perror(name.c_str());
}

void CsvWriter::Keep() {
    Flush();
    if (close(std::exchange(file, -1)) != 0)
        throw Error(name, "the result cannot be written: " + ErrorText(), RemedyFor(errno));
    if (replacement)
        replacement->Keep();
}

std::string CsvWriter::LeavePart() {
    if (!replacement)
        return {};
    replacement->Leave();
    return replacement->PartName();
}

} // namespace Vel::Recordings
