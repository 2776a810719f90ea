#include "recordings/Times.h"

#include "recordings/Numbers.h"
#include "vocabulary/Error.h"
#include "vocabulary/Quote.h"

#include <absl/time/civil_time.h>
#include <absl/time/time.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <utility>

namespace Vel::Recordings {

namespace {

constexpr std::int64_t epoch = 946684800; // 2000-01-01 in Unix time
constexpr std::int64_t secondsOfMinute = 60;
constexpr std::int64_t secondsOfHour = 3600;
constexpr std::int64_t secondsOfDay = 86400;
constexpr std::int64_t secondsOfQuarter = 900;              // zones change their clocks between such quarters today
constexpr std::int64_t firstDay = -730485;                  // of the year 0
constexpr std::int64_t lastDay = 2921939;                   // of the year 9999
constexpr std::int64_t mostSecondsBack = 10;                // of a row that only stands out of order
constexpr std::int64_t mostUnixSeconds = 1'000'000'000'000; // far beyond the calendar
constexpr int mostDecimalsRead = 15;
constexpr int mostDecimalsWritten = 12;
constexpr int mostDecimalsOfPatterns = 9;
constexpr int decimalsOfMilliseconds = 3;

constexpr std::int64_t FloorOf(std::int64_t number, std::int64_t divisor) {
    return number / divisor - static_cast<std::int64_t>(number % divisor < 0);
}

absl::CivilSecond Civil(std::int64_t seconds) { return absl::CivilSecond(2000, 1, 1) + seconds; }
std::int64_t UtcSeconds(absl::Time time) { return absl::ToUnixSeconds(time) - epoch; }
bool IsInCalendar(std::int64_t seconds) {
    return seconds >= firstDay * secondsOfDay && seconds < (lastDay + 1) * secondsOfDay;
}
constexpr std::uint64_t PowerOfTen(int exponent) {
    std::uint64_t power = 1;
    while (exponent-- > 0)
        power *= 10;
    return power;
}

bool IsDigit(char character) { return character >= '0' && character <= '9'; }

/// Takes so many digits from the beginning of a text.
bool TakeDigits(std::string_view& text, std::size_t count, std::int64_t& number) {
    if (text.size() < count)
        return false;
    number = 0;
    for (std::size_t i = 0; i < count; ++i) {
        if (!IsDigit(text[i]))
            return false;
        number = number * 10 + (text[i] - '0');
    }
    text.remove_prefix(count);
    return true;
}

bool Take(std::string_view& text, char character) {
    if (text.empty() || text.front() != character)
        return false;
    text.remove_prefix(1);
    return true;
}

absl::TimeZone Load(const std::string& name, const std::string& place) {
    absl::TimeZone zone = absl::UTCTimeZone();
    const bool isPath = name.starts_with('/') || name.find("..") != std::string::npos || name.starts_with("file:");
    if (!name.empty() && (isPath || !absl::LoadTimeZone(name, &zone)))
        throw Error(place, "the time zone " + Quoted(name) + " is unknown",
                    "write a name such as \"Europe/Berlin\"; the names come with the package tzdata");
    return zone;
}

} // namespace

struct Zone::Database {
    absl::TimeZone zone;

