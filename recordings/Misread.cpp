#include "recordings/Misread.h"

#include "vocabulary/Error.h"
#include "vocabulary/Help.h"
#include "vocabulary/Quote.h"

#include <algorithm>
#include <array>
#include <vector>

namespace Vel::Recordings {

namespace {

using namespace std::string_view_literals;

struct Packed {
    bool (*begins)(std::string_view beginning);
    const char* packer;
    const char* unpacker; ///< a command that writes what is packed to standard output
};
constexpr std::array packed{
    Packed{[](std::string_view text) { return text.starts_with("\x1F\x8B"); }, "gzip", "zcat"},
    Packed{[](std::string_view text) { return text.starts_with("\x1F\x9D"); }, "compress", "zcat"},
    Packed{[](std::string_view text) { return text.starts_with("\x28\xB5\x2F\xFD"); }, "zstd", "zstdcat"},
    Packed{[](std::string_view text) { return text.starts_with("\xFD\x37\x7A\x58\x5A"); }, "xz", "xzcat"},
    Packed{[](std::string_view text) { return text.starts_with("\x04\x22\x4D\x18"); }, "lz4", "lz4cat"},
    Packed{[](std::string_view text) { // "BZh" alone may begin a name
               return text.starts_with("BZh") && text.substr(3, 7).ends_with("1AY&SY");
           },
           "bzip2", "bzcat"},
};

/// The name of the encoding if it is UTF-16, with or without its mark: else one half of each plain character is 0.
std::string_view Utf16(std::string_view text) {
    if (text.starts_with("\xFF\xFE"sv) || text.starts_with("\xFE\xFF"sv))
        return "UTF-16";
    const auto isZero = [text](std::size_t i) { return i < text.size() && text[i] == 0; };
    if (isZero(1) && isZero(3) && !isZero(0) && !isZero(2))
        return "UTF-16LE";
    return isZero(0) && isZero(2) && !isZero(1) && !isZero(3) && text.size() >= 4 ? "UTF-16BE" : "";
}

std::string_view WithoutBlanksAndQuotes(std::string_view cell) {
    constexpr std::string_view around = " \t\"";
    const std::size_t begin = cell.find_first_not_of(around);
    return begin == std::string_view::npos ? "" : cell.substr(begin, cell.find_last_not_of(around) - begin + 1);
}

std::string_view HeaderLine(std::string_view beginning) {
    if (beginning.starts_with(byteOrderMark))
        beginning.remove_prefix(byteOrderMark.size());
    beginning.remove_prefix(std::min(beginning.find_first_not_of("\r\n"), beginning.size()));
    return beginning.substr(0, beginning.find_first_of("\r\n"));
}

std::size_t NamesIn(std::string_view line, char separator, std::span<const std::string> wanted) {
    std::vector<std::string_view> cells;
    for (std::size_t end = 0; end != std::string_view::npos;) {
        end = line.find(separator);
        cells.push_back(WithoutBlanksAndQuotes(line.substr(0, end)));
        if (end != std::string_view::npos)
            line.remove_prefix(end + 1);
    }
    std::sort(cells.begin(), cells.end());
    return static_cast<std::size_t>(std::count_if(wanted.begin(), wanted.end(), [&](const std::string& name) {
        return std::binary_search(cells.begin(), cells.end(), name);
    }));
}

bool HasDecimalCommas(std::string_view text) {
    const auto isDigit = [](char character) { return character >= '0' && character <= '9'; };
    for (std::size_t i = text.find(',', 1); i < text.size(); i = text.find(',', i + 1))
        if (isDigit(text[i - 1]) && i + 1 < text.size() && isDigit(text[i + 1]))
            return true;
    return false;
}

/// The option that reads the other separator; empty: no other one fits better.
std::string FittingOption(std::string_view beginning, const CsvFormat& format, std::span<const std::string> wanted) {
    const std::string_view line = HeaderLine(beginning);
    char best = format.separator;
    std::size_t most = NamesIn(line, best, wanted);
    for (const char separator : {',', ';', '\t', '|', ':', ' '})
        if (const std::size_t count = NamesIn(line, separator, wanted); count > most) {
            most = count;
            best = separator;
        }
    if (best == format.separator)
        return {};
    if (format.decimalComma && best == ',')
        return "leave out --decimal-comma";
    if (!format.decimalComma && best == ';' && HasDecimalCommas(beginning.substr(line.size())))
        return "--decimal-comma";
    return best == '\t' ? "--separator tab" : "--separator '" + std::string(1, best) + "'";
}

std::string Listed(std::span<const std::string> names) {
    constexpr std::size_t mostNames = 20;
    std::string list;
    for (const std::string& known : names.first(std::min(names.size(), mostNames)))
        list += " " + Quoted(known);
    return names.size() > mostNames ? list + " ... (" + std::to_string(names.size()) + " names)" : list;
}

} // namespace

void RefuseOtherThanText(std::string_view beginning, const std::string& name) {
    for (const Packed& kind : packed)
        if (kind.begins(beginning))
            throw Error(name, "the recording is compressed with " + std::string(kind.packer),
                        "unpack it into a pipe: " + std::string(kind.unpacker) + " RECORDING | velreplay PLAN");
    if (beginning.starts_with("PK\x03\x04"))
        throw Error(name, "the recording is a ZIP archive or a workbook of a spreadsheet",
                    "save the table as CSV, or unpack it into a pipe: unzip -p RECORDING | velreplay PLAN");
    if (const std::string encoding(Utf16(beginning)); !encoding.empty())
        throw Error(name, "the recording is in UTF-16",
                    "convert it in a pipe: iconv -f " + encoding + " -t UTF-8 RECORDING | velreplay PLAN");
    if (HeaderLine(beginning).find('\0') != std::string_view::npos)
        throw Error(name, "the recording is no text", "name a CSV file");
}

std::string AdviceOnHeader(std::string_view beginning, const CsvFormat& format, std::span<const std::string> wanted,
                           std::span<const std::string> header, const std::string& missing) {
    if (const std::string option = FittingOption(beginning, format, wanted); !option.empty())
        return "its cells seem to be separated otherwise: " + option;
    constexpr std::size_t leastBytes = 4; // shorter names are all alike
    constexpr std::size_t mostBytes = 100;
    std::string advice;
    std::vector<std::string_view> names;
    for (const std::string& known : header)
        if (missing.size() >= leastBytes && known.size() <= mostBytes)
            names.emplace_back(known);
    if (const std::string_view similar = SimilarName(missing, names); !similar.empty())
        advice = "did you mean " + Quoted(similar) + "? ";
    return advice + "the header has:" + Listed(header);
}

} // namespace Vel::Recordings
