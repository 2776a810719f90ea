#include "recordings/NumberForms.h"

#include "recordings/Numbers.h"

#include <algorithm>
#include <cmath>

namespace Vel::Recordings {

namespace {

constexpr std::size_t groupDigits = 3;
constexpr std::string_view noNumber = "?";

bool IsDigit(char character) { return character >= '0' && character <= '9'; }

bool TakeSign(std::string_view& text) {
    const bool isNegative = !text.empty() && text.front() == '-';
    if (isNegative || (!text.empty() && text.front() == '+'))
        text.remove_prefix(1);
    return isNegative;
}

/// Appends the digits of groups: up to three in the first, three in each other. False: these are no such groups.
bool AppendGroups(std::string_view groups, std::string_view between, std::string& digits) {
    for (bool isFirst = true;; isFirst = false) {
        const std::size_t end = groups.find(between);
        const std::string_view group = groups.substr(0, end);
        if (group.empty() || group.size() > groupDigits || (!isFirst && group.size() != groupDigits) ||
            !std::all_of(group.begin(), group.end(), IsDigit))
            return false;
        digits += group;
        if (end == std::string_view::npos)
            return true;
        groups.remove_prefix(end + between.size());
    }
}

bool EqualsIgnoringCase(std::string_view text, std::string_view lower) {
    return std::equal(text.begin(), text.end(), lower.begin(), lower.end(),
                      [](char a, char b) { return (a >= 'A' && a <= 'Z' ? a + ('a' - 'A') : a) == b; });
}

/// Whether a number that is out of range, given without its sign, is too small rather than too large.
bool IsTiny(std::string_view number) {
    const std::size_t e = std::min(number.find_first_of("eE"), number.size());
    const std::string_view mantissa = number.substr(0, e);
    const std::size_t point = std::min(mantissa.find('.'), mantissa.size());
    const std::size_t first = mantissa.find_first_of("123456789");
    if (first == std::string_view::npos)
        return true;
    std::string_view exponentText = number.substr(std::min(e + 1, number.size()));
    const bool isNegative = TakeSign(exponentText);
    std::int64_t exponent = 0;
    if (std::from_chars(exponentText.data(), exponentText.data() + exponentText.size(), exponent).ec ==
        std::errc::result_out_of_range)
        return isNegative;
    const auto places = static_cast<std::int64_t>(first < point ? point - first : point) -
                        static_cast<std::int64_t>(first < point ? 0 : first - 1);
    return (isNegative ? -exponent : exponent) < -places;
}

template <class T>
std::errc ReadHexadecimal(std::string_view digits, bool isNegative, T& value) {
    std::uint64_t number = 0;
    const char* const end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, number, 16);
    if (error != std::errc() || stop != end || isNegative)
        return error != std::errc() ? error : std::errc::invalid_argument;
    if (!std::in_range<T>(number))
        return std::errc::result_out_of_range;
    value = static_cast<T>(number);
    return std::errc();
}

/// Reads a number whose fraction is 0. With an exponent it may be up to 2^53, where Float64 is exact.
template <class T>
std::errc ReadWhole(std::string_view text, std::errc error, T& value) {
    if (const std::size_t point = text.find('.'); point != std::string_view::npos && point != 0) {
        const std::string_view decimals = text.substr(point + 1);
        if (decimals.find_first_not_of('0') == std::string_view::npos)
            return ReadNumber(text.substr(0, point), value);
    }
    constexpr double mostExact = 9007199254740992.0;
    double number = 0;
    if (text.find_first_of("eE") == std::string_view::npos || ReadNumber(text, number) != std::errc() ||
        !(std::abs(number) <= mostExact) || number != std::floor(number))
        return error;
    const auto whole = static_cast<std::int64_t>(number);
    if (!std::in_range<T>(whole))
        return std::errc::result_out_of_range;
    value = static_cast<T>(whole);
    return std::errc();
}

} // namespace

std::string_view PlainNumber(std::string_view text, const CsvFormat& format, std::string& buffer) {
    std::string_view rest = text;
    TakeSign(rest);
    const std::string_view whole = rest.substr(0, rest.find_first_of(format.decimalComma ? ",eE" : ".eE"));
    const bool isGrouped = !format.thousands.empty() && whole.find(format.thousands) != std::string_view::npos;
    if (!isGrouped && (!format.decimalComma || text.find_first_of(",.") == std::string_view::npos))
        return text;
    buffer = text.substr(0, text.size() - rest.size()); // the sign
    if (!isGrouped)
        buffer += whole;
    else if (!AppendGroups(whole, format.thousands, buffer))
        return noNumber;
    rest.remove_prefix(whole.size());
    if (!rest.empty() && rest.front() == (format.decimalComma ? ',' : '.')) {
        buffer += '.';
        rest.remove_prefix(1);
    }
    buffer += rest;
    // Where the comma is the decimal sign, a point belongs to no number.
    const bool hasOtherPoint = format.decimalComma && text.find('.') != std::string_view::npos &&
                               (!isGrouped || format.thousands != "." || rest.find('.') != std::string_view::npos);
    return hasOtherPoint ? noNumber : std::string_view(buffer);
}

template <Sample T>
std::errc ReadOtherForm(std::string_view text, std::errc error, T& value) {
    std::string_view rest = text;
    const bool isNegative = TakeSign(rest);
    if constexpr (std::is_floating_point_v<T>) {
        if (error != std::errc::result_out_of_range || !IsTiny(rest))
            return error;
        value = isNegative ? -T{0} : T{0};
        return std::errc();
    } else {
        if (EqualsIgnoringCase(text, "true") || EqualsIgnoringCase(text, "false")) {
            value = static_cast<T>(text.size() == 4);
            return std::errc();
        }
        if (rest.starts_with("0x") || rest.starts_with("0X"))
            return ReadHexadecimal(rest.substr(2), isNegative, value);
        return ReadWhole(text, error, value);
    }
}

template std::errc ReadOtherForm(std::string_view, std::errc, std::uint8_t&);
template std::errc ReadOtherForm(std::string_view, std::errc, std::uint16_t&);
template std::errc ReadOtherForm(std::string_view, std::errc, std::uint32_t&);
template std::errc ReadOtherForm(std::string_view, std::errc, std::uint64_t&);
template std::errc ReadOtherForm(std::string_view, std::errc, std::int8_t&);
template std::errc ReadOtherForm(std::string_view, std::errc, std::int16_t&);
template std::errc ReadOtherForm(std::string_view, std::errc, std::int32_t&);
template std::errc ReadOtherForm(std::string_view, std::errc, std::int64_t&);
template std::errc ReadOtherForm(std::string_view, std::errc, float&);
template std::errc ReadOtherForm(std::string_view, std::errc, double&);

} // namespace Vel::Recordings
