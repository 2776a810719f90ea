#include "recordings/CsvReader.h"

#include "recordings/Numbers.h"
#include "vocabulary/Error.h"

#include <algorithm>
#include <cerrno>
#include <new>
#include <unordered_map>
#include <unordered_set>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Vel::Recordings {

namespace {

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

constexpr int noticeMilliseconds = 500;

} // namespace

CsvReader::CsvReader(const std::string& itsName, CsvFormat itsFormat, std::size_t blockBytes,
                     std::function<bool()> itsIsInterrupted)
    : name(itsName == "-" ? "standard input" : itsName),
      format(itsFormat),
      isInterrupted(std::move(itsIsInterrupted)),
      bytes(blockBytes) {
    file = itsName == "-" ? dup(STDIN_FILENO) : open(itsName.c_str(), O_RDONLY | O_CLOEXEC);
    if (file == -1)
        throw Error(name, "the recording cannot be opened: " + ErrorText(), "name a CSV file, or - for standard input");
    struct stat status {};
    if (itsName != "-" && fstat(file, &status) == 0 && S_ISREG(status.st_mode))
        size = static_cast<std::uint64_t>(status.st_size);
    if (csv_init(&parser, CSV_REPALL_NL | CSV_STRICT | CSV_STRICT_FINI) != 0)
        throw Error(name, "the CSV parser cannot start");
    hasParser = true;
    csv_set_delim(&parser, static_cast<unsigned char>(format.separator));
}

CsvReader::~CsvReader() {
    if (hasParser)
        csv_free(&parser);
    if (file != -1)
        close(file);
}

/// Each cell takes a character, its separator or the line end, and a row that is not empty at least two.
std::size_t CsvReader::MostRows(std::size_t blockBytes, std::size_t wanted) {
    return blockBytes / std::max<std::size_t>(2, wanted) + 1;
}

void CsvReader::ReadHeader(std::span<const ChannelType> wanted) {
    const std::size_t mostRows = MostRows(bytes.size(), wanted.size());
    for (const ChannelType& channel : wanted)
        std::visit(
            [&]<class T>(T noValue) {
                const std::vector<T> empty(mostRows + 1, noValue); // and one that a block may begin
                fields.push_back({channel.name, Samples<T>{noValue, empty, empty}});
            },
            channel.noValue);
    while (!hasHeader && !isAtEnd && !isInterrupted()) {
        Parse();
        if (failure && !hasHeader) // one behind the header waits for the rows before it
            std::rethrow_exception(failure);
    }
    if (!hasHeader && !isInterrupted())
        throw Error(name, "the recording is empty", "begin it with a line of channel names");
}

std::size_t CsvReader::ReadBlock() {
    if (finishedRows != 0)
        for (Field& field : fields) // cells of a row that the last block has begun
            std::visit([this](auto& samples) { samples.filling[0] = samples.finished[finishedRows]; }, field.samples);
    while (rows == 0 && !isAtEnd && !failure && !isInterrupted())
        Parse();
    if (rows == 0 && failure)
        std::rethrow_exception(failure); // rows before a failure are handed out first
    for (Field& field : fields)
        std::visit([](auto& samples) { samples.filling.swap(samples.finished); }, field.samples);
    return finishedRows = std::exchange(rows, 0);
}

Column CsvReader::ColumnOf(std::size_t wanted) const {
    return std::visit([](const auto& samples) { return Over(samples.finished); }, fields.at(wanted).samples);
}

/// Waits for something to read. The wait ends now and then, as a signal may have come just before it. False:
/// interrupted.
bool CsvReader::AwaitBytes() const {
    pollfd source{file, POLLIN, 0};
    while (!isInterrupted()) {
        const int ready = poll(&source, 1, noticeMilliseconds);
        if (ready > 0 || (ready == -1 && errno != EINTR))
            return true;
    }
    return false;
}

/// Reads what is there, up to a block. A byte order mark at the beginning is dropped.
bool CsvReader::ReadBytes() {
    byteCount = 0;
    const std::size_t wanted = position == 0 ? byteOrderMark.size() : 1;
    while (byteCount < wanted && AwaitBytes()) {
        const ssize_t count = read(file, bytes.data() + byteCount, bytes.size() - byteCount);
        if (count == -1 && errno == EINTR)
            continue;
        if (count == -1)
            throw Error(name, "the recording cannot be read: " + ErrorText(),
                        "name a CSV file, or - for standard input");
        if (count == 0)
            break;
        byteCount += static_cast<std::size_t>(count);
    }
    return byteCount != 0;
}

