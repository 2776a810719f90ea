// Writes four days of an energy meter to standard output, in the usual form of meters: local time without a UTC offset,
// including the night when clocks go back, a row about every 20 seconds, decimal commas, an outage, and cells without a
// number. The program uses only integer arithmetic, so the recording is the same on every machine.
#include <cstdint>
#include <cstdio>

namespace {

constexpr int hour = 3600;
constexpr int day = 24 * hour;
constexpr int clocksPutBack = 2 * day + 3 * hour; // in s from the start, 25 October 2024 0:00 in Berlin
constexpr int end = 4 * day + hour;

/// Pseudo-random numbers.
class Random {
public:
    int Below(int count) {
        state = state * 1664525u + 1013904223u; // Numerical Recipes
        return static_cast<int>((state >> 16) % static_cast<std::uint32_t>(count));
    }

private:
    std::uint32_t state = 4;
};

/// The power of a household in W, by the hour of the day.
int BasePower(int secondOfDay) {
    const int inHours = secondOfDay / hour;
    if (inHours < 6 || inHours >= 23)
        return 180;
    if (inHours < 9 || inHours >= 17)
        return 620;
    return 310;
}

} // namespace

int main() {
    Random random;
    int kettle = 0; // remaining time in s
    int oven = 0;
    std::puts("Meter 4711;;\nTimestamp;Power;State\n;kW;");
    for (int time = 7, step = 0; time < end; time += step) {
        step = 17 + random.Below(7);
        const int local = time < clocksPutBack ? time : time - hour;
        const int secondOfDay = local % day;
        if (kettle == 0 && secondOfDay > 6 * hour && random.Below(300) == 0)
            kettle = 240;
        if (oven == 0 && secondOfDay > 17 * hour && secondOfDay < 18 * hour && random.Below(60) == 0)
            oven = 3000;
        const int power = BasePower(secondOfDay) + random.Below(90) + (kettle > 0 ? 2050 : 0) + (oven > 0 ? 2600 : 0);
        kettle = kettle > step ? kettle - step : 0;
        oven = oven > step ? oven - step : 0;
        if (time > day + 9 * hour && time < day + 12 * hour + 600) // an outage
            continue;
        const bool isUnknown = time > 14 * hour && time < 14 * hour + 1800;
        std::printf("%02d.10.2024 %02d:%02d:%02d;", 25 + local / day, secondOfDay / hour, secondOfDay / 60 % 60,
                    secondOfDay % 60);
        if (isUnknown)
            std::puts("-;fault");
        else
            std::printf("%d,%03d;ok\n", power / 1000, power % 1000);
    }
    return std::fflush(stdout) == 0 ? 0 : 1;
}
