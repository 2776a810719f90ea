#include "host/Recording.h"

#include "host/Failure.h"
#include "host/Numbers.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <new>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Velreplay {

namespace {

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

constexpr int noticeMilliseconds = 500;

volatile std::sig_atomic_t isInterrupted = 0;

} // namespace

void Interrupt(int) { isInterrupted = 1; }
bool IsInterrupted() { return isInterrupted != 0; }

Recording::Recording(const std::string& itsName, CsvFormat itsFormat, std::size_t blockBytes)
    : name(itsName == "-" ? "standard input" : itsName), format(itsFormat), bytes(blockBytes) {
    file = itsName == "-" ? dup(STDIN_FILENO) : open(itsName.c_str(), O_RDONLY | O_CLOEXEC);
    if (file == -1)
        throw Failure(name, "the recording cannot be opened: " + ErrorText(),
                      "name a CSV file, or - for standard input");
    struct stat status {};
    if (itsName != "-" && fstat(file, &status) == 0 && S_ISREG(status.st_mode))
        size = static_cast<std::uint64_t>(status.st_size);
    if (csv_init(&parser, CSV_REPALL_NL | CSV_STRICT | CSV_STRICT_FINI) != 0)
        throw Failure(name, "the CSV parser cannot start");
    hasParser = true;
    csv_set_delim(&parser, static_cast<unsigned char>(format.separator));
}

Recording::~Recording() {
    if (hasParser)
        csv_free(&parser);
    if (file != -1)
        close(file);
}

void Recording::ReadHeader(std::span<Channel* const> itsInputs) {
    inputs = itsInputs;
    while (!hasHeader && !isAtEnd && !isInterrupted) {
        Parse();
        if (failure && !hasHeader) // one behind the header waits for the rows before it
            std::rethrow_exception(failure);
    }
    if (!hasHeader && !isInterrupted)
        throw Failure(name, "the recording is empty", "begin it with a line of channel names");
}

std::size_t Recording::ReadBlock() {
    while (rows == 0 && !isAtEnd && !failure && !isInterrupted)
        Parse();
    if (rows == 0 && failure)
        std::rethrow_exception(failure);
    return std::exchange(rows, 0); // rows before a failure are handed out first
}

/// Waits for something to read. The wait ends now and then, as a signal may have come just before it. False:
/// interrupted.
bool Recording::AwaitBytes() const {
    pollfd source{file, POLLIN, 0};
    while (!isInterrupted) {
        const int ready = poll(&source, 1, noticeMilliseconds);
        if (ready > 0 || (ready == -1 && errno != EINTR))
            return true;
    }
    return false;
}

/// Reads what is there, up to a block. A byte order mark at the beginning is dropped.
bool Recording::ReadBytes() {
    byteCount = 0;
    const std::size_t wanted = position == 0 ? byteOrderMark.size() : 1;
    while (byteCount < wanted && AwaitBytes()) {
        const ssize_t count = read(file, bytes.data() + byteCount, bytes.size() - byteCount);
        if (count == -1 && errno == EINTR)
            continue;
        if (count == -1)
            throw Failure(name, "the recording cannot be read: " + ErrorText(),
                          "name a CSV file, or - for standard input");
        if (count == 0)
            break;
        byteCount += static_cast<std::size_t>(count);
    }
    return byteCount != 0;
}

void Recording::Parse() {
    if (!ReadBytes()) {
        isAtEnd = true;
        if (!isInterrupted)
            Finish();
        return;
    }
    std::string_view block(bytes.data(), byteCount);
    if (position == 0 && block.starts_with(byteOrderMark))
        block.remove_prefix(byteOrderMark.size());
    position += byteCount;
    if (csv_parse(&parser, block.data(), block.size(), &Recording::CellCallback, &Recording::RowCallback, this) !=
            block.size() &&
        !failure) {
        if (csv_error(&parser) != CSV_EPARSE)
            throw std::bad_alloc();
        failure = std::make_exception_ptr(Failure(Place(), "no CSV: a quote stands amid a cell",
                                                  "put the whole cell in quotes, and double the quotes in it"));
    }
}

