/// The reader of recordings with any text: it ends, its samples do not depend on how the text is cut into blocks, and
/// they can be written and read back.

#include "fuzz/Finding.h"
#include "fuzz/Tables.h"
#include "recordings/CsvWriter.h"

#include <array>
#include <vector>

using namespace VelFuzz;
using Vel::ChannelType;
using Vel::Recordings::CsvFormat;

namespace {

constexpr std::size_t smallBlock = 64;
constexpr std::size_t largeBlock = 4096;

std::vector<ChannelType> ChooseChannels(const VelChecks::Choose& choose) {
    constexpr std::array<const char*, 6> names{"a", "b", "c", "", " d", "e,\"\n"};
    std::vector<ChannelType> channels;
    const std::size_t count = 1 + choose(3);
    const std::size_t first = choose(names.size());
    for (std::size_t i = 0; i < count; ++i) {
        const Vel::SampleType& type = Vel::sampleTypes[choose(Vel::sampleTypes.size())];
        channels.push_back({names[(first + i) % names.size()], Vel::DefaultNoValue(type.letter)});
    }
    return channels;
}

void RequireSame(const Table& one, const Table& other, bool withMessage) {
    Require(one.hasHeader == other.hasHeader, "the same header from other blocks");
    Require(one.rows == other.rows && one.samples == other.samples, "the same samples from other blocks");
    Require(one.failure.empty() == other.failure.empty(), "the same end from other blocks");
    Require(!withMessage || !one.hasHeader || one.failure == other.failure, "the same message from other blocks");
}

/// Writes the rows of a table again, and reads them.
void RequireRoundTrip(const Table& table, CsvFormat format, const std::vector<ChannelType>& channels) {
    std::size_t rowBytes = 0;
    std::vector<Vel::Column> columns;
    for (const ChannelType& channel : channels)
        rowBytes += channel.Type().size;
    std::size_t offset = 0;
    std::vector<std::vector<std::byte>> samples; // aligned, unlike those of the table
    for (const ChannelType& channel : channels) {
        const std::size_t size = channel.Type().size;
        auto& column = samples.emplace_back();
        for (std::size_t row = 0; row < table.rows; ++row)
            for (std::size_t i = 0; i < size; ++i)
                column.push_back(static_cast<std::byte>(table.samples[row * rowBytes + offset + i]));
        columns.push_back({column.data(), static_cast<std::ptrdiff_t>(size)});
        offset += size;
    }
    const MemoryFile file;
    {
        Vel::Recordings::CsvWriter writer(file.Name(), format, AsResult(channels));
        writer.WriteHeader({});
        writer.WriteRows({table.rows, columns});
        writer.Keep();
    }
    const Table again = ReadTable(file, format, largeBlock, channels);
    Require(again.failure.empty(), "a result that can be read");
    Require(again.rows == table.rows && again.samples == table.samples, "the samples of a result");
}

void Run(FuzzedDataProvider& bytes) {
    const VelChecks::Choose choose = ChoicesFrom(bytes);
    constexpr std::string_view separators = ",;\t| ";
    CsvFormat format;
    format.decimalComma = choose(4) == 0;
    format.separator = format.decimalComma ? ';' : separators[choose(separators.size())];
    if (choose(4) == 0)
        format.thousands = format.decimalComma ? "." : "'";
    if (choose(4) == 0)
        format.missing = {"-", "NULL"};
    format.takesBadCells = choose(4) == 0;
    format.takesNoValues = choose(4) == 0;
    const std::vector<ChannelType> channels = ChooseChannels(choose);
    const std::string text = bytes.ConsumeRemainingBytesAsString();

    const MemoryFile file(text);
    const Table table = ReadTable(file, format, largeBlock, channels);
    RequireSame(table, ReadTable(file, format, smallBlock, channels), true);
    const MemoryFile pipe(text, MemoryFile::Kind::Pipe);
    RequireSame(table, ReadTable(pipe, format, smallBlock, channels), false);
    if (table.hasHeader)
        RequireRoundTrip(table, format, channels);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* input, std::size_t size) {
    ForEachPart({input, size}, &Run);
    return 0;
}
