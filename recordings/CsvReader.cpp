#include "recordings/CsvReader.h"

#include "recordings/Misread.h"
#include "recordings/Numbers.h"
#include "vocabulary/Quote.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <new>
#include <unordered_map>
#include <unordered_set>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Vel::Recordings {

namespace {

constexpr int noticeMilliseconds = 500;
constexpr std::size_t longestCell = std::size_t{1} << 24;
constexpr std::size_t cellSteps = 4096; // by which the room for a cell grows
constexpr std::size_t mostBeginning = std::size_t{1} << 16;
constexpr std::size_t mostFaults = 20; // that are listed

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
    csv_set_blk_size(&parser, cellSteps);
    csv_set_delim(&parser, static_cast<unsigned char>(format.separator));
}

CsvReader::~CsvReader() {
    if (hasParser)
        csv_free(&parser);
    if (file != -1)
        close(file);
}

/// Each cell takes a character, its separator or the line end, and a row that is not empty at least two.
std::size_t CsvReader::MostRows(std::size_t blockBytes, std::span<const std::string> columnNames) {
    const std::unordered_set<std::string_view> cells(columnNames.begin(), columnNames.end());
    return blockBytes / std::max<std::size_t>(2, cells.size()) + 1;
}

void CsvReader::ReadHeader(std::span<const ChannelType> wanted, std::span<const std::string> columnNames) {
    const std::size_t mostRows = MostRows(bytes.size(), columnNames);
    for (std::size_t i = 0; i < wanted.size(); ++i)
        std::visit(
            [&]<class T>(T noValue) {
                const std::vector<T> empty(mostRows + 1, noValue); // and one that a block may begin
                fields.push_back({wanted[i].name, columnNames[i], Samples<T>{noValue, empty, empty}});
            },
            wanted[i].noValue);
    while (!hasHeader && !isAtEnd && !isInterrupted()) {
        Parse();
        if (failure && !hasHeader) // one behind the header waits for the rows before it
            std::rethrow_exception(failure);
    }
    if (!hasHeader && !isInterrupted())
        throw Error(name, "the recording is empty", "begin it with a line of channel names");
    beginning = {};
}

std::size_t CsvReader::ReadBlock() {
    if (finishedRows != 0)
        for (Field& field : fields) // cells of a row that the last block has begun
            std::visit([this](auto& samples) { samples.filling[0] = samples.finished[finishedRows]; }, field.samples);
    while (rows == 0 && !isAtEnd && !IsBad() && !isInterrupted())
        Parse();
    if (rows == 0 && IsBad()) { // rows before a failure are handed out first
        while (!IsLive() && !isAtEnd && !failure && !isInterrupted())
            Parse();
        ThrowFaults();
    }
    for (Field& field : fields)
        std::visit([](auto& samples) { samples.filling.swap(samples.finished); }, field.samples);
    rowsBefore += rows;
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
    try {
        isAtEnd = !ReadBytes();
    } catch (const Error&) {
        failure = std::current_exception();
        return;
    }
    if (isAtEnd) {
        if (!isInterrupted())
            Finish();
        return;
    }
    std::string_view block(bytes.data(), byteCount);
    if (!hasHeader) {
        beginning += block.substr(0, mostBeginning - std::min(beginning.size(), mostBeginning));
        RefuseOtherThanText(beginning, name);
    }
    if (position == 0 && block.starts_with(byteOrderMark))
        block.remove_prefix(byteOrderMark.size());
    position += byteCount;
    if (csv_parse(&parser, block.data(), block.size(), &CsvReader::CellCallback, &CsvReader::RowCallback, this) !=
            block.size() &&
        !failure) {
        if (csv_error(&parser) != CSV_EPARSE)
            throw std::bad_alloc();
        const std::string advice = hasHeader ? "" : Advice("");
        failure = std::make_exception_ptr(
            Error(Place(), "no CSV: a quote stands amid a cell",
                  !advice.empty() ? advice : "put the whole cell in quotes, and double the quotes in it"));
    }
    if (csv_get_buffer_size(&parser) > longestCell && !failure)
        failure = std::make_exception_ptr(Error(Place(), "a cell is longer than 16 MiB", "close its quotes"));
}

/// The last line may lack its end.
void CsvReader::Finish() {
    if (csv_fini(&parser, &CsvReader::CellCallback, &CsvReader::RowCallback, this) != 0 && !failure)
        failure = std::make_exception_ptr(Error(Place(), "a quoted cell does not end", "close its quotes"));
}

/// What keeps the rows from being read any further goes to the end of the list, as it comes last in the recording.
void CsvReader::ThrowFaults() {
    if (faultCount == 0)
        std::rethrow_exception(failure);
    std::string more = faults.front().Remedy();
    if (faultCount > 1)
        more += "\n  there are " + std::to_string(faultCount) + " bad cells and rows, also:";
    for (std::size_t i = 1; i < faults.size(); ++i)
        more += "\n    " + faults[i].Place() + ": " + faults[i].Fault();
    if (faultCount > faults.size())
        more += "\n    ...";
    try {
        if (failure)
            std::rethrow_exception(failure);
    } catch (const Error& last) {
        more += "\n  what follows could not be read: " + last.Place() + ": " + last.Fault();
    }
    throw Error(faults.front().Place(), faults.front().Fault(), more);
}

