// A host in C++20: a quotient and a refusal through the typed front, and whether the library is of the version that its
// installation tells.
#include <VelOperation.hpp>

#include <string>

int main(int argc, char** argv) {
    const auto version = GetDLLVersion();
    const auto number = [&](unsigned shift) { return std::to_string(version >> shift & 0xFF); };
    if (argc != 2 || argv[1] != number(16) + '.' + number(8) + '.' + number(0))
        return 1;

    Vel::Channel<double> x, y, z;
    auto divide = Vel::OperationHandle::Create(true, "Divide", z, x, y);
    x = 3.0;
    y = 4.0;
    if (!divide.Execute() || z.Get() != 0.75)
        return 2;
    y = 0.0;
    if (divide.Execute() || z.Get() != 0.75)
        return 3;
    x.SetNoValue(); // a NaN, even in a host that is built with fast-math
    y = 4.0;
    return divide.Execute() ? 4 : 0;
}
