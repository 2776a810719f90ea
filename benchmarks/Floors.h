/// What a good engineer writes by hand for the contract of one operation on one row: an object behind the same null
/// test and one virtual call, which follows the same two levels of pointers, knows NoValue, and does the work in the
/// shortest way. None is tuned to the benchmark's data and none spares a test that its operation owes the host. They
/// stand in a shared library of their own, since a call into one costs more than a call within a program.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace Floors {

class Floor {
public:
    Floor() = default;
    Floor(const Floor&) = delete;
    Floor& operator=(const Floor&) = delete;
    virtual ~Floor() = default;
    virtual bool Execute() = 0;
};

using FloorPointer = std::unique_ptr<Floor>;

bool Execute(void* floor);

struct CurvePoint {
    double x;
    double y;
};

// References and NoValue markers as for the library's Create; then what Initialize would take.

FloorPointer MakePlus(bool noValueAware, double** result, double** operand1, double** operand2);
FloorPointer MakeDivide(bool noValueAware, double** result, double** operand1, double** operand2);
FloorPointer MakeEqual(bool noValueAware, std::uint16_t** result, double** operand1, double** operand2);
FloorPointer MakeUpperLimit(bool noValueAware, std::uint16_t** result, double** operand1, double** operand2,
                            double hysteresis);
FloorPointer MakeIf(bool noValueAware, double** result, std::uint16_t** condition, double** operand2,
                    double** operand3);
FloorPointer MakeCast(bool noValueAware, std::int32_t** result, double** operand);
FloorPointer MakePosEdge(bool noValueAware, std::uint16_t** result, double** operand, double threshold);
FloorPointer MakeAverage(bool noValueAware, double** result, double** operand, std::size_t window);
FloorPointer MakeGetOldValueN(bool noValueAware, double** result, double** operand, std::size_t depth);
FloorPointer MakeLinea(bool noValueAware, double** result, double** operand, const std::vector<CurvePoint>& points);
FloorPointer MakeRememberingLinea(bool noValueAware, double** result, double** operand,
                                  const std::vector<CurvePoint>& points);
FloorPointer MakeLowPass(bool noValueAware, double** result, double** operand, const std::vector<double>& forward,
                         const std::vector<double>& backward);
FloorPointer MakeMax(bool noValueAware, double** result, double** operand, std::size_t window);

} // namespace Floors
