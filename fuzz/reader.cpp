/// The reader of recordings with any text: it ends, its samples do not depend on how the text is cut into blocks, and
/// they can be written and read back.

#include "fuzz/Finding.h"
#include "fuzz/Tables.h"
#include "recordings/CsvWriter.h"

#include <array>
#include <vector>

#include <zlib.h>

using namespace VelFuzz;
using Vel::ChannelType;
using Vel::TimeForm;
using Vel::Recordings::CsvFormat;
using Vel::Recordings::KeptColumns;
using Vel::Recordings::WantedColumn;

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

/// Makes Float64 columns times, if the input says so.
bool MakeTimes(std::vector<WantedColumn>& wanted, const VelChecks::Choose& choose) {
    const std::array<TimeForm, 5> forms{TimeForm{}, TimeForm{TimeForm::Kind::Iso, "", "Europe/Berlin"},
                                        TimeForm{TimeForm::Kind::Pattern, "%d.%m.%Y %H:%M:%S", "Europe/Berlin", true},
                                        TimeForm{TimeForm::Kind::UnixSeconds},
                                        TimeForm{TimeForm::Kind::UnixMilliseconds}};
    bool hasTimes = false;
    for (WantedColumn& column : wanted)
        if (std::holds_alternative<double>(column.channel.noValue) && choose(2) == 0) {
            column.time = forms[choose(forms.size())];
            hasTimes = true;
        }
    return hasTimes;
}

/// As gzip packs it.
std::string Packed(std::string text) {
    std::string packed(text.size() + 100, '\0');
    z_stream stream{};
    constexpr int gzip = 16;
    Require(deflateInit2(&stream, 1, Z_DEFLATED, MAX_WBITS + gzip, 1, Z_DEFAULT_STRATEGY) == Z_OK, "a packer");
    stream.next_in = reinterpret_cast<Bytef*>(text.data());
    stream.avail_in = static_cast<uInt>(text.size());
    stream.next_out = reinterpret_cast<Bytef*>(packed.data());
    stream.avail_out = static_cast<uInt>(packed.size());
    Require(deflate(&stream, Z_FINISH) == Z_STREAM_END, "what is packed");
    packed.resize(stream.total_out);
    deflateEnd(&stream);
    return packed;
}

void RequireSame(const Table& one, const Table& other, bool withMessage) {
    Require(one.hasHeader == other.hasHeader, "the same header from other blocks");
    Require(one.rows == other.rows && one.samples == other.samples && one.texts == other.texts,
            "the same samples from other blocks");
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
    format.hasUnits = false; // nor lines before the header: a result has neither
    format.skippedLines = 0;
    const Table again = ReadTable(file, format, largeBlock, AsWanted(channels));
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
    format.hasUnits = choose(4) == 0;
    format.skippedLines = choose(4) == 0 ? 1 + choose(2) : 0;
    const KeptColumns kept{{}, choose(4) == 0};
    std::vector<WantedColumn> wanted = AsWanted(channels);
    const bool hasTimes = MakeTimes(wanted, choose);
    const bool mayBePacked = choose(4) == 0;
    const std::string text = bytes.ConsumeRemainingBytesAsString();
    const bool isPacked = mayBePacked && !text.starts_with("\x1F\x8B"); // twice is once too often

    const MemoryFile file(text);
    const Table table = ReadTable(file, format, largeBlock, wanted, kept);
    RequireSame(table, ReadTable(file, format, smallBlock, wanted, kept), true);
    const MemoryFile pipe(isPacked ? Packed(text) : text, MemoryFile::Kind::Pipe);
    RequireSame(table, ReadTable(pipe, format, smallBlock, wanted, kept), false);
    if (table.hasHeader && !hasTimes)
        RequireRoundTrip(table, format, channels);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* input, std::size_t size) {
    ForEachPart({input, size}, &Run);
    return 0;
}
