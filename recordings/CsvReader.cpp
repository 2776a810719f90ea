#include "recordings/CsvReader.h"

#include "recordings/Misread.h"
#include "recordings/NumberForms.h"
#include "recordings/Numbers.h"
#include "vocabulary/Quote.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <unordered_map>
#include <unordered_set>

namespace Vel::Recordings {

namespace {

constexpr std::size_t longestCell = std::size_t{1} << 24;
constexpr std::size_t cellSteps = 4096; // by which the room for a cell grows
constexpr std::size_t mostBeginning = std::size_t{1} << 16;
constexpr std::size_t mostNames = 1'000'000;
constexpr std::size_t mostRowTexts = std::size_t{1} << 26; // bytes of the names, and of the kept texts of a row
constexpr std::size_t mostFaults = 20;                     // that are listed

} // namespace

/// Copies the text of a row that the last block has begun.
void CsvReader::Texts::Carry(std::size_t row) {
    blocks[filled].Clear();
    if (row < Finished().Rows())
        blocks[filled].Append(Finished().At(row));
}

CsvReader::CsvReader(std::vector<std::string> itsFiles, CsvFormat itsFormat, std::size_t blockBytes,
                     std::function<bool()> itsIsInterrupted)
    : files(std::move(itsFiles)),
      format(std::move(itsFormat)),
      hasOtherForms(format.decimalComma || !format.thousands.empty() || !format.missing.empty()),
      isInterrupted(std::move(itsIsInterrupted)),
      bytes(blockBytes) {
    for (const std::string& file : files) // a missing one should not end a long run late
        if (const auto fileSize = Source::SizeOf(file); size && fileSize)
            *size += *fileSize;
        else
            size.reset();
    OpenNext();
    if (csv_init(&parser, CSV_REPALL_NL | CSV_STRICT | CSV_STRICT_FINI) != 0)
        throw Error(name, "the CSV parser cannot start");
    csv_set_blk_size(&parser, cellSteps);
    csv_set_delim(&parser, static_cast<unsigned char>(format.separator));
}

CsvReader::~CsvReader() { csv_free(&parser); }

/// Each cell takes at least one character, its separator or line end, and each row at least two.
std::size_t CsvReader::MostRows(std::size_t blockBytes, std::span<const WantedColumn> wanted) {
    std::unordered_set<std::string_view> cells;
    for (const WantedColumn& column : wanted)
        cells.insert(column.column);
    return blockBytes / std::max<std::size_t>(2, cells.size()) + 1;
}

void CsvReader::ReadHeader(std::span<const WantedColumn> wanted, const KeptColumns& kept) {
    const std::size_t mostRows = MostRows(bytes.size(), wanted);
    for (const WantedColumn& column : wanted)
        AddField(column, mostRows);
    wantedFields = fields.size();
    keepsAll = kept.areAll;
    for (const std::string& column : kept.names)
        AddKept(column);
    while (part != Part::Rows && !isAtEnd && !isInterrupted()) {
        Parse();
        if (failure && part != Part::Rows) // a failure behind the header waits for the rows before it
            std::rethrow_exception(failure);
    }
}

void CsvReader::AddField(const WantedColumn& wanted, std::size_t mostRows) {
    const AnySample chosen = wanted.channel.noValue;
    const AnySample usual = DefaultNoValue(wanted.channel.Type().letter);
    std::visit(
        [&]<class T>(T noValue) {
            const std::vector<T> empty(mostRows + 1, noValue); // one more: a block may end amid a row
            Field field{wanted.channel.name, wanted.column, Samples<T>{noValue, empty, empty}};
            if (wanted.time)
                field.time.emplace(*wanted.time, wanted.place);
            field.isPlain = std::is_same_v<T, double> && !wanted.time && !hasOtherForms;
            field.takesNoValues = format.takesNoValues || chosen != usual;
            fields.push_back(std::move(field));
        },
        chosen);
}

void CsvReader::AddKept(const std::string& column) {
    fields.push_back({column, column, Texts()});
    keptNames.push_back(column);
}

std::size_t CsvReader::ReadBlock() {
    if (finishedRows != 0)
        for (Field& field : fields)
            std::visit([this](auto& cells) { cells.Carry(finishedRows); }, field.cells);
    while (rows == 0 && !isAtEnd && !IsBad() && !isInterrupted())
        Parse();
    if (rows == 0 && IsBad()) { // rows before a failure are handed out first
        while (!IsLive() && !isAtEnd && !failure && !isInterrupted())
            Parse();
        ThrowFaults();
    }
    for (Field& field : fields)
        std::visit([](auto& cells) { cells.Finish(); }, field.cells);
    rowsBefore += rows;
    return finishedRows = std::exchange(rows, 0);
}

Column CsvReader::ColumnOf(std::size_t wanted) const {
    return std::visit(
        []<class T>(const T& cells) {
            if constexpr (std::is_same_v<T, Texts>)
                return Column();
            else
                return Over(cells.finished);
        },
        fields.at(wanted).cells);
}

const std::optional<TimeStyle>& CsvReader::TimeStyleOf(std::size_t wanted) const {
    return fields.at(wanted).time.value().Style();
}

const TextColumn& CsvReader::TextsOf(std::size_t kept) const {
    return std::get<Texts>(fields.at(wantedFields + kept).cells).Finished();
}

void CsvReader::OpenNext() {
    source = std::make_unique<Source>(files.at(nextFile++), isInterrupted);
    name = source->Name();
    isAtBeginning = true;
    linesToSkip = format.skippedLines;
    line = 1;
    isAfterReturn = false;
    part = Part::Header;
    beginning.clear();
    headerOffset = 0;
    header.clear();
}

void CsvReader::Parse() {
    std::string_view block;
    try {
        if (!source)
            OpenNext();
        if (!ReadBytes()) {
            isAtEnd = isInterrupted();
            if (!isAtEnd)
                EndFile();
            return;
        }
        block = {bytes.data(), byteCount};
        if (part == Part::Header)
            TakeBeginning(block);
    } catch (const Error&) {
        failure = std::current_exception();
        return;
    }
    if (std::exchange(isAtBeginning, false) && block.starts_with(byteOrderMark)) {
        block.remove_prefix(byteOrderMark.size());
        headerOffset += byteOrderMark.size();
    }
    if (linesToSkip != 0 || isAfterReturn)
        block.remove_prefix(SkipLines(block));
    if (csv_parse(&parser, block.data(), block.size(), &CsvReader::CellCallback, &CsvReader::RowCallback, this) !=
            block.size() &&
        !failure) {
        if (csv_error(&parser) != CSV_EPARSE)
            throw std::bad_alloc();
        const std::string advice = part == Part::Header ? Advice("") : "";
        failure = std::make_exception_ptr(
            Error(Place(), "not CSV: there is a quote inside a cell",
                  !advice.empty() ? advice : "put the whole cell in quotes, and double the quotes in it"));
    }
    if (csv_get_buffer_size(&parser) > longestCell && !failure)
        failure = std::make_exception_ptr(
            Error(Place(), "a cell is longer than 16 MiB", "end its line, or close its quotes"));
}

/// Reads what is there, up to a block. At the beginning of a file it waits for enough to know a byte order mark.
bool CsvReader::ReadBytes() {
    byteCount = 0;
    const std::size_t wanted = isAtBeginning ? byteOrderMark.size() : 1;
    while (byteCount < wanted) {
        const std::size_t count = source->Read(std::span(bytes).subspan(byteCount));
        if (count == 0)
            break;
        byteCount += count;
    }
    return byteCount != 0;
}

void CsvReader::TakeBeginning(std::string_view block) {
    beginning += block.substr(0, mostBeginning - std::min(beginning.size(), mostBeginning));
    RefuseOtherThanText(beginning, name);
}

/// Returns how many bytes belong to the lines before the header.
std::size_t CsvReader::SkipLines(std::string_view block) {
    std::size_t skipped = 0;
    for (; skipped < block.size(); ++skipped) {
        const bool isSecond = std::exchange(isAfterReturn, false) && block[skipped] == '\n';
        if (isSecond)
            continue;
        if (linesToSkip == 0)
            break;
        isAfterReturn = block[skipped] == '\r';
        if (isAfterReturn || block[skipped] == '\n') {
            --linesToSkip;
            ++line;
        }
    }
    headerOffset += skipped;
    return skipped;
}

/// Takes the last line, which may lack its line end.
void CsvReader::EndFile() {
    if (csv_fini(&parser, &CsvReader::CellCallback, &CsvReader::RowCallback, this) != 0 && !failure)
        failure = std::make_exception_ptr(Error(Place(), "a quoted cell has no closing quote", "close its quotes"));
    if (part == Part::Header && !failure)
        failure = std::make_exception_ptr(
            format.skippedLines != 0 && line > 1
                ? Error(Place(), "there is no header after the skipped lines", "skip fewer lines")
                : Error(name, "the recording is empty", "begin it with a line of channel names"));
    position += source->Position();
    source.reset();
    isAtEnd = nextFile == files.size();
}

/// A failure that ends the reading comes last in the recording, so it comes last in the list.
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

/// Exceptions must not pass through the parser, which is C, so they wait until it has returned.
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
    if (part != Part::Rows) {
        if (part == Part::Header)
            TakeName(cellText);
        else
            TakeUnit(cellText);
        CountLines(cellText);
    } else if (cell >= columns.size()) {
        if (cellText.empty() && cell == columns.size()) {
            // some loggers write a separator behind the last cell
        } else if (!std::exchange(isTooLong, true)) {
            AddFault(Place(), "more cells than the header has names (" + std::to_string(columns.size()) + ")",
                     "remove a separator, or put the cell in quotes");
        }
    } else if (columns[cell] != nullptr) {
        bool isOneLine = true; // as a number is
        for (Field* field = columns[cell]; field != nullptr; field = field->next)
            isOneLine = Store(*field, cellText) && isOneLine;
        if (!isOneLine)
            CountLines(cellText);
    } else {
        CountLines(cellText);
    }
    ++cell;
}

