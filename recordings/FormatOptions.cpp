#include "recordings/FormatOptions.h"

#include "vocabulary/Error.h"
#include "vocabulary/Quote.h"

#include <algorithm>
#include <cctype>

namespace Vel::Recordings {

namespace {

constexpr std::int64_t mostSkipped = 1'000'000;

FormatOptions OptionsOf(const Engine::Section& section) {
    section.Allow(
        {"separator", "decimal_comma", "thousands", "missing", "skip", "units_row", "on_bad_cell", "on_no_value"});
    FormatOptions options;
    options.separator = section.Text("separator");
    options.decimal_comma = section.Flag("decimal_comma");
    options.thousands = section.Text("thousands");
    if (section.Has("missing"))
        options.missing = section.Texts("missing");
    options.skip = section.Whole("skip");
    options.units_row = section.Flag("units_row");
    options.on_bad_cell = section.Text("on_bad_cell");
    options.on_no_value = section.Text("on_no_value");
    return options;
}

/// Where an option comes from, for messages.
std::string PlaceOf(std::string key, bool isOnCommandLine, const std::string& table) {
    if (!isOnCommandLine)
        return table + ": " + key;
    std::replace(key.begin(), key.end(), '_', '-');
    return "--" + key;
}

char ReadSeparator(const std::string& text, bool decimalComma, const std::string& place) {
    if (text == "tab" || text == "\\t")
        return '\t';
    constexpr std::string_view inNumbers = "0123456789+-.";
    const char separator = text.empty() ? '\0' : text[0];
    if (text.size() != 1 || inNumbers.find(separator) != std::string_view::npos || separator == '"' ||
        separator == '\n' || separator == '\r' || (decimalComma && separator == ',') ||
        std::isalpha(static_cast<unsigned char>(separator)) != 0) // there are letters in cells, too: 1e+20, inf
        throw Error(place, Quoted(text) + " cannot separate cells", "give one character, such as ; or the word tab");
    return separator;
}

/// One character of UTF-8, such as the narrow blank that French has between groups.
std::string ReadThousands(const std::string& text, bool decimalComma, const std::string& place) {
    const auto isContinued = [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; };
    constexpr std::string_view inNumbers = "+-\"\r\n";
    if (text.empty() || !std::all_of(text.begin() + 1, text.end(), isContinued) ||
        std::isalnum(static_cast<unsigned char>(text[0])) != 0 || inNumbers.find(text[0]) != std::string_view::npos)
        throw Error(place, Quoted(text) + " cannot stand between groups of digits",
                    "give one character, such as . or ' or a blank");
    if (text[0] == (decimalComma ? ',' : '.'))
        throw Error(place, Quoted(text) + " is the decimal sign already",
                    decimalComma ? "give another character" : "add decimal_comma for numbers like 1.517,5");
    return text;
}

bool IsMissing(const std::string& text, const std::string& place) {
    if (text != "missing" && text != "error")
        throw Error(place, Quoted(text) + " is unknown", R"(write "missing" or "error", the default)");
    return text == "missing";
}

} // namespace

CsvFormat MakeFormat(const FormatOptions& commandLine, const Engine::Plan& plan) {
    const auto section = plan.sections.find("recording");
    const bool hasTable = section != plan.sections.end();
    const FormatOptions table = hasTable ? OptionsOf(section->second) : FormatOptions();
    const std::string tablePlace = hasTable ? section->second.Place() : plan.name;
    // Calls `use` with the value of an option and its place for messages, if plan or command line give it.
    const auto choose = [&](const auto option, const char* key, const auto& use) {
        if (commandLine.*option || table.*option)
            use(commandLine.*option ? *(commandLine.*option) : *(table.*option),
                PlaceOf(key, (commandLine.*option).has_value(), tablePlace));
    };
    CsvFormat format;
    choose(&FormatOptions::decimal_comma, "decimal_comma", [&](bool is, const auto&) { format.decimalComma = is; });
    format.separator = format.decimalComma ? ';' : ',';
    choose(&FormatOptions::separator, "separator", [&](const std::string& text, const std::string& place) {
        format.separator = ReadSeparator(text, format.decimalComma, place);
    });
    choose(&FormatOptions::thousands, "thousands", [&](const std::string& text, const std::string& place) {
        format.thousands = ReadThousands(text, format.decimalComma, place);
    });
    choose(&FormatOptions::missing, "missing", [&](const auto& texts, const auto&) { format.missing = texts; });
    choose(&FormatOptions::skip, "skip", [&](std::int64_t lines, const std::string& place) {
        if (lines < 0 || lines > mostSkipped)
            throw Error(place, std::to_string(lines) + " is not a number of lines to skip",
                        "give one from 0 to 1000000");
        format.skippedLines = static_cast<std::uint64_t>(lines);
    });
    choose(&FormatOptions::units_row, "units_row", [&](bool is, const auto&) { format.hasUnits = is; });
    choose(&FormatOptions::on_bad_cell, "on_bad_cell",
           [&](const std::string& text, const std::string& place) { format.takesBadCells = IsMissing(text, place); });
    choose(&FormatOptions::on_no_value, "on_no_value",
           [&](const std::string& text, const std::string& place) { format.takesNoValues = IsMissing(text, place); });
    return format;
}

} // namespace Vel::Recordings
