#include "recordings/CsvWriter.h"

#include "recordings/Numbers.h"
#include "vocabulary/Error.h"

#include <algorithm>
#include <utility>

namespace Vel::Recordings {

namespace {

constexpr std::size_t flushBytes = std::size_t{1} << 18;

/// Whether a text as a cell of its own would be read as another one, or could begin what looks like no text.
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

CsvWriter::CsvWriter(const std::string& name, CsvFormat itsFormat, std::vector<ChannelType> itsChannels)
    : file(name), format(itsFormat), channels(std::move(itsChannels)) {
    for (std::size_t i = 0; i < statusTexts.size(); ++i)
        statusCells[i] = AsCell(statusTexts[i], format.separator);
}

void CsvWriter::Append(std::string_view text) {
    if (used + text.size() > buffer.size())
        buffer.resize(used + text.size());
    std::copy(text.begin(), text.end(), buffer.begin() + static_cast<std::ptrdiff_t>(used));
    used += text.size();
}

void CsvWriter::WriteHeader(std::span<const std::string> statusNames) {
    auto append = [this, isFirst = true](const std::string& name) mutable {
        if (!std::exchange(isFirst, false))
            Append({&format.separator, 1});
        Append(AsCell(name, format.separator));
    };
    for (const ChannelType& channel : channels)
        append(channel.name);
    for (const std::string& statusName : statusNames)
        append(statusName);
    Append("\n");
}

void CsvWriter::WriteRows(std::size_t rows, std::span<const Column> columns,
                          std::span<const std::vector<Status>> statuses) {
    hasRows = hasRows || rows != 0;
    // Room for the longest row beyond what causes a flush, so that a row needs no further tests.
    buffer.resize(std::max(buffer.size(), flushBytes + (columns.size() + statuses.size() + 1) * longestNumber));
    for (std::size_t row = 0; row < rows; ++row) {
        AppendRow(row, columns, statuses);
        if (used > flushBytes)
            Flush();
    }
}

void CsvWriter::AppendRow(std::size_t row, std::span<const Column> columns,
                          std::span<const std::vector<Status>> statuses) {
    char* to = buffer.data() + used;
    for (std::size_t i = 0; i < columns.size(); ++i) {
        std::visit(
            [&]<class T>(T noValue) {
                const T value = columns[i].At<T>(row);
                if (!IsNoValue(value, noValue))
                    to = WriteCell(to, value, format.decimalComma);
            },
            channels[i].noValue);
        *to++ = format.separator;
    }
    for (const std::vector<Status>& status : statuses) {
        const std::string_view text = statusCells[static_cast<std::size_t>(status[row])];
        to = std::copy(text.begin(), text.end(), to);
        *to++ = format.separator;
    }
    if (to == buffer.data() + used + 1) // the only cell is empty: quotes tell it from an empty line
        to = std::fill_n(to - 1, 2, '"') + 1;
    to[-1] = '\n';
    used = static_cast<std::size_t>(to - buffer.data());
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