void CsvReader::OnRow(int terminator) {
    if (cell == 0) {
        // an empty line, or the second character of a line end
    } else if (part == Part::Header) {
        MatchHeader();
    } else if (part == Part::Units) {
        part = Part::Rows;
    } else if (cell < columns.size() && !LacksOnlyNameless()) {
        AddFault(Place(),
                 std::to_string(cell) + (cell == 1 ? " cell" : " cells") + ", but the header has " +
                     std::to_string(columns.size()) + " names",
                 "leave cells without sample empty, but keep their separators");
    } else if (faultCount == 0) {
        ++rows;
    }
    if (!(cell == 0 && isAfterReturn && terminator == '\n'))
        ++line;
    isAfterReturn = terminator == '\r';
    cell = 0;
    rowTexts = 0;
    isTooLong = false;
}

/// Some loggers write a separator behind the last name only: the last column has no name then, and rows no cell for it.
bool CsvReader::LacksOnlyNameless() const {
    return cell + 1 == columns.size() && header.back().empty() && columns.back() == nullptr;
}

void CsvReader::TakeName(std::string_view cellText) {
    CountRowText(cellText);
    if (header.size() == mostNames)
        throw Error(Place(), "the header has more than 1,000,000 names", "name a CSV file; see --separator and --skip");
    header.emplace_back(cellText);
}

