#include "recordings/CsvWriter.h"

#include "recordings/Numbers.h"
#include "vocabulary/Error.h"

#include <algorithm>
#include <utility>

namespace Vel::Recordings {

namespace {

constexpr std::size_t flushBytes = std::size_t{1} << 18;

/// Whether a reader would take the text without quotes for another one, or for a byte order mark.
bool NeedsQuotes(std::string_view text, char separator) {
    const auto isSpecial = [separator](char character) {
        return character == '"' || character == separator || static_cast<unsigned char>(character) < ' ';
    };
    return text.empty() || text.front() == ' ' || text.back() == ' ' || text.starts_with(byteOrderMark) ||
           std::any_of(text.begin(), text.end(), isSpecial);
}

std::string AsCell(std::string_view text, char separator) {
    if (!NeedsQuotes(text, separator))
        return std::string(text);
    std::string cell = "\"";
    for (const char character : text)
        cell.append(character == '"' ? 2 : 1, character);
    return cell + '"';
}

template <class T>
char* WriteCell(char* to, T value, bool decimalComma) {
    char* const end = WriteNumber(to, value);
    if constexpr (std::is_floating_point_v<T>)
        if (decimalComma)
            std::replace(to, end, '.', ',');
    return end;
}

} // namespace

CsvWriter::CsvWriter(const std::string& name, CsvFormat itsFormat, const std::vector<ResultColumn>& columns)
    : file(name), format(std::move(itsFormat)) {
    for (std::size_t i = 0; i < statusTexts.size(); ++i)
        statusCells[i] = AsCell(statusTexts[i], format.separator);
    for (const ResultColumn& column : columns) {
        channels.push_back(column.channel);
        times.push_back(column.time ? std::make_unique<TimeWriter>(*column.time) : nullptr);
        hasTimes = hasTimes || column.time;
    }
}

void CsvWriter::Append(std::string_view text) {
    if (used + text.size() > buffer.size())
        buffer.resize(used + text.size());
    std::copy(text.begin(), text.end(), buffer.begin() + static_cast<std::ptrdiff_t>(used));
    used += text.size();
}

void CsvWriter::WriteHeader(std::span<const std::string> statusNames, std::span<const std::string> textNames) {
    auto append = [this, isFirst = true](const std::string& name) mutable {
        if (!std::exchange(isFirst, false))
            Append({&format.separator, 1});
        Append(AsCell(name, format.separator));
    };
    for (const ChannelType& channel : channels)
        append(channel.name);
    for (const std::string& statusName : statusNames)
        append(statusName);
    for (const std::string& textName : textNames)
        append(textName);
    Append("\n");
}

void CsvWriter::SetTimeStyle(std::size_t column, const TimeStyle& style) {
    if (times.at(column))
        times[column]->SetStyle(style);
}

void CsvWriter::WriteRows(const ResultRows& rows) {
    hasRows = hasRows || rows.count != 0;
    // There is always room for the numbers of one more row, so that writing them needs no tests.
    numberRoom = (channels.size() + rows.statuses.size() + rows.texts.size() + 1) * longestNumber;
    buffer.resize(std::max(buffer.size(), flushBytes + numberRoom));
    for (std::size_t row = 0; row < rows.count; ++row) {
        AppendRow(rows, row);
        if (used > flushBytes)
            Flush();
    }
}

void CsvWriter::AppendRow(const ResultRows& rows, std::size_t row) {
    const std::size_t begin = used;
    char* to = buffer.data() + used;
    to = hasTimes ? WriteSamples<true>(to, rows.samples, row) : WriteSamples<false>(to, rows.samples, row);
    for (const std::vector<Status>& status : rows.statuses) {
        const std::string_view text = statusCells[static_cast<std::size_t>(status[row])];
        to = std::copy(text.begin(), text.end(), to);
        *to++ = format.separator;
    }
    for (const TextColumn* const texts : rows.texts) {
        to = WriteText(to, texts->At(row));
        *to++ = format.separator;
    }
    if (to == buffer.data() + begin + 1) // the only cell is empty: quotes tell it from an empty line
        to = std::fill_n(to - 1, 2, '"') + 1;
    to[-1] = '\n';
    used = static_cast<std::size_t>(to - buffer.data());
}

/// A result without times needs no test for them in each cell.
template <bool withTimes>
char* CsvWriter::WriteSamples(char* to, std::span<const Column> samples, std::size_t row) {
    const char separator = format.separator; // locals, which writing to the buffer cannot change
    const bool decimalComma = format.decimalComma;
    const std::span<const ChannelType> types = channels;
    for (std::size_t i = 0; i < types.size(); ++i) {
        if (withTimes && times[i])
            to = WriteTime(to, i, samples[i].At<double>(row));
        else
            std::visit(
                [&]<class T>(T noValue) {
                    const T value = samples[i].At<T>(row);
                    if (!IsNoValue(value, noValue))
                        to = WriteCell(to, value, decimalComma);
                },
                types[i].noValue);
        *to++ = separator;
    }
    return to;
}

char* CsvWriter::WriteTime(char* to, std::size_t column, double value) {
    const double noValue = std::get<double>(channels[column].noValue);
    return IsNoValue(value, noValue) ? to : WriteText(to, times[column]->Write(value));
}

/// Makes room for the text, and for the numbers behind it. This may move the buffer.
char* CsvWriter::WriteText(char* to, std::string_view text) {
    if (text.empty())
        return to;
    const bool isQuoted = NeedsQuotes(text, format.separator);
    const auto length = static_cast<std::size_t>(to - buffer.data());
    if (const std::size_t most = length + 2 * text.size() + 2 + numberRoom; most > buffer.size()) {
        buffer.resize(most);
        to = buffer.data() + length;
    }
    if (!isQuoted)
        return std::copy(text.begin(), text.end(), to);
    *to++ = '"';
    for (const char character : text) {
        if (character == '"')
            *to++ = '"';
        *to++ = character;
    }
    *to++ = '"';
    return to;
}

void CsvWriter::Flush() {
    const std::string_view text(buffer.data(), std::exchange(used, 0));
    if (!isClosed && !file.Write(text))
        isClosed = true;
}

void CsvWriter::Keep() {
    Flush();
    file.Keep();
}

std::string CsvWriter::LeavePart() {
    if (!hasRows)
        return {};
    try {
        Flush();
    } catch (const Error&) { // what is there is worth keeping all the same
    }
    return file.Leave();
}

} // namespace Vel::Recordings
