#include <VelOperation.hpp>

#include <cstdio>

int main() {
    Vel::Channel<double> x, y, z;                                        // each holds its NoValue, a NaN
    auto divide = Vel::OperationHandle::Create(true, "Divide", z, x, y); // true: NoValue-aware
    x = 1.0;
    y = 3.0;
    if (divide.Execute()) // once per sample period
        std::printf("%g\n", z.Get());
}
