// Writes an electrocardiogram to standard output: 5 minutes at 250 Hz, in mV, with early beats, a pause, mains hum, a
// wandering baseline and an electrode that comes off. `ecg --beats` writes the times of the beats instead. The program
// uses only integer arithmetic, so the recording is the same on every machine.
#include <array>
#include <cstdint>
#include <cstdio>
#include <string_view>
#include <vector>

namespace {

constexpr int sampleMs = 4;
constexpr int lengthMs = 300'000;
constexpr int electrodeOffMs = 200'000;
constexpr int electrodeOnMs = 206'000;

/// One wave of a beat: a parabola.
struct Wave {
    int atMs; ///< relative to the beat's R wave
    int halfWidthMs;
    int height; ///< in uV
};

constexpr std::array<Wave, 5> usualBeat{
    {{-170, 50, 120}, {-28, 14, -100}, {0, 24, 1100}, {30, 20, -260}, {260, 90, 300}}};
/// A ventricular beat: no P wave, a wide QRS complex, an inverted T wave.
constexpr std::array<Wave, 3> earlyBeat{{{0, 60, 1400}, {80, 50, -500}, {300, 100, -350}}};

struct Beat {
    int atMs;
    bool isEarly;
};

/// Rest, exertion and recovery, with a few early beats and one pause.
std::vector<Beat> Beats() {
    std::vector<Beat> beats;
    int at = 500;
    for (int number = 1; at < lengthMs - 500; ++number) {
        const bool isEarly = number == 40 || number == 230 || number == 350;
        beats.push_back({at, isEarly});
        int interval = 860 + (number % 5 - 2) * 12; // breathing
        if (at > 80'000 && at < 110'000)
            interval -= (at - 80'000) * 14 / 1000; // exertion
        else if (at >= 110'000 && at < 150'000)
            interval -= 420;
        else if (at >= 150'000 && at < 192'000)
            interval -= (192'000 - at) / 100; // recovery
        else if (at > 260'000)
            interval += 450; // a slow rhythm at the end
        const bool isNextEarly = number == 39 || number == 229 || number == 349;
        if (isNextEarly)
            interval = interval * 6 / 10;
        if (isEarly)
            interval = interval * 14 / 10;
        if (at > 240'000 && at < 241'000)
            interval = 2600;
        at += interval;
    }
    return beats;
}

int HeightOf(const Wave& wave, int fromBeatMs) {
    const int distance = fromBeatMs - wave.atMs;
    const int square = wave.halfWidthMs * wave.halfWidthMs;
    return distance * distance >= square ? 0 : wave.height * (square - distance * distance) / square;
}

int HeightOf(const Beat& beat, int atMs) {
    int height = 0;
    if (beat.isEarly)
        for (const Wave& wave : earlyBeat)
            height += HeightOf(wave, atMs - beat.atMs);
    else
        for (const Wave& wave : usualBeat)
            height += HeightOf(wave, atMs - beat.atMs);
    return height;
}

/// Varies slowly between -300 and 300 uV.
int Baseline(int atMs) {
    constexpr int halfPeriodMs = 3700;
    const int phase = atMs % halfPeriodMs;
    const int arch = 1200 * phase / halfPeriodMs * (halfPeriodMs - phase) / halfPeriodMs;
    return atMs / halfPeriodMs % 2 == 0 ? arch : -arch;
}

void WriteRecording(const std::vector<Beat>& beats) {
    constexpr std::array<int, 5> hum{0, 29, 18, -18, -29}; // 50 Hz
    std::uint32_t noise = 1;
    std::puts("Time [s],ECG [mV]");
    for (int at = 0, row = 0; at < lengthMs; at += sampleMs, ++row) {
        int height = Baseline(at) + hum[static_cast<std::size_t>(row) % hum.size()];
        noise = noise * 1664525u + 1013904223u; // Numerical Recipes
        height += static_cast<int>((noise >> 16) % 41u) - 20;
        for (const Beat& beat : beats)
            if (beat.atMs - at < 500 && at - beat.atMs < 500)
                height += HeightOf(beat, at);
        if (at >= electrodeOffMs && at < electrodeOnMs)
            std::printf("%d.%03d,\n", at / 1000, at % 1000);
        else
            std::printf("%d.%03d,%s%d.%03d\n", at / 1000, at % 1000, height < 0 ? "-" : "",
                        (height < 0 ? -height : height) / 1000, (height < 0 ? -height : height) % 1000);
    }
}

void WriteBeats(const std::vector<Beat>& beats) {
    std::puts("time,early");
    for (const Beat& beat : beats)
        if (beat.atMs < electrodeOffMs || beat.atMs >= electrodeOnMs)
            std::printf("%d.%03d,%d\n", beat.atMs / 1000, beat.atMs % 1000, beat.isEarly ? 1 : 0);
}

} // namespace

int main(int count, char** arguments) {
    const std::vector<Beat> beats = Beats();
    if (count > 1 && arguments[1] == std::string_view("--beats"))
        WriteBeats(beats);
    else
        WriteRecording(beats);
    return std::ferror(stdout) == 0 && std::fflush(stdout) == 0 ? 0 : 1;
}