/// Failures wait until the parser, which is C, has returned. What follows one is skipped.
void CsvReader::CellCallback(void* cellText, std::size_t length, void* self) noexcept {
    auto& reader = *static_cast<CsvReader*>(self);
    if (reader.failure)
        return;
    try {
        reader.OnCell({static_cast<const char*>(cellText), length});
    } catch (...) {
        reader.failure = std::current_exception();
    }
}

void CsvReader::RowCallback(int terminator, void* self) noexcept {
    auto& reader = *static_cast<CsvReader*>(self);
    if (reader.failure)
        return;
    try {
        reader.OnRow(terminator);
    } catch (...) {
        reader.failure = std::current_exception();
    }
}

void CsvReader::OnCell(std::string_view cellText) {
    if (!hasHeader) {
        header.emplace_back(cellText);
        CountLines(cellText);
    } else if (cell >= columns.size()) {
        if (cell == columns.size())
            AddFault(Place(), "more cells than the header has names (" + std::to_string(columns.size()) + ")",
                     "remove a separator, or put the cell in quotes");
    } else if (columns[cell] != nullptr) {
        const std::uint64_t faultsBefore = faultCount;
        for (Field* field = columns[cell]; field != nullptr; field = field->next)
            Store(*field, cellText);
        if (faultCount != faultsBefore) // a number has one line
            CountLines(cellText);
    } else {
        CountLines(cellText);
    }
    ++cell;
}

void CsvReader::OnRow(int terminator) {
    if (cell == 0) {
        // an empty line, or the second character of a line end
    } else if (!hasHeader) {
        MatchHeader();
    } else if (cell < columns.size()) {
        AddFault(Place(),
                 std::to_string(cell) + " cells, but the header has " + std::to_string(columns.size()) + " names",
                 "leave cells without sample empty, but keep their separators");
    } else if (faultCount == 0) {
        ++rows;
    }
    if (!(cell == 0 && isAfterReturn && terminator == '\n'))
        ++line;
    isAfterReturn = terminator == '\r';
    cell = 0;
}

/// Those within a cell.
void CsvReader::CountLines(std::string_view cellText) {
    const char* const end = cellText.data() + cellText.size();
    for (const char* at = cellText.data(); at != end; ++at)
        if (*at == '\n' || (*at == '\r' && (at + 1 == end || at[1] != '\n')))
            ++line;
}

/// From the first one on, no row is handed out.
void CsvReader::AddFault(const std::string& itsPlace, std::string_view fault, std::string_view remedy) {
    if (++faultCount <= mostFaults)
        faults.emplace_back(itsPlace, std::string(fault), std::string(remedy));
}

void CsvReader::MatchHeader() {
    columns.assign(header.size(), nullptr);
    std::unordered_map<std::string_view, std::size_t> positions;
    std::unordered_set<std::string_view> repeated;
    for (std::size_t i = 0; i < header.size(); ++i)
        if (!positions.emplace(header[i], i).second)
            repeated.insert(header[i]);
    for (Field& field : fields) {
        const auto found = positions.find(field.column);
        if (found == positions.end())
            throw Error(Place(), "there is no channel " + Quoted(field.column), Advice(field.column));
        if (repeated.contains(field.column))
            throw Error(Place(), "the channel " + Quoted(field.column) + " is there twice", "rename one of them");
        field.next = std::exchange(columns[found->second], &field);
    }
    hasHeader = true;
}

std::string CsvReader::Advice(const std::string& missing) const {
    std::vector<std::string> wanted;
    for (const Field& field : fields)
        wanted.push_back(field.column);
    return AdviceOnHeader(beginning, format, wanted, header, missing);
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
            const std::errc result = ReadNumber(cellText, value);
            if constexpr (std::is_floating_point_v<std::decay_t<decltype(value)>>) {
                if (std::isnan(value)) // as "-nan" is
                    value = samples.noValue;
            } else if (result == std::errc() && value == samples.noValue && field.noValueCells.count++ == 0) {
                field.noValueCells.firstRow = rowsBefore + rows + 1;
            }
            return result;
        },
        field.samples);
    if (error != std::errc())
        AddBadCell(field, original, error);
}

void CsvReader::AddBadCell(const Field& field, std::string_view cellText, std::errc error) {
    const bool maybeComma = !format.decimalComma && cellText.find(',') != std::string_view::npos;
    if (faultCount >= mostFaults) // there may be as many as cells
        ++faultCount;
    else
        AddFault(
            Place() + ", column " + std::to_string(cell + 1) + ", channel " + Quoted(field.name),
            Quoted(cellText) +
                (error == std::errc::result_out_of_range ? " is out of the range of " : " is no number of the type ") +
                std::string(sampleTypes[field.samples.index()].name),
            "correct the cell, leave it empty for no sample, or give the channel another type" +
                std::string(maybeComma ? " (--decimal-comma reads 1,5)" : ""));
}

std::string CsvReader::Place() const { return name + ":" + std::to_string(line); }

} // namespace Vel::Recordings