/// A row that does not end must not fill the memory.
void CsvReader::CountRowText(std::string_view cellText) {
    rowTexts += cellText.size();
    if (rowTexts > mostRowTexts)
        throw Error(Place(), "a row has more than 64 MiB of text", "end its line, or keep fewer columns");
}

void CsvReader::TakeUnit(std::string_view cellText) {
    if (cell < columns.size())
        for (Field* field = columns[cell]; field != nullptr; field = field->next)
            field->unit = cellText;
}

/// Counts the line ends within a cell.
void CsvReader::CountLines(std::string_view cellText) {
    const char* const end = cellText.data() + cellText.size();
    for (const char* at = cellText.data(); at != end; ++at)
        if (*at == '\n' || (*at == '\r' && (at + 1 == end || at[1] != '\n')))
            ++line;
}

/// ReadBlock returns no row after the first fault.
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
    if (keepsAll)
        KeepOthers();
    for (Field& field : fields) {
        const std::string kind = std::holds_alternative<Texts>(field.cells) ? "column " : "channel ";
        const auto found = positions.find(field.column);
        if (found == positions.end())
            throw Error(Place(), "there is no " + kind + Quoted(field.column), Advice(field.column));
        if (repeated.contains(field.column))
            throw Error(Place(), "the " + kind + Quoted(field.column) + " appears twice", "rename one of them");
        field.next = std::exchange(columns[found->second], &field);
    }
    part = format.hasUnits ? Part::Units : Part::Rows;
}

/// With keep = "all" all files need the same columns, since the result has one header.
void CsvReader::KeepOthers() {
    std::unordered_set<std::string> known;
    for (const Field& field : fields)
        known.insert(field.column);
    for (const std::string& column : header)
        if (!known.contains(column)) {
            if (nextFile != 1)
                throw Error(Place(),
                            "the column " + Quoted(column) + " is not in the first file, which tells what to keep",
                            "name the columns to keep in the plan: keep = [\"...\"]");
            AddKept(column);
        }
}

std::string CsvReader::Advice(const std::string& missing) const {
    std::vector<std::string> wanted;
    for (const Field& field : fields)
        wanted.push_back(field.column);
    return AdviceOnHeader(beginning, headerOffset, format, wanted, header, missing);
}

/// Returns whether the cell is known to be one line.
bool CsvReader::Store(Field& field, std::string_view cellText) {
    if (field.isPlain && !cellText.empty() &&
        ReadShortDecimal(cellText, std::get<Samples<double>>(field.cells).filling[rows])) [[likely]]
        return true;
    const CellFault fault = std::visit([&](auto& cells) { return Read(field, cells, cellText); }, field.cells);
    if (fault == CellFault::None) [[likely]]
        return true;
    if (fault != CellFault::Text)
        AddBadCell(field, cellText, fault);
    return false;
}