    std::int64_t OffsetAt(std::int64_t utc) const { return zone.At(absl::FromUnixSeconds(utc + epoch)).offset; }
};

Zone::Zone(const std::string& itsName, const std::string& place)
    : database(std::make_shared<const Database>(Database{Load(itsName, place)})) {}

Zone::Moments Zone::MomentsOf(std::int64_t wall) {
    const std::int64_t number = FloorOf(wall, secondsOfQuarter);
    if (number == ofWall.number)
        return {1, wall - ofWall.offset, wall - ofWall.offset};
    const auto ask = [this](std::int64_t seconds) { return database->zone.At(Civil(seconds)); };
    const absl::TimeZone::TimeInfo info = ask(wall);
    if (info.kind == absl::TimeZone::TimeInfo::SKIPPED)
        return {0, UtcSeconds(info.trans), UtcSeconds(info.trans)};
    if (info.kind == absl::TimeZone::TimeInfo::REPEATED)
        return {2, UtcSeconds(info.pre), UtcSeconds(info.post)};
    const std::int64_t utc = UtcSeconds(info.pre);
    const auto isAlike = [&](std::int64_t end) {
        const absl::TimeZone::TimeInfo other = ask(end);
        return other.kind == absl::TimeZone::TimeInfo::UNIQUE && end - UtcSeconds(other.pre) == wall - utc;
    };
    const std::int64_t begin = number * secondsOfQuarter;
    if (isAlike(begin) && isAlike(begin + secondsOfQuarter - 1))
        ofWall = {number, wall - utc};
    return {1, utc, utc};
}

std::int64_t Zone::OffsetAt(std::int64_t utc) {
    const std::int64_t number = FloorOf(utc, secondsOfQuarter);
    if (number == ofUtc.number)
        return ofUtc.offset;
    const std::int64_t offset = database->OffsetAt(utc);
    const std::int64_t begin = number * secondsOfQuarter;
    if (database->OffsetAt(begin) == offset && database->OffsetAt(begin + secondsOfQuarter - 1) == offset)
        ofUtc = {number, offset};
    return offset;
}

std::string Zone::Format(const std::string& pattern, std::int64_t utc) const {
    return absl::FormatTime(pattern, absl::FromUnixSeconds(utc + epoch), database->zone);
}

TimePattern::TimePattern(const std::string& pattern, const std::string& place) {
    bool isTwelveHours = false;
    bool hasHalfOfDay = false;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        std::string& part = hasSeconds ? tail : head;
        if (pattern.compare(i, 3, "%Y%") == 0) { // %Y alone would take the digits behind the year, too
            part += "%E4Y";
            ++i;
            continue;
        }
        if (pattern[i] != '%' || i + 1 == pattern.size()) {
            part += pattern[i];
            continue;
        }
        const bool isExtended = pattern[i + 1] == 'E' && i + 2 < pattern.size(); // %Ez, %E*S, %E3S
        const bool isCounted = isExtended && (pattern[i + 2] == '*' || IsDigit(pattern[i + 2]));
        const std::string field = pattern.substr(i, isCounted ? 4 : isExtended ? 3 : 2);
        const char kind = field.back();
        i += field.size() - 1;
        isTwelveHours = isTwelveHours || kind == 'I';
        hasHalfOfDay = hasHalfOfDay || kind == 'p';
        hasOffset = hasOffset || kind == 'z' || kind == 's';
        if (hasSeconds || (kind != 'S' && kind != 'T')) {
            part += field;
            continue;
        }
        part += kind == 'T' ? "%H:%M:" : "";
        hasSeconds = true;
        if (pattern.compare(i + 1, 3, ".%f") == 0 || pattern.compare(i + 1, 3, ",%f") == 0)
            i += 3; // as Python has it
    }
    forReading = head + (hasSeconds ? "%E*S" + tail : "");
    // A pattern that says a date can be read back from what it writes of any date.
    const std::string written = head + (hasSeconds ? "%S" + tail : "");
    for (const absl::CivilSecond probe : {absl::CivilSecond(2024, 3, 7, 13, 45, 59), absl::CivilSecond(2011, 12, 30)}) {
        absl::Time time;
        std::string fault;
        const std::string text =
            absl::FormatTime(written, absl::FromCivil(probe, absl::UTCTimeZone()), absl::UTCTimeZone());
        if (!absl::ParseTime(forReading, text, absl::UTCTimeZone(), &time, &fault) ||
            absl::ToCivilDay(time, absl::UTCTimeZone()) != absl::CivilDay(probe))
            throw Error(place, "the format " + Quoted(pattern) + " does not say year, month and day",
                        "write one such as \"%d.%m.%Y %H:%M:%S\"");
    }
    if (isTwelveHours && !hasHalfOfDay)
        throw Error(place, "the format " + Quoted(pattern) + " does not say which half of the day it is",
                    "write %H for hours up to 23, or add %p for AM and PM");
}

/// What a text says. A fraction is `digits` by a power of ten.
struct TimeReader::Parts {
    std::int64_t seconds = 0; ///< of the wall clock; of UTC if there is an offset
    std::uint64_t digits = 0;
    int decimals = 0;
    bool hasOffset = false;
    TimeStyle style;

    /// Takes the decimals from the beginning of a text. Those behind the 15th do not count.
    void TakeFraction(std::string_view& text) {
        for (; !text.empty() && IsDigit(text.front()); text.remove_prefix(1)) {
            if (decimals == mostDecimalsRead)
                continue;
            digits = digits * 10 + static_cast<std::uint64_t>(text.front() - '0');
            ++decimals;
        }
    }
    double Fraction() const { return static_cast<double>(digits) / powersOfTen[static_cast<std::size_t>(decimals)]; }
};

