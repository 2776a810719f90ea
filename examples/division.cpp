/// The smallest useful host: z = x / y over a short recording with gaps and zero divisors, respecting NoValue.

#include "VelOperation.hpp"

#include <array>
#include <cstdio>
#include <limits>

namespace {

constexpr double gap = std::numeric_limits<double>::quiet_NaN();

struct Row {
    double x;
    double y;
};
constexpr std::array<Row, 9> recording{
    {{1, 4}, {5, 0}, {3, 4}, {gap, 4}, {2, -0.0}, {9, 3}, {5, gap}, {gap, gap}, {-1, 8}}};

void PrintSample(const Vel::Channel<double>& channel) {
    if (channel.IsNoValue())
        std::printf("%10s", "NoValue");
    else
        std::printf("%10g", channel.Get());
}

const char* Reason(const Vel::Channel<double>& x, const Vel::Channel<double>& y) {
    if (x.IsNoValue() && y.IsNoValue())
        return "NoValue: neither x nor y has a sample";
    if (x.IsNoValue())
        return "NoValue: x has no sample";
    if (y.IsNoValue())
        return "NoValue: y has no sample";
    return "refused: the divisor is 0, z stays as it was";
}

} // namespace

int main() {
    SetMessageCallback(
        [](int level, const char* text) { std::fprintf(stderr, "message of level %d: %s\n", level, text); });
    std::printf("VelOperation %u.%u.%u, %s\n\n", GetDLLVersion() >> 16, GetDLLVersion() >> 8 & 0xFF,
                GetDLLVersion() & 0xFF, GetDLLBuildNumber());

    Vel::Channel<double> x;
    Vel::Channel<double> y;
    Vel::Channel<double> z;
    auto divide = Vel::OperationHandle::Create(true, "Divide", z, x, y);
    if (!divide || !divide.Initialize())
        return 1;

    std::printf("z = x / y, NoValue-aware\n\n%6s%10s%10s%10s   %s\n", "sample", "x", "y", "z", "outcome");
    for (std::size_t i = 0; i < recording.size(); ++i) {
        x = recording[i].x;
        y = recording[i].y;
        const bool computed = divide.Execute();
        std::printf("%6zu", i + 1);
        PrintSample(x);
        PrintSample(y);
        PrintSample(z);
        std::printf("   %s\n", computed ? "computed" : Reason(x, y));
    }
    return divide.Terminate() ? 0 : 1;
}
