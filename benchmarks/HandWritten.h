/// What a good engineer writes by hand for the contract of one operation on one row: an object behind the same null
/// test and one virtual call, which follows the same two levels of pointers, knows NoValue, and does the work in the
/// shortest way. None is tuned to the benchmark's data, and none skips a test that the contract requires. They are in
/// their own shared library, since a call into one costs more than a call within a program.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace HandWritten {

class Object {
public:
    Object() = default;
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;
    virtual ~Object() = default;
    virtual bool Execute() = 0;
};

using ObjectPointer = std::unique_ptr<Object>;

bool Execute(void* object);

struct CurvePoint {
    double x;
    double y;
};

// References and NoValue markers as for the library's Create; then what Initialize would take.

ObjectPointer MakePlus(bool noValueAware, double** result, double** operand1, double** operand2);
ObjectPointer MakeDivide(bool noValueAware, double** result, double** operand1, double** operand2);
ObjectPointer MakeEqual(bool noValueAware, std::uint16_t** result, double** operand1, double** operand2);
ObjectPointer MakeUpperLimit(bool noValueAware, std::uint16_t** result, double** operand1, double** operand2,
                             double hysteresis);
ObjectPointer MakeIf(bool noValueAware, double** result, std::uint16_t** condition, double** operand2,
                     double** operand3);
ObjectPointer MakeCast(bool noValueAware, std::int32_t** result, double** operand);
ObjectPointer MakePosEdge(bool noValueAware, std::uint16_t** result, double** operand, double threshold);
ObjectPointer MakeAverage(bool noValueAware, double** result, double** operand, std::size_t window);
ObjectPointer MakeGetOldValueN(bool noValueAware, double** result, double** operand, std::size_t depth);
ObjectPointer MakeLinea(bool noValueAware, double** result, double** operand, const std::vector<CurvePoint>& points);
ObjectPointer MakeRememberingLinea(bool noValueAware, double** result, double** operand,
                                   const std::vector<CurvePoint>& points);
ObjectPointer MakeLowPass(bool noValueAware, double** result, double** operand, const std::vector<double>& forward,
                          const std::vector<double>& backward);
ObjectPointer MakeMax(bool noValueAware, double** result, double** operand, std::size_t window);

} // namespace HandWritten