TimeReader::TimeReader(TimeForm itsForm, const std::string& place) : form(std::move(itsForm)), zone(form.zone, place) {
    if (form.kind == TimeForm::Kind::Pattern)
        pattern.emplace(form.pattern, place);
}

TimeFault TimeReader::Read(std::string_view text, double& value) { return lastFault = ReadAny(text, value); }

TimeFault TimeReader::ReadAny(std::string_view text, double& value) {
    Parts parts;
    const bool isRead = form.kind == TimeForm::Kind::Iso       ? ReadIso(text, parts)
                        : form.kind == TimeForm::Kind::Pattern ? ReadPattern(text, parts)
                                                               : ReadUnix(text, parts);
    if (!isRead || !IsInCalendar(parts.seconds))
        return TimeFault::OtherForm;
    std::int64_t seconds = parts.seconds;
    if (!parts.hasOffset) {
        const TimeFault fault = ToUtc(parts.seconds, seconds);
        if (fault != TimeFault::None)
            return fault;
        if (form.isLocal)
            seconds = parts.seconds;
    } else if (form.isLocal) {
        seconds += zone.OffsetAt(seconds);
    }
    if (!style) {
        style = parts.style;
        style->decimals = parts.decimals;
    } else if (parts.decimals != 0 && !hasFraction) {
        style->point = parts.style.point;
    }
    hasFraction = hasFraction || parts.decimals != 0;
    value = static_cast<double>(seconds) + parts.Fraction();
    return TimeFault::None;
}

std::string TimeReader::ExplainLast() const {
    const std::string clock = form.zone.empty() ? "UTC" : form.zone;
    switch (lastFault) {
    case TimeFault::None:
        return {};
    case TimeFault::OtherForm:
        if (form.kind == TimeForm::Kind::Pattern)
            return " is not a time of the format " + Quoted(form.pattern);
        return form.kind == TimeForm::Kind::Iso           ? " is not a time of ISO 8601"
               : form.kind == TimeForm::Kind::UnixSeconds ? " is not a Unix time in seconds"
                                                          : " is not a Unix time in milliseconds";
    case TimeFault::Skipped:
        return " does not exist in " + clock + ": the clock was put forward over it";
    case TimeFault::Ambiguous:
        return " occurs twice in " + clock + ", as the clock was put back, and the rows before do not tell which it is";
    }
    return {};
}

std::string TimeReader::RemedyForLast() const {
    return lastFault == TimeFault::OtherForm
               ? R"(correct the cell, or say in the plan how times are written: format = "%d.%m.%Y %H:%M:%S")"
               : "correct the cell; if this clock is never put forward or back, write zone = \"UTC\"";
}

/// The zone is asked also for local time, which has no answer for what the clock has skipped.
TimeFault TimeReader::ToUtc(std::int64_t wall, std::int64_t& utc) {
    const Zone::Moments moments = zone.MomentsOf(wall);
    utc = moments.earlier;
    if (moments.count == 0)
        return TimeFault::Skipped;
    if (moments.count == 2) {
        utc = order.Choose(moments);
        if (order.GoesBackTo(utc) && !form.isLocal)
            return TimeFault::Ambiguous;
    }
    order.Take(utc);
    return TimeFault::None;
}

std::int64_t MomentOrder::Choose(const Zone::Moments& moments) const {
    const bool isBack = GoesBackTo(moments.earlier);
    const bool isNext = hasLast && last == moments.earlier && step * 2 >= moments.later - moments.earlier;
    return isBack || isNext ? moments.later : moments.earlier;
}

bool MomentOrder::GoesBackTo(std::int64_t utc) const { return hasLast && last > utc + mostSecondsBack; }

void MomentOrder::Take(std::int64_t utc) {
    if (hasLast)
        step = utc - last;
    last = utc;
    hasLast = true;
}

bool TimeReader::ReadIso(std::string_view text, Parts& parts) {
    if (!ReadIsoDay(text.substr(0, dayText.size())))
        return false;
    parts.seconds = day;
    text.remove_prefix(dayText.size());
    if (text.empty()) {
        parts.style.isDate = true;
        return true;
    }
    parts.style.between = text.front() == ' ' ? ' ' : 'T';
    if (!Take(text, ' ') && !Take(text, 'T') && !Take(text, 't'))
        return false;
    const std::size_t end = std::min(text.find_first_of("Zz+- "), text.size());
    if (!ReadIsoClock(text.substr(0, end), parts))
        return false;
    text.remove_prefix(end);
    return text.empty() || ReadIsoOffset(text, parts);
}

