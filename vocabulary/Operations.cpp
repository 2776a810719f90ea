// The table of all operations.
#include "vocabulary/Vocabulary.h"

#include <limits>

namespace Vel {

namespace {

using enum ParameterKind;

constexpr Range aboveZero = {.least = std::numeric_limits<double>::min()};
constexpr Range notNegative = {.least = 0};
constexpr Range notBelowLower = {.notBelow = "lower_bound"};
constexpr Range belowHalfTheRate = {.least = aboveZero.least, .belowHalf = "sample_rate"};
constexpr Range aboveCorner1 = {.least = aboveZero.least, .above = "corner1", .belowHalf = "sample_rate"};

constexpr Parameter physToFloat[] = {{"factor", Number, "result per raw unit", required, "raw value to result"},
                                     {"offset", Number, "result", 0.0, "added after the factor"}};
constexpr Parameter mask[] = {
    {"mask", Mask, "bits", required, "one unbroken field of bits", {.least = 1, .hasBitsOfType = true}}};
constexpr Parameter testMask[] = {{"mask", Sample, "bits", required, "the bits to look at", {.excludesZero = true}}};
constexpr Parameter delaySeconds[] = {{"delay", Number, "s", 0.0, "how long NoValue must last", notNegative}};
constexpr Parameter delayOfTime[] = {
    {"delay", Number, "unit of operand 2", 0.0, "how long NoValue must last", notNegative}};
constexpr Parameter alarm[] = {{"sample_period", Number, "s", required, "time from row to row", aboveZero, true},
                               {"limit", Count, "ms", required, "how long NoValue may last"}};
constexpr Parameter posEdge[] = {{"threshold", Sample, "operand", 0.0, "to rise above"},
                                 {"initial_value", Sample, "operand", 0.0, "counts as the sample before the first"}};
constexpr Parameter negEdge[] = {{"threshold", Sample, "operand", 1.0, "to fall below"},
                                 {"initial_value", Sample, "operand", 0.0, "counts as the sample before the first"}};
constexpr Parameter pulse[] = {{"pulse_time", Number, "s", required, "least duration of the pulse", notNegative}};
constexpr Parameter monoFlop[] = {
    {"duration", PackedSeconds, "s", required, "of the pulse", notNegative},
    {"retrigger", Flag, "true or false", omitted, "whether an edge during a pulse begins it anew"}};
constexpr Parameter monoFlopOfTime[] = {
    {"duration", Number, "unit of operand 2", required, "of the pulse", notNegative},
    {"retrigger", Flag, "true or false", omitted, "whether an edge during a pulse begins it anew"}};
constexpr Parameter samplePeriod[] = {
    {"sample_period", Number, "s", required, "time from row to row", aboveZero, true}};
constexpr Parameter hysteresis[] = {
    {"hysteresis", Sample, "operand", required, "how far to come back behind the limit", notNegative}};
constexpr Parameter hysteresisPercent[] = {
    {"hysteresis", Sample, "%", required, "share of the distance of the limits", {.least = 0, .most = 100}}};
constexpr Parameter curve[] = {{"points", Curve, "[[x, y], ...]", required, "the curve, x ascending"}};
constexpr Parameter gears[] = {
    {"tolerance", Number, "ratio", required, "half width of the band around a ratio", aboveZero},
    {"table", GearTable, "[[ratio, gear], ...]", required, "the gears, first match wins"}};
constexpr Parameter integral[] = {{"delta_time", Number, "s", required, "time from row to row", aboveZero, true},
                                  {"initial_value", Number, "operand", omitted, "the sample before the first"}};
constexpr Parameter upperIntegral[] = {{"delta_time", Number, "s", required, "time from row to row", aboveZero, true}};
constexpr Parameter integralOfTime[] = {
    {"initial_value", Number, "operand 1", omitted, "the sample before the first"},
    {"initial_time", Number, "operand 2", paired, "the time of the sample before the first"}};
constexpr Parameter upperIntegralOfTime[] = {
    {"initial_time", Number, "operand 2", 0.0, "time before the first sample"}};
constexpr Parameter oldValue[] = {
    {"initial_value", Sample, "operand", omitted, "the first result; NoValue if not given"}};
constexpr Parameter oldValueN[] = {
    {"depth", Count, "samples", 1.0, "how many samples ago", {.least = 1}},
    {"initial_value", Sample, "operand", omitted, "the result until the delay has filled; 0 if not given"}};
constexpr Parameter extreme[] = {
    {"lower_bound", Sample, "operand", lowest, "samples below do not count"},
    {"upper_bound", Sample, "operand", highest, "samples above do not count", notBelowLower},
    {"window", Count, "samples", 0.0, "how many of the last samples count; 0: all"}};
constexpr Parameter average[] = {
    {"window", Count, "samples", 0.0, "how many of the last samples count; 0: all"},
    {"lower_bound", Sample, "operand", lowest, "samples below do not count"},
    {"upper_bound", Sample, "operand", highest, "samples above do not count", notBelowLower},
    {"no_value_limit",
     Count,
     "samples",
     omitted,
     "missing samples in a row that end the mean; only if not NoValue-aware",
     {.least = 1, .isForPlainOnly = true}}};
constexpr Parameter statistics[] = {
    {"window", Count, "samples", 0.0, "of the mean: how many of the last samples count; 0: all"},
    {"lower_bound", Sample, "operand", lowest, "samples below do not count"},
    {"upper_bound", Sample, "operand", highest, "samples above do not count", notBelowLower}};
constexpr Parameter pass[] = {{"order", Count, "1", required, "of the filter", {.least = 1, .most = 8}},
                              {"sample_rate", Number, "Hz", required, "rows in a second", aboveZero, true},
                              {"corner1", Number, "Hz", required, "the corner frequency", belowHalfTheRate}};
constexpr Parameter band[] = {
    {"order", Count, "1", required, "of the filter; a band has twice as many poles", {.least = 1, .most = 8}},
    {"sample_rate", Number, "Hz", required, "rows in a second", aboveZero, true},
    {"corner1", Number, "Hz", required, "the lower corner frequency", belowHalfTheRate},
    {"corner2", Number, "Hz", required, "the upper corner frequency", aboveCorner1}};

constexpr Traits mathLibrary = {.usesMathLibrary = true};
constexpr Traits division = {.divides = true};
constexpr Traits decides = {.twin = Twin::Decides};
constexpr Traits restarts = {.twin = Twin::Restarts};
constexpr Traits losesTotal = {.twin = Twin::Restarts, .surprise = Surprise::LosesTotal};
constexpr Traits losesState = {.twin = Twin::Restarts, .surprise = Surprise::LosesState};
constexpr Traits repeats = {.twin = Twin::Repeats};
constexpr Traits showsAnother = {.twin = Twin::ShowsAnother};
constexpr Traits onlyAware = {.twin = Twin::OnlyAware};
constexpr Traits writesOperand = {.twin = Twin::OnlyAware, .writesOperand = true};
constexpr Traits onlyPlain = {.twin = Twin::OnlyPlain};
constexpr Traits makesValue = {.twin = Twin::Ignores, .surprise = Surprise::MakesValue};
constexpr Traits makesValueOfOthers = {.surprise = Surprise::MakesValue}; // only the gate is tested
constexpr Traits losesStateOnly = {.surprise = Surprise::LosesState};
constexpr Traits clock = {.readsClock = true};
constexpr Traits ignoresAndReadsClock = {.twin = Twin::Ignores, .readsClock = true};

/// Of an operation whose last operand is a time channel.
constexpr Traits ByTime(Traits traits = {}) {
    traits.endsWithTime = true;
    return traits;
}

constexpr std::string_view allMasks = "UU UM SS SN";

constexpr Operation operations[] = {
    {"Plus", 1, 2, "TTT", {}, "sum"},
    {"Minus", 1, 2, "TTT", {}, "difference"},
    {"Multiply", 1, 2, "TTT", {}, "product"},
    {"Divide", 1, 2, "TTT", {}, "quotient; a divisor of 0 is refused", division},
    {"Modulo", 1, 2, "TTT", {}, "remainder of a division; a divisor of 0 is refused", division},
    {"Min", 1, 2, "TTT", {}, "the smaller of two samples"},
    {"Max", 1, 2, "TTT", {}, "the larger of two samples"},
    {"Power", 1, 2, "RRR", {}, "operand 1 to the power of operand 2", mathLibrary},
    {"Radius", 1, 2, "RRR", {}, "length of the vector of two components"},
    {"Angle", 1, 2, "RRR", {}, "angle of the vector of two components", mathLibrary},
    {"Assignment", 1, 1, "TT", {}, "copy"},
    {"Cast", 1, 1, "TO", {}, "conversion to another type"},
    {"PhysToFloat", 1, 1, "RV", physToFloat, "raw value to physical value: factor and offset"},
    {"MaskAndShift", 1, 1, allMasks, mask, "bit field of a word, shifted to bit 0"},
    {"Extract8Bits", 8, 1, "WWWWWWWWB", {}, "the eight bits of a byte, lowest first"},
    {"Extract16Bits", 16, 1, "WWWWWWWWWWWWWWWWW", {}, "the sixteen bits of a word, lowest first"},
    {"Negate", 1, 1, "RR", {}, "operand times -1"},
    {"Abs", 1, 1, "RR", {}, "absolute value"},
    {"Sign", 1, 1, "RR", {}, "-1, 0 or 1"},
    {"Sin", 1, 1, "RR", {}, "sine", mathLibrary},
    {"Cos", 1, 1, "RR", {}, "cosine", mathLibrary},
    {"Tan", 1, 1, "RR", {}, "tangent", mathLibrary},
    {"ArcSin", 1, 1, "RR", {}, "arc sine", mathLibrary},
    {"ArcCos", 1, 1, "RR", {}, "arc cosine", mathLibrary},
    {"ArcTan", 1, 1, "RR", {}, "arc tangent", mathLibrary},
    {"Sinh", 1, 1, "RR", {}, "hyperbolic sine", mathLibrary},
    {"Cosh", 1, 1, "RR", {}, "hyperbolic cosine", mathLibrary},
    {"Tanh", 1, 1, "RR", {}, "hyperbolic tangent", mathLibrary},
    {"Exp", 1, 1, "RR", {}, "e to the power of the operand", mathLibrary},
    {"Ln", 1, 1, "RR", {}, "natural logarithm", mathLibrary},
    {"Log", 1, 1, "RR", {}, "decimal logarithm", mathLibrary},
    {"Sqrt", 1, 1, "RR", {}, "square root"},
    {"Power10", 1, 1, "RR", {}, "10 to the power of the operand", mathLibrary},
    {"Floor", 1, 1, "RR", {}, "next lower whole number"},
    {"Ceil", 1, 1, "RR", {}, "next higher whole number"},
    {"Round", 1, 1, "RR", {}, "nearest whole number"},
    {"Equal", 1, 2, "WTT", {}, "whether two samples are equal"},
    {"Unequal", 1, 2, "WTT", {}, "whether two samples differ"},
    {"GreaterThan", 1, 2, "WTT", {}, "whether operand 1 is above operand 2"},
    {"LessThan", 1, 2, "WTT", {}, "whether operand 1 is below operand 2"},
    {"GreaterThanOrEqual", 1, 2, "WTT", {}, "whether operand 1 is above operand 2 or equal"},
    {"LessThanOrEqual", 1, 2, "WTT", {}, "whether operand 1 is below operand 2 or equal"},
    {"LogicalAnd", 1, 2, "III", {}, "1 if both are not 0, else 0", decides},
    {"LogicalOr", 1, 2, "III", {}, "1 if at least one is not 0, else 0", decides},
    {"LogicalXOr", 1, 2, "III", {}, "1 if exactly one is not 0, else 0; on UInt32 it adds"},
    {"LogicalNot", 1, 1, "WW", {}, "1 if the operand is 0, else 0"},
    {"BitwiseAnd", 1, 2, "III", {}, "bits that are set in both"},
    {"BitwiseOr", 1, 2, "III", {}, "bits that are set in at least one"},
    {"BitwiseXOr", 1, 2, "III", {}, "bits that are set in exactly one"},
    {"BitwiseNot", 1, 1, "II", {}, "all bits inverted"},
    {"BitwiseShiftLeft", 1, 2, "III", {}, "operand 1 shifted to the left by operand 2 bits"},
    {"BitwiseShiftRight", 1, 2, "III", {}, "operand 1 shifted to the right by operand 2 bits"},
    {"TestMask", 1, 2, "WII", {}, "whether any bit of operand 2 is set in operand 1"},
    {"TestMask", 1, 1, "WI", testMask, "whether any bit of the mask is set"},
    {"TestBit", 1, 2, "WII", {}, "whether the bit of operand 1 with the number operand 2 is set"},
    {"Valid", 1, 1, "WT", {}, "whether the operand has a sample", onlyAware},
    {"Valid", 1, 2, "TTT", {}, "the first operand that has a sample", onlyAware},
    {"IsNoValue", 1, 1, "WT", delaySeconds, "whether NoValue has lasted for a time, by the system's clock",
     ignoresAndReadsClock},
    {"IsNoValue", 1, 2, "WRR", delayOfTime, "whether NoValue has lasted for a time, by a time channel",
     ByTime(onlyPlain)},
    {"NoValueAlarm", 1, 1, "WT", alarm, "whether NoValue has lasted too long, by counting samples", onlyAware},
    {"If", 1, 3, "TWTT", {}, "operand 2 if the condition holds, else operand 3", decides},
    {"PosEdge", 1, 1, "WT", posEdge, "1 for the sample that rises above a threshold"},
    {"NegEdge", 1, 1, "WT", negEdge, "1 for the sample that falls below a threshold"},
    {"IsTic", 1, 1, "WI", {}, "1 for the sample whose number the operand names"},
    {"StartOnlyTrigger", 1, 1, "WW", {}, "becomes 1 once and stays", repeats},
    {"StopOnlyTrigger", 1, 1, "WW", {}, "becomes 0 once and stays", {.twin = Twin::TakesForZero}},
    {"StartStopTrigger", 1, 2, "WWW", {}, "started by one channel, stopped by another"},
    {"StartNotStopTrigger", 1, 2, "WWW", {}, "started by one channel, held by another"},
    {"StartNotStopTriggerPuls", 1, 1, "WW", pulse, "one pulse of a least duration, by the system's clock", clock},
    {"DFF", 1, 2, "TXT WWW", {}, "keeps the data at a rising clock; operands: clock, data"},
    {"TFF", 1, 1, "WT", {}, "changes between 0 and 1 at each rising clock", losesStateOnly},
    {"MonoFlop", 1, 1, "WT", monoFlop, "a pulse after a rising trigger, by the system's clock", clock},
    {"MonoFlop", 1, 2, "RRR", monoFlopOfTime, "a pulse after a rising trigger, by a time channel", ByTime()},
    {"Timeout",
     1,
     2,
     "WTT",
     {},
     "whether a channel has not changed for a time, by the system's clock",
     {.ignoringRow = "Www", .readsClock = true}},
    {"Timeout", 1, 3, "WVRR", {}, "whether a channel has not changed for a time, by a time channel", ByTime()},
    {"Time", 1, 1, "RW", samplePeriod, "how long a condition has held, by counting samples"},
    {"Time", 1, 2, "RWR", {}, "how long a condition has held, by a time channel", ByTime()},
    {"TimeDiff", 1, 2, "RWW", samplePeriod, "time from a rising start to a rising stop, by counting samples"},
    {"TimeDiff", 1, 3, "RWWR", {}, "time from a rising start to a rising stop, by a time channel", ByTime()},
    {"Count", 1, 2, "RWW", {}, "rising edges of operand 1 since the last of operand 2"},
    {"SystemTime", 1, 0, "Q R", {}, "the time now in UTC, in seconds since 2000", ignoresAndReadsClock},
    {"LocalTime", 1, 0, "Q R", {}, "the local time now, in seconds since 2000", ignoresAndReadsClock},
    {"Hour", 1, 1, "QQ RR", {}, "the hour of a time", makesValue},
    {"Minute", 1, 1, "QQ RR", {}, "the minute of a time", makesValue},
    {"Second", 1, 1, "QQ RR", {}, "the second of a time", makesValue},
    {"UpperLimit", 1, 2, "WRR", hysteresis, "whether operand 1 is above the limit operand 2, with hysteresis",
     losesState},
    {"LowerLimit", 1, 2, "WRR", hysteresis, "whether operand 1 is below the limit operand 2, with hysteresis",
     losesState},
    {"UpperLimit", 1, 3, "WRRR", hysteresisPercent, "the same with a hysteresis in percent of a band of limits",
     losesState},
    {"LowerLimit", 1, 3, "WRRR", hysteresisPercent, "the same with a hysteresis in percent of a band of limits",
     losesState},
    {"Linea", 1, 1, "RR", curve, "value of a characteristic curve, straight between its points"},
    {"VLinea", 1, 1, "RR", curve, "the same, but NoValue counts as 0", writesOperand},
    {"Gangermittlung", 1, 3, "bWWW", gears, "the gear of a vehicle; operands: gate, divisor, dividend",
     makesValueOfOthers},
    {"Integral", 1, 1, "RR", integral, "area of the last interval, trapezoid rule", restarts},
    {"Integral", 1, 2, "RRR", integralOfTime, "the same, over a time channel", ByTime(restarts)},
    {"IntegralAdd", 1, 1, "RR", integral, "running total of the areas, trapezoid rule", losesTotal},
    {"IntegralAdd", 1, 2, "RRR", integralOfTime, "the same, over a time channel", ByTime(losesTotal)},
    {"UpperIntegral", 1, 1, "RR", upperIntegral, "area of the last interval, rectangle under the sample"},
    {"UpperIntegral", 1, 2, "RRR", upperIntegralOfTime, "the same, over a time channel", ByTime()},
    {"Differential", 1, 1, "RR", integral, "slope of the last interval", restarts},
    {"Differential", 1, 2, "RRR", integralOfTime, "the same, over a time channel", ByTime(restarts)},
    {"GetOldValue", 1, 1, "TT", oldValue, "the previous sample"},
    {"GetOldValueN", 1, 1, "TT", oldValueN, "the sample of a number of samples ago"},
    {"Min", 1, 1, "TT", extreme, "smallest of the last samples", showsAnother},
    {"Max", 1, 1, "TT", extreme, "largest of the last samples", showsAnother},
    {"Average", 1, 1, "TT", average, "mean of the last samples", repeats},
    {"Statistics", 3, 1, "TTTT", statistics, "smallest, largest and mean; the mean over a window", repeats},
    {"FilterButterworthLowPass", 1, 1, "RR", pass, "low-pass filter", mathLibrary},
    {"FilterButterworthHighPass", 1, 1, "RR", pass, "high-pass filter", mathLibrary},
    {"FilterButterworthBandPass", 1, 1, "RR", band, "band-pass filter", mathLibrary},
    {"FilterButterworthBandStop", 1, 1, "RR", band, "band-stop filter", mathLibrary},
};

} // namespace

std::span<const Operation> AllOperations() { return operations; }

} // namespace Vel
