/// Times as texts: cells of a recording, cells of a result.
#pragma once

#include "vocabulary/TimeForm.h"

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace Vel::Recordings {

/// How the texts of a column look beyond their form. Results write times like that.
struct TimeStyle {
    enum class Offset : std::uint8_t { None, Utc /* Z */, Colon /* +02:00 */, Plain /* +0200 */, Hours /* +02 */ };

    int decimals = 0;    ///< of the seconds, at least; more where a time needs them
    char point = '.';    ///< before the decimals
    char between = 'T';  ///< date and time of day
    bool isDate = false; ///< without time of day
    bool hasSeconds = true;
    bool hasBlank = false; ///< before the offset
    Offset offset = Offset::None;
    std::int64_t offsetSeconds = 0; ///< of the first text, for columns without a zone
};

/// Why a text is not a time.
enum class TimeFault : std::uint8_t {
    None,
    OtherForm,
    Skipped,   ///< the clock was put forward over it
    Ambiguous, ///< the clock showed it twice, and the texts before do not tell which one it is
};

/// A zone of the time-zone database. It converts between UTC and "wall" time, what its clocks show, both in seconds
/// since 2000-01-01 00:00:00. It remembers the last answers, since the next time is mostly near.
class Zone {
public:
    /// An empty name is UTC. Throws Error, with this place, for an unknown zone.
    Zone(const std::string& itsName, const std::string& place);

    /// The moments at which the clocks show a wall time: one, or two in an hour that comes twice. There is none if the
    /// clocks were put forward over it; `earlier` is then the moment when they were.
    struct Moments {
        int count;
        std::int64_t earlier;
        std::int64_t later;
    };
    Moments MomentsOf(std::int64_t wall);
    /// Seconds by which the wall time is ahead of UTC.
    std::int64_t OffsetAt(std::int64_t utc);
    /// As strftime does.
    std::string Format(const std::string& pattern, std::int64_t utc) const;

private:
    struct Database;
    /// A quarter of an hour without a change of the clock.
    struct Quarter {
        std::int64_t number = INT64_MIN;
        std::int64_t offset = 0;
    };

    std::shared_ptr<const Database> database;
    Quarter ofWall;
    Quarter ofUtc;
};

/// Tells by the moments before which of two moments a wall time means.
class MomentOrder {
public:
    /// The first pass through the hour is the earlier one. The wall time goes back where the second begins, or stays
    /// where the rows are an hour apart. Rows may be some seconds out of order.
    std::int64_t Choose(const Zone::Moments& moments) const;
    /// Whether a moment lies further back than rows out of order do.
    bool GoesBackTo(std::int64_t utc) const;
    void Take(std::int64_t utc);

private:
    bool hasLast = false;
    std::int64_t last = 0;
    std::int64_t step = 0; ///< to it, from the one before
};

/// A pattern of strptime, cut at its seconds, which may have decimals.
struct TimePattern {
    /// Throws Error, with this place, for a pattern without a date, or whose times could not be read back.
    TimePattern(const std::string& pattern, const std::string& place);

    std::string head; ///< before the seconds; all of it if it has none
    std::string tail;
    std::string forReading;
    bool hasSeconds = false;
    bool hasOffset = false; ///< so it needs no zone
};

/// Reads the texts of one column, in their order.
class TimeReader {
public:
    /// Throws Error, with this place, for a zone or a pattern that cannot be read.
    TimeReader(TimeForm itsForm, const std::string& place);

    TimeFault Read(std::string_view text, double& value);
    /// What is wrong with the last text, for messages; empty: nothing.
    std::string ExplainLast() const;
    /// What a user can do about it.
    std::string RemedyForLast() const;
    /// How the first text looked; nothing before it.
    const std::optional<TimeStyle>& Style() const { return style; }

private:
    struct Parts;
    TimeFault ReadAny(std::string_view text, double& value);
    bool ReadIso(std::string_view text, Parts& parts);
    bool ReadIsoDay(std::string_view text);
    static bool ReadIsoClock(std::string_view text, Parts& parts);
    static bool ReadIsoOffset(std::string_view text, Parts& parts);
    bool ReadPattern(std::string_view text, Parts& parts) const;
    bool ReadPatternWith(char point, std::string_view text, Parts& parts) const;
    bool ReadUnix(std::string_view text, Parts& parts) const;
    TimeFault ToUtc(std::int64_t wall, std::int64_t& utc);

    TimeForm form;
    Zone zone;
    std::optional<TimePattern> pattern;
    std::optional<TimeStyle> style;
    TimeFault lastFault = TimeFault::None;
    bool hasFraction = false;       ///< in a text so far, so that its point is known
    std::array<char, 10> dayText{}; ///< of the last text
    std::int64_t day = 0;           ///< its seconds
    MomentOrder order;              ///< of the times that had to be read with the zone
};

/// Writes times in the form and style of a column. What it writes reads back to the same value, except fractions that
/// are finer than 12 decimals.
class TimeWriter {
public:
    explicit TimeWriter(TimeForm itsForm);
    void SetStyle(const TimeStyle& itsStyle) { style = itsStyle; }

    /// Stays until the next call.
    std::string_view Write(double value);

private:
    struct Decimal;
    static Decimal Split(double value, int leastDecimals, int mostDecimals);
    std::int64_t MomentOf(std::int64_t wall);
    void WriteIso(const Decimal& time);
    void WriteIsoOffset(std::int64_t offset);
    void WriteDay(std::int64_t days);
    void WritePattern(const Decimal& time);
    void WriteUnix(const Decimal& time);
    void AppendDigits(std::uint64_t number, int digits);
    void AppendFraction(std::uint64_t digits, int decimals);

    TimeForm form;
    Zone zone;
    std::optional<TimePattern> pattern;
    TimeStyle style;
    MomentOrder order; ///< of the wall times
    std::int64_t writtenDay = INT64_MIN;
    std::array<char, 10> dayText{};
    std::string text;
};

} // namespace Vel::Recordings