bool TimeReader::ReadIsoDay(std::string_view text) {
    if (text == std::string_view(dayText.data(), dayText.size()))
        return true;
    std::string_view rest = text;
    std::int64_t year = 0;
    std::int64_t month = 0;
    std::int64_t dayOfMonth = 0;
    if (!TakeDigits(rest, 4, year) || !Take(rest, '-') || !TakeDigits(rest, 2, month) || !Take(rest, '-') ||
        !TakeDigits(rest, 2, dayOfMonth))
        return false;
    const absl::CivilDay date(year, static_cast<int>(month), static_cast<int>(dayOfMonth));
    if (date.month() != month || date.day() != dayOfMonth)
        return false; // as the 30th of February
    day = (date - absl::CivilDay(2000, 1, 1)) * secondsOfDay;
    std::copy(text.begin(), text.end(), dayText.begin());
    return true;
}

/// 12:34, 12:34:56, 12:34:56.789. Midnight at the end of a day is 24:00, a leap second 60.
bool TimeReader::ReadIsoClock(std::string_view text, Parts& parts) {
    std::int64_t hours = 0;
    std::int64_t minutes = 0;
    std::int64_t seconds = 0;
    if (!TakeDigits(text, 2, hours) || !Take(text, ':') || !TakeDigits(text, 2, minutes))
        return false;
    parts.style.hasSeconds = !text.empty();
    if (!text.empty() && (!Take(text, ':') || !TakeDigits(text, 2, seconds)))
        return false;
    if (!text.empty()) {
        parts.style.point = text.front();
        if ((!Take(text, '.') && !Take(text, ',')) || text.empty())
            return false;
        parts.TakeFraction(text);
    }
    parts.seconds += hours * secondsOfHour + minutes * secondsOfMinute + seconds;
    const bool isEndOfDay = hours == 24 && minutes == 0 && seconds == 0 && parts.digits == 0;
    return text.empty() && (hours < 24 || isEndOfDay) && minutes < 60 && seconds <= 60;
}

/// Z, +02:00, +0200, +02, also behind a blank.
bool TimeReader::ReadIsoOffset(std::string_view text, Parts& parts) {
    TimeStyle& style = parts.style;
    parts.hasOffset = true;
    style.hasBlank = Take(text, ' ');
    style.offset = TimeStyle::Offset::Utc;
    if (Take(text, 'Z') || Take(text, 'z'))
        return text.empty();
    const bool isBehind = Take(text, '-');
    std::int64_t hours = 0;
    std::int64_t minutes = 0;
    if ((!isBehind && !Take(text, '+')) || !TakeDigits(text, 2, hours))
        return false;
    style.offset = text.empty() ? TimeStyle::Offset::Hours : TimeStyle::Offset::Plain;
    if (Take(text, ':'))
        style.offset = TimeStyle::Offset::Colon;
    if (style.offset != TimeStyle::Offset::Hours && !TakeDigits(text, 2, minutes))
        return false;
    style.offsetSeconds = (isBehind ? -1 : 1) * (hours * secondsOfHour + minutes * secondsOfMinute);
    parts.seconds -= style.offsetSeconds;
    return text.empty() && hours < 24 && minutes < 60;
}

bool TimeReader::ReadPattern(std::string_view text, Parts& parts) const {
    if (ReadPatternWith('.', text, parts))
        return true;
    const std::size_t comma = text.rfind(','); // perhaps before the decimals
    if (comma == std::string_view::npos || !pattern->hasSeconds)
        return false;
    std::string pointed(text);
    pointed[comma] = '.';
    return ReadPatternWith(',', pointed, parts);
}

bool TimeReader::ReadPatternWith(char point, std::string_view text, Parts& parts) const {
    absl::Time time;
    if (!absl::ParseTime(pattern->forReading, {text.data(), text.size()}, absl::UTCTimeZone(), &time, nullptr) ||
        time == absl::InfiniteFuture() || time == absl::InfinitePast())
        return false;
    parts.seconds = UtcSeconds(time);
    parts.hasOffset = pattern->hasOffset;
    parts.style.point = point;
    const absl::Duration fraction = time - absl::FromUnixSeconds(parts.seconds + epoch);
    parts.digits = static_cast<std::uint64_t>(absl::ToInt64Nanoseconds(fraction));
    parts.decimals = parts.digits == 0 ? 0 : mostDecimalsOfPatterns;
    for (; parts.decimals > 0 && parts.digits % 10 == 0; parts.digits /= 10)
        --parts.decimals;
    return true;
}

