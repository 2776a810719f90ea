/// A recording: CSV with a header of channel names, in one file or several, read block by block into columns of
/// samples.
#pragma once

#include "recordings/CsvFormat.h"
#include "recordings/Source.h"
#include "recordings/TextColumn.h"
#include "recordings/Times.h"
#include "vocabulary/Columns.h"
#include "vocabulary/Error.h"
#include "vocabulary/TimeForm.h"

#include <csv.h>

#include <array>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace Vel::Recordings {

/// A channel, and the column of the recording that it is read from. Several may read one column.
struct WantedColumn {
    ChannelType channel;
    std::string column;
    std::optional<TimeForm> time = {}; ///< of a column of times; the channel is a Float64 then
    std::string place = {};            ///< where the time form is said, for errors
};

/// Columns whose cells are wanted as texts.
struct KeptColumns {
    std::vector<std::string> names;
    bool areAll = false; ///< those of the first header that no channel is read from
};

class CsvReader {
public:
    /// The most rows that a block of so many bytes may have, if these columns are wanted, one of them perhaps twice.
    static std::size_t MostRows(std::size_t blockBytes, std::span<const WantedColumn> wanted);

    /// Opens the first file, or standard input for "-", to be read in blocks of so many bytes; the others follow, each
    /// with a header of its own, and their rows continue those before. Reading ends after the current block when
    /// `itsIsInterrupted` answers true; it is asked often, and waits for input end for a signal.
    CsvReader(std::vector<std::string> itsFiles, CsvFormat itsFormat, std::size_t blockBytes,
              std::function<bool()> itsIsInterrupted);
    CsvReader(const CsvReader&) = delete;
    CsvReader& operator=(const CsvReader&) = delete;
    ~CsvReader();

    /// Reads up to the first row, and finds the wanted and the kept columns in the header.
    void ReadHeader(std::span<const WantedColumn> wanted, const KeptColumns& kept = {});

    /// Reads the next rows, as many as a block has or a live source has ready. 0: no more, or interrupted. Throws Error
    /// for bad cells and rows after it has handed out those before. Of a file, it has gone through the rest then,
    /// counts all that is bad, and lists the first; of a live source, what was there already.
    std::size_t ReadBlock();

    /// The samples of the last block for a wanted channel, NoValue where one is missing. They stay until ReadBlock is
    /// called for the second time from now.
    Column ColumnOf(std::size_t wanted) const;

    /// How the times of a wanted channel look; nothing before the first one.
    const std::optional<TimeStyle>& TimeStyleOf(std::size_t wanted) const;
    /// What the row of units says of a wanted channel; empty if there is none.
    const std::string& UnitOf(std::size_t wanted) const { return fields.at(wanted).unit; }

    /// The kept columns, once the header has been read.
    const std::vector<std::string>& KeptNames() const { return keptNames; }
    /// The texts of the last block in one of them. They stay as samples do.
    const TextColumn& TextsOf(std::size_t kept) const;

    /// Cells so far that count as missing, since they hold the NoValue of a wanted channel of an integer type: how many
    /// there are, and the row of the first, from 1.
    struct NoValueCells {
        std::uint64_t count = 0;
        std::uint64_t firstRow = 0;
    };
    NoValueCells NoValueCellsOf(std::size_t wanted) const { return fields.at(wanted).noValueCells; }

    /// Bad cells so far that count as missing, and what is wrong with the first of them.
    struct BadCells {
        std::uint64_t count = 0;
        std::vector<std::string> first = {};
    };
    const BadCells& TakenBadCells() const { return badCells; }

    /// Whether a pipe, a device or standard input is among the files.
    bool IsLive() const { return !size; }
    /// Something is wrong with the recording, which the next or the last call of ReadBlock says.
    bool IsBad() const { return faultCount != 0 || failure; }
    /// Bytes of the files, 0 if not known, and those read of them.
    std::uint64_t Size() const { return size.value_or(0); }
    std::uint64_t Position() const { return position + (source ? source->Position() : 0); }

private:
    /// The part of a file that is being read.
    enum class Part : std::uint8_t { Header, Units, Rows };
    enum class CellFault : std::uint8_t {
        None,
        Text /* no fault, but it may have lines */,
        NoNumber,
        OutOfRange,
        NoValue,
        NoTime
    };

    /// Samples of one type: of the block that is being read, and of the one before.
    template <Sample T>
    struct Samples {
        T noValue;
        std::vector<T> filling;
        std::vector<T> finished;