template <Sample T>
CsvReader::CellFault CsvReader::Read(Field& field, Samples<T>& samples, std::string_view cellText) {
    if constexpr (std::is_same_v<T, double>)
        if (field.time) [[unlikely]]
            return ReadTime(field, samples, cellText);
    T& value = samples.filling[rows];
    if (IsNoSample(cellText)) {
        value = samples.noValue;
        return CellFault::None;
    }
    if (hasOtherForms) {
        if (format.IsMissing(cellText)) {
            value = samples.noValue;
            return CellFault::None;
        }
        cellText = PlainNumber(cellText, format, text);
    }
    std::errc error = ReadNumber(cellText, value);
    if (error != std::errc())
        error = ReadOtherForm(cellText, error, value);
    if (error != std::errc()) {
        value = samples.noValue;
        return error == std::errc::result_out_of_range ? CellFault::OutOfRange : CellFault::NoNumber;
    }
    if constexpr (std::is_floating_point_v<T>) {
        if (std::isnan(value)) // as "-nan" is
            value = samples.noValue;
    } else if (value == samples.noValue) {
        if (!field.takesNoValues)
            return CellFault::NoValue;
        if (field.noValueCells.count++ == 0)
            field.noValueCells.firstRow = rowsBefore + rows + 1;
    }
    return CellFault::None;
}

CsvReader::CellFault CsvReader::ReadTime(Field& field, Samples<double>& samples, std::string_view cellText) {
    double& value = samples.filling[rows];
    const bool isMissing = IsNoSample(cellText) || (hasOtherForms && format.IsMissing(cellText));
    if (!isMissing && field.time->Read(cellText, value) == TimeFault::None)
        return CellFault::None;
    value = samples.noValue;
    return isMissing ? CellFault::None : CellFault::NoTime;
}

/// Once there is a fault no row is counted, so later texts of the same row are not appended.
CsvReader::CellFault CsvReader::Read(Field& /*field*/, Texts& texts, std::string_view cellText) {
    CountRowText(cellText);
    TextColumn& filling = texts.blocks[texts.filled];
    if (filling.Rows() == rows)
        filling.Append(cellText);
    return CellFault::Text;
}

void CsvReader::AddBadCell(Field& field, std::string_view cellText, CellFault fault) {
    const std::uint64_t count = format.takesBadCells ? badCells.count++ : faultCount;
    if (count >= mostFaults) { // counted, but no longer listed
        faultCount += format.takesBadCells ? 0 : 1;
        return;
    }
    const std::string place = Place() + ", column " + std::to_string(cell + 1) + ", channel " + Quoted(field.name);
    const std::string what = Quoted(cellText) + Explain(field, fault);
    if (format.takesBadCells)
        badCells.first.push_back(place + ": " + what);
    else
        AddFault(place, what, RemedyOf(field, cellText, fault));
}

std::string CsvReader::Explain(const Field& field, CellFault fault) {
    if (fault == CellFault::NoTime)
        return field.time->ExplainLast();
    const std::string type(sampleTypes[field.cells.index()].name);
    if (fault == CellFault::NoValue)
        return " is the NoValue of the type " + type;
    return (fault == CellFault::OutOfRange ? " is out of the range of " : " is not a number of type ") + type;
}

std::string CsvReader::RemedyOf(const Field& field, std::string_view cellText, CellFault fault) const {
    if (fault == CellFault::NoValue)
        return "give the channel a wider type or another no_value; where the cell means no sample: --on-no-value "
               "missing";
    if (fault == CellFault::NoTime)
        return field.time->RemedyForLast() + "; --on-bad-cell missing leaves out such cells";
    if (cellText.find('\0') != std::string_view::npos)
        return "perhaps the logger lost power here; to leave these bytes out: tr -d '\\0' <RECORDING | velreplay PLAN";
    std::string remedy = "correct the cell, leave it empty for no sample, or give the channel another type";
    const bool hasComma = cellText.find(',') != std::string_view::npos;
    const bool hasPoint = cellText.find('.') != std::string_view::npos;
    if (hasComma && hasPoint && format.thousands.empty())
        remedy += cellText.rfind(',') > cellText.rfind('.') ? " (--decimal-comma --thousands . reads 1.517,5)"
                                                            : " (--thousands , reads 1,517.5)";
    else if (hasComma && !format.decimalComma)
        remedy += " (--decimal-comma reads 1,5)";
    else if (cellText.find_first_of("0123456789") == std::string_view::npos && cellText.size() < 10)
        remedy += rowsBefore + rows == 0 && !format.hasUnits ? " (--units-row, if this row holds units)"
                                                             : " (--missing, if this text means no sample)";
    return remedy;
}

std::string CsvReader::Place() const { return name + ":" + std::to_string(line); }

} // namespace Vel::Recordings
