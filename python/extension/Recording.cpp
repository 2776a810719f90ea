#include "Recording.h"

#include "vocabulary/Help.h"
#include "vocabulary/Quote.h"

#include <algorithm>
#include <cerrno>
#include <new>
#include <unordered_set>

namespace VelPython {

namespace {

using Vel::Error, Vel::Quoted;
using Vel::Engine::InputPlan, Vel::Engine::Plan, Vel::Engine::Warning;

constexpr const char* ofProducer = "its producer breaks the Arrow C data interface";

std::string ColumnOf(const InputPlan& input) { return input.column.value_or(input.channel.name); }

/// Microseconds: the finest unit in which a Float64 can represent all present times.
std::string FormatOfTimes(const std::optional<Vel::TimeForm>& form, const std::string& zone) {
    if (form && form->isLocal)
        return "tsu:";
    return "tsu:" + zone;
}

/// Warns of values that count as missing because they equal the NoValue of an integer type.
void WarnOfNoValues(std::vector<Warning>& warnings, const Vel::ChannelType& channel, std::uint64_t count,
                    std::uint64_t firstRow) {
    if (count == 0)
        return;
    const std::string noValue = std::visit([](auto value) { return std::to_string(value); }, channel.noValue);
    warnings.push_back(
        {channel.name, "cells that hold " + noValue + ", its NoValue, count as missing", firstRow, count});
}

/// Throws if a producer failed, with its message.
void Check(int failure, Owned<ArrowArrayStream>& stream) {
    if (failure == 0)
        return;
    if (failure == ENOMEM)
        throw std::bad_alloc();
    const char* const said = stream->get_last_error(&*stream);
    throw Error("data", said != nullptr && *said != '\0' ? said : "the stream fails: " + Vel::ErrorText(failure));
}

} // namespace

OwnedSchema ReadSchema(OwnedStream& stream) {
    OwnedSchema schema;
    Check(stream->get_schema(&*stream, &*schema), stream);
    return schema;
}

OwnedArray ReadArray(OwnedStream& stream) {
    OwnedArray array;
    Check(stream->get_next(&*stream, &*array), stream);
    return array;
}

ArrowRecording::ArrowRecording(OwnedStream itsStream, const Plan& plan, const Vel::Recordings::FormatOptions& options,
                               std::uint64_t itsRowsBefore)
    : stream(std::move(itsStream)), rowsBefore(itsRowsBefore) {
    schema = ReadSchema(stream);
    if (!schema || schema->format == nullptr || std::string(schema->format) != "+s")
        throw Error("data", "this is no table", "give a table or a batch: a column alone has no name");
    const bool takesNoValues = Vel::Recordings::MakeFormat(options, plan).takesNoValues;
    std::unordered_set<std::size_t> read;
    for (const InputPlan& input : plan.inputs) {
        const std::string column = ColumnOf(input);
        const std::size_t child = Find(column, input.place);
        const ArrowSchema& childSchema = SchemaOf(child);
        const bool isChosen = input.channel.noValue != Vel::DefaultNoValue(input.channel.Type().letter) &&
                              !input.channel.Type().isFloating;
        wanted.push_back({input.channel, column, input.time, takesNoValues || isChosen});
        readers.emplace_back(wanted.back(), childSchema);
        children.push_back(child);
        channels.push_back(input.channel);
        const ArrowType type = TypeOf(childSchema);
        timeFormats.push_back(type.IsTime() ? FormatOfTimes(input.time, type.zone)
                              : input.time  ? FormatOfTimes(input.time, "UTC")
                                            : "");
        read.insert(child);
    }
    for (const std::string& name : plan.keep)
        kept.push_back({name, Find(name, plan.name + ": keep")});
    for (std::size_t child = 0; plan.keepsAll && child < static_cast<std::size_t>(schema->n_children); ++child)
        if (!read.contains(child))
            kept.push_back({ColumnName(child), child});
}

std::string ArrowRecording::ColumnName(std::size_t child) const {
    const char* const name = SchemaOf(child).name;
    return name != nullptr ? name : "";
}

std::size_t ArrowRecording::Find(const std::string& name, const std::string& place) const {
    std::optional<std::size_t> found;
    for (std::size_t child = 0; child < static_cast<std::size_t>(schema->n_children); ++child)
        if (ColumnName(child) == name) {
            if (found)
                throw Error(place, "the data have two columns " + Quoted(name), "rename one of them");
            found = child;
        }
    if (found)
        return *found;
    std::vector<std::string> names;
    for (std::size_t child = 0; child < static_cast<std::size_t>(schema->n_children); ++child)
        names.push_back(ColumnName(child));
    const std::string_view similar = Vel::SimilarName(name, std::vector<std::string_view>(names.begin(), names.end()));
    constexpr std::size_t mostNames = 20;
    std::string list = similar.empty() ? "they have:" : "did you mean " + Quoted(similar) + "? They have:";
    for (std::size_t i = 0; i < std::min(names.size(), mostNames); ++i)
        list += " " + Quoted(names[i]);
    throw Error(place, "the data have no column " + Quoted(name),
                list + (names.size() > mostNames ? " ... (" + std::to_string(names.size()) + " names)" : ""));
}

/// Reads a table and checks it against the schema. Returns an empty one at the end.
OwnedArray ArrowRecording::ReadNext() {
    if (hasAll || !stream)
        return {};
    OwnedArray table = ReadArray(stream);
    if (!table)
        return table;
    if (table->n_children != schema->n_children)
        throw Error("data", "a batch has other columns than its schema", ofProducer);
    if (table->length < 0 || table->offset < 0)
        throw Error("data", "a batch has fewer rows than none", ofProducer);
    if (table->null_count != 0 && table->n_buffers != 0 && table->buffers[0] != nullptr &&
        !Validity(*table, table->offset).AreAll(0, static_cast<std::size_t>(table->length)))
        throw Error("data", "a batch has rows that are null as a whole", "flatten its columns");
    for (std::int64_t i = 0; i < table->n_children; ++i)
        if (table->children[i] == nullptr || table->children[i]->release == nullptr ||
            table->children[i]->length < table->offset + table->length)
            throw Error("data", "a batch lacks rows of the column " + Quoted(ColumnName(static_cast<std::size_t>(i))),
                        ofProducer);
    return table;
}

void ArrowRecording::Take(std::vector<ArrowReader>& into, const ArrowArray& table, std::uint64_t before) const {
    for (std::size_t input = 0; input < into.size(); ++input)
        into[input].Take(*table.children[children[input]], table.offset, table.length, before);
}

void ArrowRecording::ReadAll() {
    std::vector<ArrowReader> checking;
    for (std::size_t input = 0; input < wanted.size(); ++input)
        checking.emplace_back(wanted[input], SchemaOf(children[input]));
    std::uint64_t before = rowsBefore;
    while (OwnedArray table = ReadNext()) {
        Take(checking, *table, before);
        for (ArrowReader& reader : checking) {
            reader.Read(0, static_cast<std::size_t>(table->length));
            if (reader.Fault())
                throw Error(*reader.Fault());
        }
        before += static_cast<std::uint64_t>(table->length);
        waiting.push_back(std::move(table));
    }
    std::reverse(waiting.begin(), waiting.end());
    hasAll = true;
}

bool ArrowRecording::Next() {
    rowsBefore += std::exchange(rows, 0);
    OwnedArray table;
    if (!waiting.empty()) {
        table = std::move(waiting.back());
        waiting.pop_back();
    } else {
        table = ReadNext();
    }
    batch = table ? std::make_shared<const OwnedArray>(std::move(table)) : nullptr;
    if (!batch)
        return false;
    rows = static_cast<std::size_t>((*batch)->length);
    Take(readers, **batch, rowsBefore);
    return true;
}

ArrowReader::Block ArrowRecording::Read(std::size_t input, std::size_t begin, std::size_t count) {
    return readers[input].Read(begin, count);
}

/// Times of a zone are moments: their texts say that they are UTC.
std::optional<Vel::Recordings::TimeStyle> ArrowRecording::TimeStyleOf(std::size_t input) const {
    const std::string& format = timeFormats.at(input);
    if (format.empty() || format.ends_with(':'))
        return {};
    Vel::Recordings::TimeStyle style;
    style.offset = Vel::Recordings::TimeStyle::Offset::Utc;
    return style;
}

std::vector<Warning> ArrowRecording::Warnings() const {
    std::vector<Warning> warnings;
    for (std::size_t input = 0; input < readers.size(); ++input)
        WarnOfNoValues(warnings, channels[input], readers[input].TakenNoValues().count,
                       readers[input].TakenNoValues().firstRow);
    return warnings;
}

namespace {

/// A block size that limits the memory for the samples of all inputs.
std::size_t BlockBytesFor(const Plan& plan) {
    constexpr std::size_t mostSamples = std::size_t{1} << 19;
    return std::max<std::size_t>(mostSamples / plan.inputs.size(), 64) * std::max<std::size_t>(2, plan.inputs.size());
}

std::vector<Vel::Recordings::WantedColumn> WantedBy(const Plan& plan) {
    std::vector<Vel::Recordings::WantedColumn> wanted;
    for (const InputPlan& input : plan.inputs)
        wanted.push_back({input.channel, ColumnOf(input), input.time, input.place});
    return wanted;
}

} // namespace

CsvRecording::CsvRecording(std::vector<std::string> files, const Vel::Recordings::FormatOptions& options,
                           const Plan& plan, std::function<bool()> isInterrupted)
    : reader(std::move(files), Vel::Recordings::MakeFormat(options, plan), BlockBytesFor(plan),
             std::move(isInterrupted)) {
    for (const InputPlan& input : plan.inputs) {
        channels.push_back(input.channel);
        const bool hasZone = input.time && !input.time->zone.empty();
        timeFormats.push_back(input.time ? FormatOfTimes(input.time, hasZone ? input.time->zone : "UTC") : "");
    }
    reader.ReadHeader(WantedBy(plan), {plan.keep, plan.keepsAll});
    for (const std::string& name : reader.KeptNames()) {
        kept.push_back({name, kept.size()});
        keptSchemas.push_back(MakeField(name, "U"));
    }
}

bool CsvRecording::Next() {
    rows = reader.ReadBlock();
    if (rows == 0)
        return false;
    std::vector<OwnedArray> columns;
    for (std::size_t i = 0; i < kept.size(); ++i) {
        const Vel::Recordings::TextColumn& column = reader.TextsOf(i);
        std::int64_t end = 0;
        Buffer ends;
        Buffer texts;
        ends.Append(&end, sizeof end);
        for (std::size_t row = 0; row < rows; ++row) {
            texts.Append(column.At(row).data(), column.At(row).size());
            end = static_cast<std::int64_t>(texts.Size());
            ends.Append(&end, sizeof end);
        }
        columns.push_back(MakeTexts(rows, std::move(ends), std::move(texts)));
    }
    batch = std::make_shared<const OwnedArray>(MakeTable(rows, std::move(columns)));
    return true;
}

ArrowReader::Block CsvRecording::Read(std::size_t input, std::size_t begin, std::size_t count) {
    const Vel::Column column = reader.ColumnOf(input);
    return {{column.AddressAt(begin), column.stride}, count};
}

std::optional<double> CsvRecording::Share() const {
    if (reader.Size() == 0)
        return std::nullopt;
    return static_cast<double>(reader.Position()) / static_cast<double>(reader.Size());
}

std::vector<Warning> CsvRecording::Warnings() const {
    std::vector<Warning> warnings;
    for (std::size_t input = 0; input < channels.size(); ++input)
        WarnOfNoValues(warnings, channels[input], reader.NoValueCellsOf(input).count,
                       reader.NoValueCellsOf(input).firstRow);
    const auto& bad = reader.TakenBadCells();
    if (bad.count != 0)
        warnings.push_back({"", "bad cells count as missing, first " + bad.first.front(), 0, bad.count});
    return warnings;
}

} // namespace VelPython
