#include "recordings/Misread.h"

#include "recordings/Numbers.h"
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

bool IsAscii(char character) { return static_cast<unsigned char>(character) < 0x80; }

/// What tells an encoding of more bytes than one for each plain character: its mark, or the zeros that it has.
struct WideEncoding {
    const char* name; ///< as iconv knows it
    std::string_view mark;
    std::string_view zeros; ///< 'x' for what is none, in the first two characters
};
constexpr std::array wideEncodings{
    WideEncoding{"UTF-32", "\xFF\xFE\0\0"sv, {}}, WideEncoding{"UTF-32", "\0\0\xFE\xFF"sv, {}},
    WideEncoding{"UTF-16", "\xFF\xFE"sv, {}},     WideEncoding{"UTF-16", "\xFE\xFF"sv, {}},
    WideEncoding{"UTF-32LE", {}, "x000x000"},     WideEncoding{"UTF-32BE", {}, "000x000x"},
    WideEncoding{"UTF-16LE", {}, "x0x0"},         WideEncoding{"UTF-16BE", {}, "0x0x"},
};

/// The name of such an encoding; empty: it is none.
std::string WideEncodingOf(std::string_view text) {
    const auto hasZeros = [text](std::string_view zeros) {
        return !zeros.empty() && text.size() >= zeros.size() &&
               std::equal(zeros.begin(), zeros.end(), text.begin(),
                          [](char wanted, char byte) { return (wanted == '0') == (byte == 0); });
    };
    for (const WideEncoding& encoding : wideEncodings)
        if ((!encoding.mark.empty() && text.starts_with(encoding.mark)) || hasZeros(encoding.zeros))
            return encoding.name;
    return {};
}

std::string_view WithoutBlanksAndQuotes(std::string_view cell) {
    constexpr std::string_view around = " \t\"";
    const std::size_t begin = cell.find_first_not_of(around);
    return begin == std::string_view::npos ? "" : cell.substr(begin, cell.find_last_not_of(around) - begin + 1);
}

/// Takes the first line off a text.
std::string_view TakeLine(std::string_view& text) {
    const std::size_t length = std::min(text.find_first_of("\r\n"), text.size());
    const std::string_view line = text.substr(0, length);
    text.remove_prefix(std::min(length + (text.substr(length).starts_with("\r\n") ? 2 : 1), text.size()));
    return line;
}

std::string_view HeaderLine(std::string_view beginning) {
    if (beginning.starts_with(byteOrderMark))
        beginning.remove_prefix(byteOrderMark.size());
    beginning.remove_prefix(std::min(beginning.find_first_not_of("\r\n"), beginning.size()));
    return TakeLine(beginning);
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

std::string SeparatorOption(char separator, std::string_view rows, const CsvFormat& format) {
    if (format.decimalComma && separator == ',')
        return "leave out --decimal-comma";
    if (!format.decimalComma && separator == ';' && HasDecimalCommas(rows))
        return "--decimal-comma";
    return separator == '\t' ? "--separator tab" : "--separator '" + std::string(1, separator) + "'";
}

/// What reads a line of the beginning with more of the names as the header; empty: no other one has more.
std::string FittingOptions(std::string_view beginning, std::size_t headerOffset, const CsvFormat& format,
                           std::span<const std::string> wanted) {
    constexpr std::size_t mostLines = 100;
    const std::string_view header = HeaderLine(beginning.substr(std::min(headerOffset, beginning.size())));
    std::size_t most = NamesIn(header, format.separator, wanted);
    std::string options;
    if (beginning.starts_with(byteOrderMark))
        beginning.remove_prefix(byteOrderMark.size());
    for (std::size_t before = 0; before < mostLines && !beginning.empty(); ++before) {
        const std::string_view line = TakeLine(beginning);
        for (const char separator : {format.separator, ',', ';', '\t', '|', ':', ' '}) {
            const std::size_t count = NamesIn(line, separator, wanted);
            if (count <= most)
                continue;
            most = count;
            options = line.data() == header.data() ? "its cells seem to be separated otherwise:"
                                                   : "the header seems to be line " + std::to_string(before + 1) +
                                                         ": --skip " + std::to_string(before);
            if (separator != format.separator)
                options += " " + SeparatorOption(separator, beginning, format);
        }
    }
    return options;
}

bool IsUtf8(std::string_view text) {
    while (!text.empty()) {
        const std::size_t length = PrintableBytes(text);
        if (length == 0 && !IsAscii(text[0]))
            return false;
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return true;
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
    if (const std::string encoding = WideEncodingOf(beginning); !encoding.empty())
        throw Error(name, "the recording is in " + encoding.substr(0, encoding.find_first_of("LB")),
                    "convert it in a pipe: iconv -f " + encoding + " -t UTF-8 RECORDING | velreplay PLAN");
    if (HeaderLine(beginning).find('\0') != std::string_view::npos)
        throw Error(name, "the recording is not text", "name a CSV file");
}

std::string AdviceOnHeader(std::string_view beginning, std::size_t headerOffset, const CsvFormat& format,
                           std::span<const std::string> wanted, std::span<const std::string> header,
                           const std::string& missing) {
    if (std::string options = FittingOptions(beginning, headerOffset, format, wanted); !options.empty())
        return options;
    if (!std::all_of(missing.begin(), missing.end(), IsAscii) && !std::all_of(header.begin(), header.end(), IsUtf8))
        return "the header is not in UTF-8; for most Windows programs: iconv -f WINDOWS-1252 -t UTF-8 RECORDING | "
               "velreplay PLAN";
    const auto isNumber = [](const std::string& name) {
        double number = 0;
        return ReadNumber(name, number) == std::errc();
    };
    if (std::all_of(header.begin(), header.end(), isNumber))
        return "the first line has numbers, no names; put names before it: sed '1i a,b' RECORDING | velreplay PLAN";
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
