#include "CsvResult.h"

#include "ArrowType.h"

#include "vocabulary/Quote.h"

#include <cstddef>
#include <cstring>
#include <string_view>

namespace VelPython {

namespace {

using Vel::Column, Vel::Error, Vel::Quoted, Vel::Status;
using Vel::Recordings::TextColumn;

Column SamplesIn(const ArrowArray& array, std::size_t size) {
    const auto* const first = static_cast<const std::byte*>(array.buffers[1]);
    return {first + static_cast<std::size_t>(array.offset) * size, static_cast<std::ptrdiff_t>(size)};
}

std::vector<Status> StatusesIn(const ArrowArray& array) {
    const auto* const first = static_cast<const Status*>(array.buffers[1]) + array.offset;
    return {first, first + array.length};
}

template <class TOffset>
void AppendTexts(TextColumn& column, const ArrowArray& array) {
    const auto* const ends = static_cast<const TOffset*>(array.buffers[1]) + array.offset;
    const auto* const texts = static_cast<const char*>(array.buffers[2]);
    const Validity validity(array, array.offset);
    for (std::size_t row = 0; row < static_cast<std::size_t>(array.length); ++row)
        column.Append(validity[row]
                          ? std::string_view(texts + ends[row], static_cast<std::size_t>(ends[row + 1] - ends[row]))
                          : std::string_view());
}

} // namespace

CsvResult::CsvResult(const std::string& name, const Vel::Recordings::CsvFormat& format, const Replay& itsReplay)
    : replay(itsReplay), writer(name, format, itsReplay.SampleColumns()) {
    const std::vector<std::string>& names = replay.Names();
    statusNames = replay.StatusNames();
    const std::size_t before = replay.SampleColumns().size() + statusNames.size();
    keptNames.assign(names.begin() + static_cast<std::ptrdiff_t>(before), names.end());
    for (std::size_t i = 0; i < keptNames.size(); ++i) {
        const ArrowSchema& schema = *replay.Schema().children[before + i];
        const ArrowType type = TypeOf(schema);
        if (type.kind != ArrowType::Kind::Text || type.isBinary || schema.dictionary != nullptr)
            throw Error("keep",
                        "the column " + Quoted(keptNames[i]) + " has the type " + type.name + ", and CSV holds texts",
                        "do not keep it, or write the result as Parquet or Arrow");
    }
    writer.WriteHeader(statusNames, keptNames);
}

void CsvResult::Write(const ArrowArray& table) {
    const auto& columns = replay.SampleColumns();
    std::vector<Column> samples;
    std::size_t child = 0;
    for (; child < columns.size(); ++child) {
        samples.push_back(SamplesIn(*table.children[child], columns[child].channel.Type().size));
        if (const auto style = replay.TimeStyleOf(child))
            writer.SetTimeStyle(child, *style);
    }
    std::vector<std::vector<Status>> statuses;
    for (std::size_t i = 0; i < statusNames.size(); ++i, ++child)
        statuses.push_back(StatusesIn(*table.children[child]));
    std::vector<TextColumn> texts(keptNames.size());
    std::vector<const TextColumn*> textColumns;
    for (TextColumn& column : texts) {
        if (TypeOf(*replay.Schema().children[child]).bytes == sizeof(std::int32_t))
            AppendTexts<std::int32_t>(column, *table.children[child]);
        else
            AppendTexts<std::int64_t>(column, *table.children[child]);
        textColumns.push_back(&column);
        ++child;
    }
    writer.WriteRows({static_cast<std::size_t>(table.length), samples, statuses, textColumns});
}

} // namespace VelPython