bool TimeReader::ReadUnix(std::string_view text, Parts& parts) const {
    const bool isNegative = Take(text, '-');
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), parts.seconds);
    if (error != std::errc() || text.empty() || !IsDigit(text.front()))
        return false;
    text.remove_prefix(static_cast<std::size_t>(stop - text.data()));
    if (form.kind == TimeForm::Kind::UnixMilliseconds) {
        const std::int64_t thousand = 1000;
        parts.digits = static_cast<std::uint64_t>(parts.seconds % thousand);
        parts.decimals = decimalsOfMilliseconds;
        parts.seconds /= thousand;
    }
    if (parts.seconds > mostUnixSeconds)
        return false;
    if (!text.empty()) {
        parts.style.point = text.front();
        if (!Take(text, '.') && !Take(text, ','))
            return false;
        parts.TakeFraction(text);
    }
    if (isNegative) { // the fraction counts upwards all the same
        const std::uint64_t rest = parts.digits == 0 ? 0 : PowerOfTen(parts.decimals) - parts.digits;
        parts.seconds = -parts.seconds - static_cast<std::int64_t>(rest != 0);
        parts.digits = rest;
    }
    parts.hasOffset = true;
    parts.seconds -= epoch;
    return text.empty();
}

TimeWriter::TimeWriter(TimeForm itsForm) : form(std::move(itsForm)), zone(form.zone, "zone") {
    if (form.kind == TimeForm::Kind::Pattern)
        pattern.emplace(form.pattern, "format");
}

/// A number cut at its point, as Parts are: `digits` by a power of ten is what it is above `whole`.
struct TimeWriter::Decimal {
    std::int64_t whole;
    std::uint64_t digits;
    int decimals;
};

/// The fewest decimals in the given range that read back to the value.
TimeWriter::Decimal TimeWriter::Split(double value, int leastDecimals, int mostDecimals) {
    const double floor = std::floor(value);
    Decimal split{static_cast<std::int64_t>(floor), 0, std::min(leastDecimals, mostDecimals)};
    for (;; ++split.decimals) {
        const double power = powersOfTen[static_cast<std::size_t>(split.decimals)];
        split.digits = static_cast<std::uint64_t>(std::nearbyint((value - floor) * power));
        if (split.decimals == mostDecimals || floor + static_cast<double>(split.digits) / power == value)
            break;
    }
    if (split.digits == PowerOfTen(split.decimals)) {
        ++split.whole;
        split.digits = 0;
    }
    return split;
}

std::string_view TimeWriter::Write(double value) {
    text.clear();
    const auto limit = static_cast<double>((lastDay + 1) * secondsOfDay);
    if (!(std::abs(value) < limit) || !IsInCalendar(static_cast<std::int64_t>(value))) { // no calendar has it
        std::array<char, longestNumber> number{};
        text.assign(number.data(), WriteNumber(number.data(), value));
        return text;
    }
    const Decimal time = Split(value, style.decimals,
                               form.kind == TimeForm::Kind::Pattern ? (pattern->hasSeconds ? mostDecimalsOfPatterns : 0)
                                                                    : mostDecimalsWritten);
    if (form.kind == TimeForm::Kind::Iso)
        WriteIso(time);
    else if (form.kind == TimeForm::Kind::Pattern)
        WritePattern(time);
    else
        WriteUnix(time);
    return text;
}

/// The moment at which the clocks show this wall time.
std::int64_t TimeWriter::MomentOf(std::int64_t wall) {
    const Zone::Moments moments = zone.MomentsOf(wall);
    const std::int64_t utc = moments.count == 2 ? order.Choose(moments) : moments.earlier;
    order.Take(utc);
    return utc;
}