void CsvReader::Parse() {
    if (!ReadBytes()) {
        isAtEnd = true;
        if (!isInterrupted())
            Finish();
        return;
    }
    std::string_view block(bytes.data(), byteCount);
    if (position == 0 && block.starts_with(byteOrderMark))
        block.remove_prefix(byteOrderMark.size());
    position += byteCount;
    if (csv_parse(&parser, block.data(), block.size(), &CsvReader::CellCallback, &CsvReader::RowCallback, this) !=
            block.size() &&
        !failure) {
        if (csv_error(&parser) != CSV_EPARSE)
            throw std::bad_alloc();
        failure = std::make_exception_ptr(Error(Place(), "no CSV: a quote stands amid a cell",
                                                "put the whole cell in quotes, and double the quotes in it"));
    }
}

/// The last line may lack its end.
void CsvReader::Finish() {
    if (csv_fini(&parser, &CsvReader::CellCallback, &CsvReader::RowCallback, this) != 0 && !failure)
        failure = std::make_exception_ptr(Error(Place(), "a quoted cell does not end", "close its quotes"));
}

void CsvReader::CellCallback(void* cellText, std::size_t length, void* self) {
    static_cast<CsvReader*>(self)->OnCell({static_cast<const char*>(cellText), length});
}

void CsvReader::RowCallback(int terminator, void* self) { static_cast<CsvReader*>(self)->OnRow(terminator); }

/// Failures wait until the parser, which is C, has returned. What follows one is skipped.
template <class TCall>
void CsvReader::Guard(TCall call) {
    if (failure)
        return;
    try {
        call();
    } catch (...) {
        failure = std::current_exception();
    }
}

void CsvReader::OnCell(std::string_view cellText) {
    Guard([&] {
        if (!hasHeader)
            header.emplace_back(cellText);
        else if (cell >= columns.size())
            throw Error(Place(), "more cells than the header has names (" + std::to_string(columns.size()) + ")",
                        "remove a separator, or put the cell in quotes");
        else if (columns[cell] != nullptr)
            Store(*columns[cell], cellText);
        else
            line += static_cast<std::uint64_t>(std::count(cellText.begin(), cellText.end(), '\n'));
        ++cell;
    });
}

void CsvReader::OnRow(int terminator) {
    Guard([&] {
        if (cell == 0) {
            // an empty line, or the second character of a line end
        } else if (!hasHeader) {
            MatchHeader();
        } else if (cell < columns.size()) {
            throw Error(Place(),
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

void CsvReader::MatchHeader() {
    columns.assign(header.size(), nullptr);
    std::unordered_map<std::string_view, std::size_t> positions;
    std::unordered_set<std::string_view> repeated;
    for (std::size_t i = 0; i < header.size(); ++i)
        if (!positions.emplace(header[i], i).second)
            repeated.insert(header[i]);
    for (Field& field : fields) {
        const auto found = positions.find(field.name);
        if (found == positions.end()) {
            std::string names;
            for (const std::string& known : header)
                names += " " + known;
            throw Error(Place(), "there is no channel \"" + field.name + "\"",
                        "the header has:" + names + "\n  (is the separator right? --separator)");
        }
        if (repeated.contains(field.name))
            throw Error(Place(), "the channel \"" + field.name + "\" is there twice", "rename one of them");
        columns[found->second] = &field;
    }
    hasHeader = true;
}

void CsvReader::Store(Field& field, std::string_view cellText) {
    const std::string_view original = cellText;
    if (format.decimalComma && cellText.find_first_of(",.") != std::string_view::npos) {
        text = cellText;
        for (char& character : text) // a point groups digits where the comma is decimal, so it is no number here
            character = character == ',' ? '.' : character == '.' ? '?' : character;
        cellText = text;
    }
    const std::errc error = std::visit(
        [&](auto& samples) {
            auto& value = samples.filling[rows];
            if (IsNoSample(cellText)) {
                value = samples.noValue;
                return std::errc();
            }
            return ReadNumber(cellText, value);
        },
        field.samples);
    if (error == std::errc())
        return;
    throw Error(Place() + ", column " + std::to_string(cell + 1) + ", channel \"" + field.name + "\"",
                "\"" + std::string(original) + "\" is " +
                    (error == std::errc::result_out_of_range ? "out of the range of " : "no number of the type ") +
                    std::string(sampleTypes[field.samples.index()].name),
                "correct the cell, leave it empty for no sample, or give the channel another type" +
                    std::string(!format.decimalComma && original.find(',') != std::string_view::npos
                                    ? " (--decimal-comma reads 1,5)"
                                    : ""));
}

std::string CsvReader::Place() const { return name + ":" + std::to_string(line); }

} // namespace Vel::Recordings
