// A host in C++: two chains on two threads.
#include <VelOperation.hpp>

#include <array>
#include <cstdint>
#include <cstdio>
#include <new>
#include <thread>

namespace {

/// Everything that one thread computes: its channels first, since operations must not outlive them.
class Chain {
public:
    bool Start() {
        return smoothing.Initialize(2u, 0.0, 300.0) && watching.Initialize(20.0) && pulse.Initialize(seconds, true);
    }

    /// False: memory has run out.
    bool Run(double newSpeed) {
        speed = newSpeed;
        limit = 100.0;
        try {
            smoothing.Execute();
        } catch (const std::bad_alloc&) {
            return false;
        }
        watching.Execute();
        pulse.Execute();
        return true;
    }

    bool IsTooFast() const { return !tooFast.IsNoValue() && tooFast.Get() != 0; }

private:
    static constexpr Vel::PackedFloat32 seconds{0.5f};

    Vel::Channel<double> speed, smooth, limit;
    Vel::Channel<std::uint16_t> tooFast, warning;

    Vel::OperationHandle smoothing = Vel::OperationHandle::Create(true, "Average", smooth, speed);
    Vel::OperationHandle watching = Vel::OperationHandle::Create(true, "UpperLimit", tooFast, smooth, limit);
    Vel::OperationHandle pulse = Vel::OperationHandle::Create(true, "MonoFlop", warning, tooFast);
};

} // namespace

int main() {
    Chain slow, fast;
    if (!slow.Start() || !fast.Start())
        return 1;

    std::thread other([&slow] {
        for (const double speed : {60.0, 70.0, 80.0})
            slow.Run(speed);
    });
    for (const double speed : {90.0, 120.0, 130.0})
        fast.Run(speed);
    other.join();

    std::array<double, 3> column{110.0, 120.0, 130.0};
    Vel::Channel<double> sample, before;
    auto delay = Vel::OperationHandle::Create(true, "GetOldValue", before, sample);
    for (double& row : column) {
        sample.MoveTo(&row); // no copy: the operation follows the pointer
        delay.Execute();
    }
    std::printf("slow: %d, fast: %d, one before the last: %g\n", slow.IsTooFast(), fast.IsTooFast(), before.Get());
    return !slow.IsTooFast() && fast.IsTooFast() && before.Get() == column[1] ? 0 : 1;
}
