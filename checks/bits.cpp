/// The bits of all results: runs every row, plain and NoValue-aware, over seeded samples, and prints a hash for each
/// operation and one for all. Every compiler and every optimization must print the same. An asterisk marks operations
/// whose results hang on the accuracy of the math library, and may differ where another one is installed.
#include "checks/FakePlatform.h"
#include "checks/Subject.h"

#include <cinttypes>
#include <cstdio>
#include <string_view>

using namespace VelChecks;

namespace {

/// Fowler, Noll and Vo's hash, 64 bits wide.
class Hash {
public:
    void Add(std::uint64_t bits) {
        for (int byte = 0; byte < 8; ++byte)
            value = (value ^ (bits >> (8 * byte) & 0xFF)) * 0x100000001B3;
    }
    std::uint64_t Value() const { return value; }

private:
    std::uint64_t value = 0xCBF29CE484222325;
};

void Run(const Row& row, bool noValueAware, Hash& hash) {
    SeededChoice choose(1);
    Subject subject(row, noValueAware);
    for (int life = 0; life < 4; ++life) {
        hash.Add(subject.Initialize(ChooseParameters(row, std::ref(choose))));
        for (int sample = 0; sample < 250; ++sample) {
            subject.ChooseOperands(std::ref(choose));
            FakePlatform::tickCount += static_cast<std::uint32_t>(choose(300));
            hash.Add(subject.Execute());
            for (std::size_t i = 0; i < subject.Results().size(); ++i)
                hash.Add(NumberOf(subject.Results()[i], SizeOfSample(row.signature[i])));
        }
        if (life % 2 == 0)
            subject.Reset();
    }
}

void Print(const Hash& hash, std::string_view title) {
    std::printf("%016" PRIx64 " %.*s\n", hash.Value(), static_cast<int>(title.size()), title.data());
}

} // namespace

int main() {
    FakePlatform::systemTime = {2024, 2, 4, 29, 23, 59, 58, 987};
    FakePlatform::localTime = {2024, 3, 5, 1, 0, 59, 58, 987};
    const std::vector<Row> rows = AllRows();
    Hash exact, byMathLibrary;
    for (auto row = rows.begin(); row != rows.end();) {
        Hash hash;
        const Vel::Operation& operation = *row->operation;
        for (; row != rows.end() && row->operation == &operation; ++row)
            for (const bool noValueAware : {false, true})
                Run(*row, noValueAware, hash);
        const bool isExact = !operation.traits.usesMathLibrary;
        (isExact ? exact : byMathLibrary).Add(hash.Value());
        Print(hash, std::string(operation.name) + '(' + std::to_string(operation.operands) + (isExact ? ")" : ") *"));
    }
    Print(exact, "all of these");
    Print(byMathLibrary, "all of those with *");
}