        /// A row that the last block has begun.
        void Carry(std::size_t row) { filling[0] = finished[row]; }
        void Finish() { filling.swap(finished); }
    };
    /// The texts of a block stay where they are while the next is read.
    struct Texts {
        std::array<TextColumn, 2> blocks;
        std::size_t filled = 0;

        const TextColumn& Finished() const { return blocks[1 - filled]; }
        void Carry(std::size_t row);
        void Finish() { filled = 1 - filled; }
    };
    using AnyCells = std::variant<Samples<std::uint8_t>, Samples<std::uint16_t>, Samples<std::uint32_t>,
                                  Samples<std::uint64_t>, Samples<std::int8_t>, Samples<std::int16_t>,
                                  Samples<std::int32_t>, Samples<std::int64_t>, Samples<float>, Samples<double>, Texts>;
    struct Field {
        std::string name;
        std::string column;
        AnyCells cells;
        std::optional<TimeReader> time = {}; ///< of Float64 samples that are times
        bool isPlain = false;                ///< Float64 samples that are numbers in their usual form
        bool takesNoValues = false;          ///< of an integer type, as missing samples
        std::string unit = {};
        NoValueCells noValueCells = {};
        Field* next = nullptr; ///< that reads the same column
    };

    void AddField(const WantedColumn& wanted, std::size_t mostRows);
    void AddKept(const std::string& column);
    void OpenNext();
    void Parse();
    bool ReadBytes();
    void EndFile();
    void TakeBeginning(std::string_view block);
    std::size_t SkipLines(std::string_view block);
    static void CellCallback(void* cellText, std::size_t length, void* self) noexcept;
    static void RowCallback(int terminator, void* self) noexcept;
    void OnCell(std::string_view cellText);
    void OnRow(int terminator);
    bool LacksOnlyNameless() const;
    void TakeName(std::string_view cellText);
    void CountRowText(std::string_view cellText);
    void TakeUnit(std::string_view cellText);
    void MatchHeader();
    void KeepOthers();
    bool Store(Field& field, std::string_view cellText);
    template <Sample T>
    CellFault Read(Field& field, Samples<T>& samples, std::string_view cellText);
    CellFault ReadTime(Field& field, Samples<double>& samples, std::string_view cellText);
    CellFault Read(Field& field, Texts& texts, std::string_view cellText);
    std::string Place() const;
    void CountLines(std::string_view cellText);
    void AddFault(const std::string& itsPlace, std::string_view fault, std::string_view remedy);
    void AddBadCell(Field& field, std::string_view cellText, CellFault fault);
    static std::string Explain(const Field& field, CellFault fault);
    std::string RemedyOf(std::string_view cellText, CellFault fault) const;
    [[noreturn]] void ThrowFaults();
    std::string Advice(const std::string& missing) const;

    std::vector<std::string> files;
    std::size_t nextFile = 0;
    CsvFormat format;
    bool hasOtherForms; ///< of numbers or of missing samples than usual
    std::function<bool()> isInterrupted;
    std::unique_ptr<Source> source;
    std::optional<std::uint64_t> size = 0;
    std::uint64_t position = 0; ///< bytes of the files before the current one
    csv_parser parser{};
    std::vector<char> bytes;
    std::size_t byteCount = 0;
    bool isAtEnd = false;
    std::exception_ptr failure; ///< which ends the reading
    std::vector<Error> faults;  ///< the first bad cells and rows
    std::uint64_t faultCount = 0;
    BadCells badCells;
    std::string name; ///< of the current file, for messages
    bool isAtBeginning = true;
    std::uint64_t linesToSkip = 0;
    std::uint64_t line = 1;
    bool isAfterReturn = false; ///< '\r' ended the last line, so '\n' belongs to it
    Part part = Part::Header;
    std::string beginning;        ///< of the file, until its header has been read
    std::size_t headerOffset = 0; ///< in it
    std::vector<std::string> header;
    std::vector<Field> fields;
    bool keepsAll = false;
    std::vector<std::string> keptNames;
    std::size_t wantedFields = 0;
    std::vector<Field*> columns; ///< by position in the row, the first that wants it; null where nobody does
    std::size_t cell = 0;
    bool isTooLong = false;   ///< the row that is being read
    std::size_t rowTexts = 0; ///< bytes of the texts of the row so far
    std::size_t rows = 0;
    std::size_t finishedRows = 0; ///< of the last block
    std::uint64_t rowsBefore = 0; ///< those that are being read
    std::string text;             ///< a number in its usual form
};

} // namespace Vel::Recordings
