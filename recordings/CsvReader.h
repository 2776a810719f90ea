/// A recording: CSV with a header of channel names, read block by block into columns of samples.
#pragma once

#include "recordings/CsvFormat.h"
#include "vocabulary/Columns.h"
#include "vocabulary/Error.h"

#include <csv.h>

#include <cstdint>
#include <exception>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace Vel::Recordings {

class CsvReader {
public:
    /// The most rows that a block of so many bytes may have, if these columns are wanted, one of them perhaps twice.
    static std::size_t MostRows(std::size_t blockBytes, std::span<const std::string> columnNames);

    /// Opens a file, or standard input for "-", to be read in blocks of so many bytes. Reading ends after the current
    /// block when `itsIsInterrupted` answers true; it is asked often, and waits for input end for a signal.
    CsvReader(const std::string& itsName, CsvFormat itsFormat, std::size_t blockBytes,
              std::function<bool()> itsIsInterrupted);
    CsvReader(const CsvReader&) = delete;
    CsvReader& operator=(const CsvReader&) = delete;
    ~CsvReader();

    /// Reads up to the end of the header and finds the wanted channels in it: each in the column with the name that is
    /// given for it, which several may share.
    void ReadHeader(std::span<const ChannelType> wanted, std::span<const std::string> columnNames);

    /// Reads the next rows, as many as a block has or a live source has ready. 0: no more, or interrupted. Throws Error
    /// for bad cells and rows after it has handed out those before. Of a file, it has gone through the rest then,
    /// counts all that is bad, and lists the first; of a live source, what was there already.
    std::size_t ReadBlock();

    /// The samples of the last block for a wanted channel, NoValue where one is missing. They stay until ReadBlock is
    /// called for the second time from now.
    Column ColumnOf(std::size_t wanted) const;

    /// Cells so far that hold the NoValue of a wanted channel of an integer type, which therefore count as missing: how
    /// many there are, and the row of the first, from 1.
    struct NoValueCells {
        std::uint64_t count = 0;
        std::uint64_t firstRow = 0;
    };
    NoValueCells NoValueCellsOf(std::size_t wanted) const { return fields.at(wanted).noValueCells; }

    bool IsLive() const { return size == 0; }
    /// Something is wrong with the recording, which the next or the last call of ReadBlock says.
    bool IsBad() const { return faultCount != 0 || failure; }
    /// Bytes of the file, 0 if not known, and those read of it.
    std::uint64_t Size() const { return size; }
    std::uint64_t Position() const { return position; }

private:
    /// Samples of one type: of the block that is being read, and of the one before.
    template <Sample T>
    struct Samples {
        T noValue;
        std::vector<T> filling;
        std::vector<T> finished;
    };
    using AnySamples = std::variant<Samples<std::uint8_t>, Samples<std::uint16_t>, Samples<std::uint32_t>,
                                    Samples<std::uint64_t>, Samples<std::int8_t>, Samples<std::int16_t>,
                                    Samples<std::int32_t>, Samples<std::int64_t>, Samples<float>, Samples<double>>;
    struct Field {
        std::string name;
        std::string column;
        AnySamples samples;
        NoValueCells noValueCells = {};
        Field* next = nullptr; ///< that reads the same column
    };

    bool AwaitBytes() const;
    bool ReadBytes();
    void Parse();
    void Finish();
    static void CellCallback(void* cellText, std::size_t length, void* self) noexcept;
    static void RowCallback(int terminator, void* self) noexcept;
    void OnCell(std::string_view cellText);
    void OnRow(int terminator);
    void MatchHeader();
    void Store(Field& field, std::string_view cellText);
    std::string Place() const;
    void CountLines(std::string_view cellText);
    void AddFault(const std::string& itsPlace, std::string_view fault, std::string_view remedy);
    void AddBadCell(const Field& field, std::string_view cellText, std::errc error);
    [[noreturn]] void ThrowFaults();
    std::string Advice(const std::string& missing) const;

    std::string name;
    CsvFormat format;
    std::function<bool()> isInterrupted;
    int file = -1;
    std::uint64_t size = 0;
    std::uint64_t position = 0;
    csv_parser parser{};
    std::vector<char> bytes;
    std::size_t byteCount = 0;
    bool hasParser = false;
    bool isAtEnd = false;
    std::exception_ptr failure; ///< which ends the reading
    std::vector<Error> faults;  ///< the first bad cells and rows
    std::uint64_t faultCount = 0;
    std::uint64_t line = 1;
    bool isAfterReturn = false; ///< '\r' ended the last line, so '\n' belongs to it
    bool hasHeader = false;
    std::string beginning; ///< of the recording, until its header has been read
    std::vector<std::string> header;
    std::vector<Field> fields;
    std::vector<Field*> columns; ///< by position in the row, the first that wants it; null where nobody does
    std::size_t cell = 0;
    std::size_t rows = 0;
    std::size_t finishedRows = 0; ///< of the last block
    std::uint64_t rowsBefore = 0; ///< those that are being read
    std::string text;             ///< a cell with its comma replaced
};

} // namespace Vel::Recordings
