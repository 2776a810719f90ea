#include "fuzz/Tables.h"

#include "fuzz/Finding.h"
#include "recordings/CsvReader.h"
#include "vocabulary/Quote.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include <sys/mman.h>
#include <unistd.h>

namespace VelFuzz {

namespace {

using Vel::ChannelType;
using Vel::Column;

void AppendRows(std::string& samples, std::span<const ChannelType> channels, std::span<const Column> columns,
                std::size_t rows) {
    for (std::size_t row = 0; row < rows; ++row)
        for (std::size_t i = 0; i < columns.size(); ++i)
            std::visit(
                [&]<class T>(T noValue) {
                    T value = columns[i].At<T>(row);
                    if constexpr (std::is_floating_point_v<T>)
                        value = std::isnan(value) ? noValue : value; // as text it is no sample
                    if (Vel::IsNoValue(value, noValue))
                        value = noValue;
                    std::array<char, sizeof(T)> bytes{};
                    std::copy_n(reinterpret_cast<const char*>(&value), sizeof(T), bytes.begin());
                    samples.append(bytes.data(), bytes.size());
                },
                channels[i].noValue);
}

void RequireMessage(std::string_view message) {
    constexpr std::size_t longest = 8000;
    Require(message.size() < longest, "a short message");
    while (!message.empty()) {
        const std::size_t length = message[0] == '\n' ? 1 : Vel::PrintableBytes(message);
        Require(length != 0, "a message that is harmless to a terminal");
        message.remove_prefix(length);
    }
}

} // namespace

MemoryFile::MemoryFile(std::string_view text, Kind kind) {
    std::array<int, 2> ends{-1, -1};
    const bool isPipe = kind == Kind::Pipe;
    Require(!isPipe || pipe(ends.data()) == 0, "a pipe");
    file = isPipe ? ends[0] : memfd_create("table", 0);
    const int writtenTo = isPipe ? ends[1] : file;
    Require(file != -1 && write(writtenTo, text.data(), text.size()) == static_cast<ssize_t>(text.size()), "a file");
    if (isPipe)
        close(ends[1]);
}

MemoryFile::~MemoryFile() { close(file); }

std::string MemoryFile::Name() const { return "/proc/self/fd/" + std::to_string(file); }

Table ReadTable(const MemoryFile& file, Vel::Recordings::CsvFormat format, std::size_t blockBytes,
                std::span<const Vel::Recordings::WantedColumn> wanted, const Vel::Recordings::KeptColumns& kept) {
    Table table;
    try {
        Vel::Recordings::CsvReader reader({file.Name()}, format, blockBytes, [] { return false; });
        std::vector<ChannelType> channels;
        for (const Vel::Recordings::WantedColumn& column : wanted)
            channels.push_back(column.channel);
        reader.ReadHeader(wanted, kept);
        table.hasHeader = true;
        while (const std::size_t rows = reader.ReadBlock()) {
            Require(rows <= Vel::Recordings::CsvReader::MostRows(blockBytes, wanted), "rows of a block");
            std::vector<Column> columns;
            for (std::size_t i = 0; i < wanted.size(); ++i)
                columns.push_back(reader.ColumnOf(i));
            AppendRows(table.samples, channels, columns, rows);
            for (std::size_t row = 0; row < rows; ++row)
                for (std::size_t i = 0; i < reader.KeptNames().size(); ++i) {
                    const std::string_view text = reader.TextsOf(i).At(row);
                    table.texts.append(std::to_string(text.size())).append(":").append(text);
                }
            table.rows += rows;
        }
    } catch (const Vel::Error& failure) {
        table.failure = failure.what();
        RequireMessage(table.failure);
    }
    return table;
}

std::vector<Vel::Recordings::WantedColumn> AsWanted(std::span<const ChannelType> channels) {
    std::vector<Vel::Recordings::WantedColumn> wanted;
    for (const ChannelType& channel : channels)
        wanted.push_back({channel, channel.name});
    return wanted;
}

std::vector<Vel::Recordings::ResultColumn> AsResult(std::span<const ChannelType> channels) {
    std::vector<Vel::Recordings::ResultColumn> columns;
    for (const ChannelType& channel : channels)
        columns.push_back({channel});
    return columns;
}

std::string AsReadBack(std::span<const ChannelType> channels, std::span<const Column> columns, std::size_t rows) {
    std::string samples;
    AppendRows(samples, channels, columns, rows);
    return samples;
}

} // namespace VelFuzz
