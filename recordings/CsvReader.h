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
    bool areAll = false; ///< all columns of the first header that no channel reads
};

class CsvReader {
public:
    /// The largest number of rows in a block of `blockBytes` bytes, for these wanted columns. Some may be the same.
    static std::size_t MostRows(std::size_t blockBytes, std::span<const WantedColumn> wanted);

    /// Opens the first file, or standard input for "-", and will read it in blocks of `blockBytes` bytes. The rows of
    /// the other files follow; each file has a header. Reading ends after the current block once `itsIsInterrupted`
    /// returns true. The reader calls it often, and a signal ends each wait for input.
    CsvReader(std::vector<std::string> itsFiles, CsvFormat itsFormat, std::size_t blockBytes,
              std::function<bool()> itsIsInterrupted);
    CsvReader(const CsvReader&) = delete;
    CsvReader& operator=(const CsvReader&) = delete;
    ~CsvReader();

    /// Reads up to the first row, and finds the wanted and the kept columns in the header.
    void ReadHeader(std::span<const WantedColumn> wanted, const KeptColumns& kept = {});

    /// Reads the next rows: those of a block, or those that a live source has ready. Returns 0 at the end, or when
    /// interrupted. Throws Error for bad cells and rows, after it has returned the rows before them. The error counts
    /// all that is bad in the rest of a file, or in what a live source had ready, and lists the first.
    std::size_t ReadBlock();

    /// The samples of the last block for a wanted channel, NoValue where one is missing. They are valid until the
    /// second next call of ReadBlock.
    Column ColumnOf(std::size_t wanted) const;

    /// How the times of a wanted channel look; nothing before the first one.
    const std::optional<TimeStyle>& TimeStyleOf(std::size_t wanted) const;
    /// The unit of a wanted channel in the row of units; empty if there is none.
    const std::string& UnitOf(std::size_t wanted) const { return fields.at(wanted).unit; }

    /// The kept columns, once the header has been read.
    const std::vector<std::string>& KeptNames() const { return keptNames; }
    /// The texts of the last block in one of them. They are valid as long as samples are.
    const TextColumn& TextsOf(std::size_t kept) const;

    /// Cells so far that count as missing because they hold the NoValue of a wanted channel of an integer type: their
    /// number, and the row of the first, counted from 1.
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
    /// Whether something is wrong with the recording. ReadBlock throws, or has thrown, the error.
    bool IsBad() const { return faultCount != 0 || failure; }
    /// Size of all files in bytes, 0 if not known; and how many of these bytes have been read.
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

        /// Copies what there is of a row that the last block has begun.
        void Carry(std::size_t row) { filling[0] = finished[row]; }
        void Finish() { filling.swap(finished); }
    };
    /// Texts of the block that is being read, and of the one before.
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
        Field* next = nullptr; ///< another one that reads the same column
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
    std::string RemedyOf(const Field& field, std::string_view cellText, CellFault fault) const;
    [[noreturn]] void ThrowFaults();
    std::string Advice(const std::string& missing) const;

    std::vector<std::string> files;
    std::size_t nextFile = 0;
    CsvFormat format;
    bool hasOtherForms; ///< the format has unusual numbers or missing samples
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
    std::vector<Field*> columns; ///< the first field of each position in a row; null where nobody wants it
    std::size_t cell = 0;
    bool isTooLong = false;   ///< the row that is being read has too many cells
    std::size_t rowTexts = 0; ///< bytes of the texts of the row so far
    std::size_t rows = 0;
    std::size_t finishedRows = 0; ///< of the last block
    std::uint64_t rowsBefore = 0; ///< those that are being read
    std::string text;             ///< room for a number in its usual form
};

} // namespace Vel::Recordings
