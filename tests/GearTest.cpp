#include "Sequences.h"
#include "checks/Descriptors.h"

#include "logic/GearTable.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <new>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

extern "C" [[gnu::weak]] void __asan_init();

using namespace Sequences;

namespace {

/// Leaves digits on the stack, which show if the next call forgets to clear its buffer.
[[gnu::noinline]] void DirtyStack() {
    std::array<volatile char, 8192> digits;
    for (volatile char& digit : digits)
        digit = '7';
}

/// Initialises with a table whose pieces come through a pipe in packet mode.
Parameters WithTable(double tolerance, std::vector<std::string> pieces) {
    pieces.push_back(std::string(80, '='));
    return [=](Vel::OperationHandle& operation) {
        int ends[2];
        EXPECT_EQ(pipe2(ends, O_DIRECT), 0);
        for (const std::string& piece : pieces)
            EXPECT_EQ(write(ends[1], piece.data(), piece.size()), static_cast<ssize_t>(piece.size()));
        const auto openBefore = VelChecks::OpenDescriptors();
        DirtyStack();
        const bool initialized = operation.Initialize(tolerance, ("/proc/self/fd/" + std::to_string(ends[0])).c_str());
        EXPECT_EQ(VelChecks::OpenDescriptors(), openBefore);
        close(ends[0]);
        close(ends[1]);
        return initialized;
    };
}

std::string Record(const std::string& text) { return text + '\0'; }
const std::string second = Record("2 =2");

TEST(Gear, IsThatOfTheFirstEntryWithinTheTolerance) {
    const char* const noName = nullptr;
    const std::string allPlaces = "4 = " + std::string(75, '1');
    RunSequences({
        // Operands: gate, divisor, dividend. 1.5 lies in two bands.
        Both("Gangermittlung", "bWWW",
             WithTable(0.25, {second, Record("1.25 =-1"), Record("1.5 =3"), Record("no record")}), In({1, 2, 4}, 2),
             In({1, 8, 11}, -1), In({1, 8, 12}, 3), In({1, 8, 14}, refused), In({1, 8, 15}, 2), In({1, 8, 18}, refused),
             In({0, absent, absent}, refused), In({1, 0, absent}, refused), restart, In({1, 2, 4}, 2)),
        // A second table is added, and a second tolerance replaces the first, even if there is no file to read.
        Both("Gangermittlung", "bWWW", WithTable(0.1, {second}),
             Init(WithTable(0, {Record("2 =3"), Record("4 =4")}), true), In({1, 1, 4}, refused),
             Init(With(9.0, ""), false), In({1, 1, 5}, 2), Init(With(0.1, "/"), false), In({1, 1, 4}, 4),
             Init(With(9.0, "", 0), false), In({1, 1, 5}, refused), Init(With(9.0, noName), false), In({1, 1, 5}, 2)),
        // A long regular file is a full piece at once.
        Both("Gangermittlung", "bWWW", With(9.0, "/proc/self/exe"), In({1, 2, 4}, refused)),
        // More than 80 bytes are a full piece. Before the first NUL the buffer holds nothing else.
        Both("Gangermittlung", "bWWW", WithTable(0.5, {"3 =5", std::string(81, '=')}), In({1, 1, 3}, 5)),
        // Without a NUL, a record continues with the one before or to the end of the buffer.
        Both("Gangermittlung", "bWWW", WithTable(0.5, {"2 = 55", "1 =", Record("5 ="), allPlaces}), In({1, 1, 2}, 55),
             In({1, 1, 1}, 55), In({1, 1, 5}, 0), In({1, 1, 4}, -1)),
        // The gate is a UInt16 whatever its letter says, here the low half of a UInt32.
        Both("Gangermittlung", "bLWW", WithTable(1, {second}), In({65536, 1, 2}, refused), In({1, 1, 2}, 2)),
    });
}

TEST(Gear, TestsOnlyTheFirstOperandForNoValue) {
    const Parameters table = WithTable(0.5, {second});
    RunSequences({
        Aware("Gangermittlung", "bWWW", table, In({7, absent, absent}, marker), In({1, 3, 6}, 2)).Markers({7, 3, 6}),
        Plain("Gangermittlung", "bWWW", table, In({7, 3, 6}, 2)).Markers({7, 3, 6}),
        // Without a marker of its own, but with one on another operand, it is tested against 0.
        Aware("Gangermittlung", "bWWW", table, In({0, 3, 6}, marker)).Markers({absent, absent, 6}),
        Aware("Gangermittlung", "bWWW", table, In({0, 3, 6}, refused)).Markers({absent, absent, absent}),
    });
}

TEST(Gear, RecordsAreReadByTheirFirstEqualsSign) {
    using Velmarosk::Operation::ParseGearRecord;
    constexpr float infinity = std::numeric_limits<float>::infinity();
    // clang-format off
    const std::tuple<const char*, float, int> cases[] = {
        {"1.25 =3", 1.25f, 3}, {"1.25=3", 1.2f, 3}, {"=5", 0.f, 5}, {"9=5", 0.f, 5}, {" \t\r\n+1.5e1 = +4", 15.f, 4},
        {"-.5x;= -4x5", -.5f, -4}, {"x1 =x1", 0.f, 0}, {"1. ==2", 1.f, 0}, {"1e =\v2 3", 1.f, 2}, {"+-1 =+-1", 0.f, 0},
        {"0x10 =0x10", 0.f, 0}, {"inf =", 0.f, 0}, {"-nan =- 1", 0.f, 0}, {"1e999 =300", infinity, 44},
        {"-1e999 =-300", -infinity, -44}, {"1e-999 =2147483648", 0.f, -1}, {"1e39 =-99999999999", infinity, 0},
        {"\n2 =1\n3 =2\n", 2.f, 1}, {"1E-999 =6", 0.f, 6}, {"-1E+999 =7", -infinity, 7}, {"\f2 =\f8", 2.f, 8}};
    // clang-format on
    for (const auto& [text, ratio, gear] : cases) {
        const auto entry = ParseGearRecord(text);
        ASSERT_TRUE(entry) << text;
        EXPECT_TRUE(entry->ratio == ratio && entry->gear == gear)
            << text << " gives " << entry->ratio << " = " << +entry->gear << ", and not " << ratio << " = " << gear;
    }
    EXPECT_TRUE(!ParseGearRecord("1.25 3") && std::signbit(ParseGearRecord("-1e-999 =")->ratio));
}

TEST(Gear, AShortRegularFileIsReadUntilTheMemoryEnds) {
    if (__asan_init != nullptr)
        GTEST_SKIP() << "AddressSanitizer needs more address space than the limit leaves";
    const int file = memfd_create("short gear table", MFD_CLOEXEC);
    EXPECT_EQ(write(file, second.data(), second.size()), static_cast<ssize_t>(second.size()));
    Vel::Channel<std::int8_t> gear;
    Vel::Channel<std::uint16_t> gate, speed;
    auto operation = Vel::OperationHandle::Create(false, "Gangermittlung", gear, gate, speed, gate);
    gate = 4;
    speed = 2;
    const auto initialize = [&] {
        const auto openBefore = VelChecks::OpenDescriptors();
        const rlimit limit{32 << 20, 32 << 20};
        setrlimit(RLIMIT_AS, &limit);
        try {
            operation.Initialize(0.5, ("/proc/self/fd/" + std::to_string(file)).c_str());
        } catch (const std::bad_alloc&) {
            const bool isClosed = VelChecks::OpenDescriptors() == openBefore;
            _exit(isClosed && operation.Execute() && gear.Get() == 2 ? 0 : 2); // the operation outlives it
        }
    };
    EXPECT_EXIT(initialize(), testing::ExitedWithCode(0), "");
    close(file);
}

} // namespace