/// Local time has the offset that the clocks have then.
void TimeWriter::WriteIso(const Decimal& time) {
    std::int64_t wall = time.whole;
    std::int64_t offset = 0;
    const bool hasOffset = style.offset != TimeStyle::Offset::None;
    if (form.isLocal) {
        offset = hasOffset ? wall - MomentOf(wall) : 0;
        wall -= style.offset == TimeStyle::Offset::Utc ? offset : 0;
    } else if (style.offset != TimeStyle::Offset::Utc) {
        offset = hasOffset && form.zone.empty() ? style.offsetSeconds : zone.OffsetAt(wall);
        wall += offset;
    }
    const std::int64_t days = FloorOf(wall, secondsOfDay);
    const std::int64_t clock = wall - days * secondsOfDay;
    WriteDay(days);
    if (style.isDate && clock == 0 && time.digits == 0)
        return;
    text += style.between;
    AppendDigits(static_cast<std::uint64_t>(clock / secondsOfHour), 2);
    text += ':';
    AppendDigits(static_cast<std::uint64_t>(clock / secondsOfMinute % secondsOfMinute), 2);
    if (style.hasSeconds || clock % secondsOfMinute != 0 || time.digits != 0) {
        text += ':';
        AppendDigits(static_cast<std::uint64_t>(clock % secondsOfMinute), 2);
        AppendFraction(time.digits, time.decimals);
    }
    if (hasOffset)
        WriteIsoOffset(offset);
}

void TimeWriter::WriteIsoOffset(std::int64_t offset) {
    text.append(style.hasBlank ? " " : "");
    if (style.offset == TimeStyle::Offset::Utc) {
        text += 'Z';
        return;
    }
    const std::int64_t minutes = std::abs(offset) / secondsOfMinute;
    text += offset < 0 ? '-' : '+';
    AppendDigits(static_cast<std::uint64_t>(minutes / 60), 2);
    if (style.offset == TimeStyle::Offset::Hours && minutes % 60 == 0)
        return;
    text.append(style.offset == TimeStyle::Offset::Plain ? "" : ":");
    AppendDigits(static_cast<std::uint64_t>(minutes % 60), 2);
}

void TimeWriter::WriteDay(std::int64_t days) {
    if (days != writtenDay) {
        writtenDay = days;
        const absl::CivilDay date = absl::CivilDay(2000, 1, 1) + days;
        AppendDigits(static_cast<std::uint64_t>(date.year()), 4);
        text += '-';
        AppendDigits(static_cast<std::uint64_t>(date.month()), 2);
        text += '-';
        AppendDigits(static_cast<std::uint64_t>(date.day()), 2);
        std::copy_n(text.begin(), dayText.size(), dayText.begin());
    } else {
        text.append(dayText.data(), dayText.size());
    }
}

void TimeWriter::WritePattern(const Decimal& time) {
    AppendFraction(time.digits, time.decimals);
    const std::string fraction = std::exchange(text, {});
    const std::int64_t utc = form.isLocal ? MomentOf(time.whole) : time.whole;
    text = zone.Format(pattern->head + (pattern->hasSeconds ? "%S" + fraction + pattern->tail : ""), utc);
}

/// What is below 0 counts downwards.
void TimeWriter::WriteUnix(const Decimal& time) {
    const std::int64_t utc = form.isLocal ? MomentOf(time.whole) : time.whole;
    Decimal unixTime{utc + epoch, time.digits, time.decimals};
    if (form.kind == TimeForm::Kind::UnixMilliseconds) {
        const int decimals = std::max(time.decimals, decimalsOfMilliseconds);
        const std::uint64_t digits = time.digits * PowerOfTen(decimals - time.decimals);
        const std::uint64_t power = PowerOfTen(decimals - decimalsOfMilliseconds);
        unixTime = {unixTime.whole * 1000 + static_cast<std::int64_t>(digits / power), digits % power,
                    decimals - decimalsOfMilliseconds};
    }
    if (unixTime.whole < 0) {
        text += '-';
        unixTime.whole = -unixTime.whole - static_cast<std::int64_t>(unixTime.digits != 0);
        unixTime.digits = unixTime.digits == 0 ? 0 : PowerOfTen(unixTime.decimals) - unixTime.digits;
    }
    text += std::to_string(unixTime.whole);
    AppendFraction(unixTime.digits, unixTime.decimals);
}

void TimeWriter::AppendDigits(std::uint64_t number, int digits) {
    for (std::uint64_t power = PowerOfTen(digits - 1); power > 0; power /= 10)
        text += static_cast<char>('0' + number / power % 10);
}

void TimeWriter::AppendFraction(std::uint64_t digits, int decimals) {
    if (decimals == 0)
        return;
    text += style.point;
    AppendDigits(digits, decimals);
}

} // namespace Vel::Recordings
