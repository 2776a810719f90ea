// A recording: CSV with a header of channel names, read block by block into the columns of channels.
#pragma once

#include "host/Channel.h"

#include <csv.h>

#include <cstdint>
#include <exception>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Velreplay {

struct CsvFormat {
    char separator = ',';
    bool decimalComma = false;
};

class Recording {
public:
    /// Opens a file, or standard input for "-", to be read in blocks of so many bytes.
    Recording(const std::string& itsName, CsvFormat itsFormat, std::size_t blockBytes);
    Recording(const Recording&) = delete;
    Recording& operator=(const Recording&) = delete;
    ~Recording();

    /// Reads up to the end of the header and matches it with the channels to be filled.
    void ReadHeader(std::span<Channel* const> itsInputs);

    /// Fills the channels with the next rows, as many as a block has or a live source has ready. 0: no more, or
    /// interrupted.
    std::size_t ReadBlock();

    bool IsLive() const { return size == 0; }
    /// Bytes of the file, 0 if not known, and those read of it.
    std::uint64_t Size() const { return size; }
    std::uint64_t Position() const { return position; }

private:
    bool AwaitBytes() const;
    bool ReadBytes();
    void Parse();
    void Finish();
    static void CellCallback(void* cellText, std::size_t length, void* self);
    static void RowCallback(int terminator, void* self);
    void OnCell(std::string_view cellText);
    void OnRow(int terminator);
    void MatchHeader();
    void Store(Channel& channel, std::string_view cellText);
    std::string Place() const;
    template <class TCall>
    void Guard(TCall call);

    std::string name;
    CsvFormat format;
    int file = -1;
    std::uint64_t size = 0;
    std::uint64_t position = 0;
    csv_parser parser{};
    std::vector<char> bytes;
    std::size_t byteCount = 0;
    bool hasParser = false;
    bool isAtEnd = false;
    std::exception_ptr failure;
    std::uint64_t line = 1;
    bool hasHeader = false;
    std::vector<std::string> header;
    std::span<Channel* const> inputs;
    std::vector<Channel*> columns; ///< by position in the row; null where the plan does not ask for it
    std::size_t cell = 0;
    std::size_t rows = 0;
    std::string text; ///< a cell with its comma replaced
};

/// Ends reading after the current block, as by SIGINT.
void Interrupt(int signal);
bool IsInterrupted();

} // namespace Velreplay
