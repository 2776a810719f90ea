// Writes the recording of a drive over the New European Driving Cycle to standard output: 10 rows a second, with noise
// and dropouts of the sensors. All of it is integer arithmetic, so that the recording is the same on every machine.
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>

namespace {

constexpr int rowsPerSecond = 10;
constexpr int urbanSeconds = 195;
constexpr int urbanParts = 4;
constexpr int cycleSeconds = 1180;

/// Time in the part, speed in km/h; straight lines between them.
struct Breakpoint {
    int second;
    int speed;
};

constexpr Breakpoint urban[] = {{0, 0},    {11, 0},   {15, 15},  {23, 15},  {25, 10},  {28, 0},   {49, 0},
                                {54, 15},  {56, 15},  {61, 32},  {85, 32},  {93, 10},  {96, 0},   {117, 0},
                                {122, 15}, {124, 15}, {133, 35}, {135, 35}, {143, 50}, {155, 50}, {163, 35},
                                {178, 35}, {185, 10}, {188, 0},  {195, 0}};
constexpr Breakpoint extraUrban[] = {{0, 0},    {20, 0},   {25, 15},   {27, 15},   {36, 35},   {38, 35},
                                     {46, 50},  {48, 50},  {61, 70},   {111, 70},  {119, 50},  {188, 50},
                                     {201, 70}, {251, 70}, {286, 100}, {316, 100}, {336, 120}, {346, 120},
                                     {362, 80}, {370, 50}, {380, 0},   {400, 0}};

/// In 1/100 km/h, at a row of the drive.
int SpeedAt(int row) {
    const bool isUrban = row < urbanSeconds * urbanParts * rowsPerSecond;
    const int inPart = isUrban ? row % (urbanSeconds * rowsPerSecond) : row - urbanSeconds * urbanParts * rowsPerSecond;
    const std::span<const Breakpoint> points = isUrban ? std::span<const Breakpoint>(urban) : extraUrban;
    std::size_t next = 1;
    while (next + 1 < points.size() && points[next].second * rowsPerSecond < inPart)
        ++next;
    const Breakpoint& from = points[next - 1];
    const Breakpoint& to = points[next];
    const int length = (to.second - from.second) * rowsPerSecond;
    const int done = inPart - from.second * rowsPerSecond;
    return from.speed * 100 + (to.speed - from.speed) * 100 * done / length;
}

/// Noise between -amplitude and amplitude, small values more often than large ones.
class Noise {
public:
    int Next(int amplitude) { return (Uniform(amplitude) + Uniform(amplitude)) / 2; }

private:
    int Uniform(int amplitude) {
        state = state * 1664525u + 1013904223u; // Numerical Recipes
        return static_cast<int>((state >> 16) % static_cast<std::uint32_t>(2 * amplitude + 1)) - amplitude;
    }
    std::uint32_t state = 1;
};

/// Engine and gearbox. Wheel radius 0.3 m and final drive 3.9 make 34.48 revolutions a minute for 1 km/h, times the
/// ratio of the gear: 3.5, 2.0, 1.35, 1.0, 0.8.
class Drivetrain {
public:
    /// One row further, at a speed in 1/100 km/h.
    void Drive(int speed) {
        const int wanted = GearFor(speed);
        if (wanted != gear) {
            shiftRows = gear == 0 || wanted == 0 ? 0 : shiftDuration;
            shiftFrom = engineSpeed;
            gear = wanted;
        }
        const int driven = gear == 0 ? 0 : Driven(speed);
        isClutchOpen = shiftRows > 0 || driven < idle;
        const int target = driven < idle ? idle : driven;
        engineSpeed = target - (target - shiftFrom) * shiftRows / shiftDuration;
        if (shiftRows > 0)
            --shiftRows;
    }

    int engineSpeed = idle;
    bool isClutchOpen = true;

private:
    static constexpr int idle = 850;                                      // 1/min
    static constexpr int shiftDuration = 10;                              // rows
    static constexpr std::array perKmh{0, 12068, 6896, 4655, 3448, 2758}; // 1/100 of 1/min, by gear
    static constexpr std::array upAt{1, 1550, 3450, 5050, 7050};          // 1/100 km/h: into the next gear
    static constexpr int hysteresis = 300;

    int Driven(int speed) const {
        return static_cast<int>(std::int64_t{speed} * perKmh[static_cast<std::size_t>(gear)] / 10000);
    }
    int GearFor(int speed) const {
        if (speed == 0)
            return 0;
        if (gear < 5 && speed >= upAt[static_cast<std::size_t>(gear)])
            return gear + 1;
        if (gear > 1 && speed < upAt[static_cast<std::size_t>(gear - 1)] - hysteresis)
            return gear - 1;
        return gear;
    }

    int gear = 0;
    int shiftRows = 0;
    int shiftFrom = idle;
};

struct Dropout {
    int first;
    int last;
    bool Covers(int row) const { return row >= first && row <= last; }
};

constexpr Dropout speedDropouts[] = {{3050, 3062}, {7405, 7412}, {9000, 9025}, {11100, 11103}};
constexpr Dropout wheelDropouts[] = {{5200, 5205}, {9800, 9803}};
constexpr Dropout engineDropouts[] = {{8600, 8612}};

void PrintUnless(std::span<const Dropout> dropouts, int row, const char* format, int whole, int fraction = 0) {
    for (const Dropout& dropout : dropouts)
        if (dropout.Covers(row))
            return;
    std::printf(format, whole, fraction);
}

} // namespace

int main() {
    constexpr int clutchBit = 1;
    constexpr int brakeBit = 2;
    constexpr int ignitionBit = 4;
    Noise noise;
    Drivetrain drivetrain;
    std::puts("time,speed_sensor,engine_speed,wheel_count,status");
    for (int row = 0; row <= cycleSeconds * rowsPerSecond; ++row) {
        const int speed = SpeedAt(row);
        const int before = row == 0 ? 0 : SpeedAt(row - 1);
        drivetrain.Drive(speed);
        const bool isBraking = speed < before && before - speed > 15; // more than what the engine does
        const int sensed = speed == 0 ? 0 : std::abs(speed + noise.Next(40));
        const int engine = drivetrain.engineSpeed + noise.Next(12);
        const int wheel = speed == 0 ? 0 : std::abs(speed + noise.Next(8)); // counts of 0.01 km/h
        const int status = (drivetrain.isClutchOpen ? clutchBit : 0) | (isBraking ? brakeBit : 0) | ignitionBit;
        std::printf("%d.%d,", row / rowsPerSecond, row % rowsPerSecond);
        PrintUnless(speedDropouts, row, "%d.%02d", sensed / 100, sensed % 100);
        std::putchar(',');
        PrintUnless(engineDropouts, row, "%d", engine);
        std::putchar(',');
        PrintUnless(wheelDropouts, row, "%d", wheel);
        std::printf(",%d\n", status);
    }
    return std::ferror(stdout);
}