/// The last line may lack its end.
void Recording::Finish() {
    if (csv_fini(&parser, &Recording::CellCallback, &Recording::RowCallback, this) != 0 && !failure)
        failure = std::make_exception_ptr(Failure(Place(), "a quoted cell does not end", "close its quotes"));
}

void Recording::CellCallback(void* cellText, std::size_t length, void* self) {
    static_cast<Recording*>(self)->OnCell({static_cast<const char*>(cellText), length});
}

void Recording::RowCallback(int terminator, void* self) { static_cast<Recording*>(self)->OnRow(terminator); }

/// Failures wait until the parser, which is C, has returned. What follows one is skipped.
template <class TCall>
void Recording::Guard(TCall call) {
    if (failure)
        return;
    try {
        call();
    } catch (...) {
        failure = std::current_exception();
    }
}

void Recording::OnCell(std::string_view cellText) {
    Guard([&] {
        if (!hasHeader)
            header.emplace_back(cellText);
        else if (cell >= columns.size())
            throw Failure(Place(), "more cells than the header has names (" + std::to_string(columns.size()) + ")",
                          "remove a separator, or put the cell in quotes");
        else if (columns[cell] != nullptr)
            Store(*columns[cell], cellText);
        else
            line += static_cast<std::uint64_t>(std::count(cellText.begin(), cellText.end(), '\n'));
        ++cell;
    });
}

void Recording::OnRow(int terminator) {
    Guard([&] {
        if (cell == 0) {
            // an empty line, or the second character of a line end
        } else if (!hasHeader) {
            MatchHeader();
        } else if (cell < columns.size()) {
            throw Failure(Place(),
                          std::to_string(cell) + " cells, but the header has " + std::to_string(columns.size()) +
                              " names",
                          "leave cells without sample empty, but keep their separators");
        } else {
            ++rows;
        }
        cell = 0;
        if (terminator == '\n')
            ++line;
    });
}

void Recording::MatchHeader() {
    columns.assign(header.size(), nullptr);
    for (Channel* const input : inputs) {
        const auto found = std::find(header.begin(), header.end(), input->name);
        if (found == header.end()) {
            std::string names;
            for (const std::string& known : header)
                names += " " + known;
            throw Failure(Place(), "there is no channel \"" + input->name + "\"",
                          "the header has:" + names + "\n  (is the separator right? --separator)");
        }
        if (std::find(found + 1, header.end(), input->name) != header.end())
            throw Failure(Place(), "the channel \"" + input->name + "\" is there twice", "rename one of them");
        columns[static_cast<std::size_t>(found - header.begin())] = input;
    }
    hasHeader = true;
}

void Recording::Store(Channel& channel, std::string_view cellText) {
    const std::string_view original = cellText;
    if (format.decimalComma && cellText.find_first_of(",.") != std::string_view::npos) {
        text = cellText;
        for (char& character : text) // a point groups digits where the comma is decimal, so it is no number here
            character = character == ',' ? '.' : character == '.' ? '?' : character;
        cellText = text;
    }
    const std::errc error = std::visit(
        [&](auto& samples) {
            auto& value = samples.values[rows + 1];
            if (IsNoSample(cellText)) {
                value = samples.noValue;
                return std::errc();
            }
            return ReadNumber(cellText, value);
        },
        channel.samples);
    if (error == std::errc())
        return;
    throw Failure(Place() + ", column " + std::to_string(cell + 1) + ", channel \"" + channel.name + "\"",
                  "\"" + std::string(original) + "\" is " +
                      (error == std::errc::result_out_of_range ? "out of the range of " : "no number of the type ") +
                      std::string(TypeName(channel.Letter())),
                  "correct the cell, leave it empty for no sample, or give the channel another type" +
                      std::string(!format.decimalComma && original.find(',') != std::string_view::npos
                                      ? " (--decimal-comma reads 1,5)"
                                      : ""));
}

std::string Recording::Place() const { return name + ":" + std::to_string(line); }

} // namespace Velreplay
