#include "VelOperation.hpp"
#include "checks/Descriptors.h"
#include "checks/Subject.h"
#include "platform/File.h"
#include "platform/SystemClock.h"
#include "platform/TickCount.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <ctime>
#include <deque>
#include <functional>
#include <iterator>
#include <string>
#include <thread>
#include <tuple>
#include <utility>

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace std::chrono;
using namespace Velmarosk::Platform;

// Rules, which need no data base on the machine: Central Europe, New York, New Zealand, Nepal, Newfoundland.
constexpr const char* zones[] = {"CET-1CEST,M3.5.0,M10.5.0/3", "EST5EDT,M3.2.0,M11.1.0", "NZST-12NZDT,M9.5.0,M4.1.0/3",
                                 "<+0545>-5:45", "NST3:30NDT,M3.2.0,M11.1.0"};

void SetTimeZone(const char* rule) {
    setenv("TZ", rule, 1);
    tzset();
}

/// Since 1970 by the C library's calendar, whatever the zone.
std::int64_t Milliseconds(const SYSTEMTIME& time) {
    std::tm fields{};
    fields.tm_year = time.wYear - 1900;
    fields.tm_mon = time.wMonth - 1;
    fields.tm_mday = time.wDay;
    fields.tm_hour = time.wHour;
    fields.tm_min = time.wMinute;
    fields.tm_sec = time.wSecond;
    const std::int64_t seconds = timegm(&fields);
    EXPECT_EQ(fields.tm_wday, time.wDayOfWeek);
    return seconds * 1000 + time.wMilliseconds;
}

std::int64_t MinutesFromUtc(Instant instant) {
    return (Milliseconds(LocalTimeAt(instant)) - instant.time_since_epoch().count()) / 60'000;
}

TEST(FileTime, FollowsTheCLibrarysCalendar) {
    constexpr std::int64_t unixTimeOf1601 = -11'644'473'600'000;
    constexpr std::uint64_t stride = 864'000'000'000 * 97 + 12'345'678'901; // 97 days and some
    for (std::uint64_t fileTime = 7; fileTime < std::uint64_t{1} << 63; fileTime += stride) {
        SYSTEMTIME time{};
        std::uint64_t back = 0;
        ASSERT_TRUE(FileTimeToSystemTime(fileTime, time));
        ASSERT_EQ(Milliseconds(time), unixTimeOf1601 + static_cast<std::int64_t>(fileTime / 10'000));
        time.wDayOfWeek = 99; // which is not looked at
        ASSERT_EQ(SystemTimeToFileTime(time, back), time.wYear <= 30827);
        ASSERT_EQ(back, time.wYear <= 30827 ? fileTime / 10'000 * 10'000 : 0);
    }
}

TEST(FileTime, FailureLeavesTheOutputAlone) {
    SYSTEMTIME time{1, 2, 3, 4, 5, 6, 7, 8};
    EXPECT_FALSE(FileTimeToSystemTime(std::uint64_t{1} << 63, time));
    EXPECT_FALSE(FileTimeToSystemTime(~std::uint64_t{0}, time));
    EXPECT_TRUE(time.wYear == 1 && time.wMonth == 2 && time.wDayOfWeek == 3 && time.wDay == 4 && time.wHour == 5);

    std::uint64_t fileTime = 5;
    constexpr SYSTEMTIME right{2000, 4, 0, 30, 23, 59, 59, 999};
    // clang-format off
    // 257 would be 1 in a byte.
    for (const auto& [field, value] : std::initializer_list<std::pair<std::uint16_t SYSTEMTIME::*, std::uint16_t>>{
             {&SYSTEMTIME::wYear, 1600}, {&SYSTEMTIME::wYear, 30828}, {&SYSTEMTIME::wMonth, 0},
             {&SYSTEMTIME::wMonth, 13}, {&SYSTEMTIME::wMonth, 257}, {&SYSTEMTIME::wDay, 0}, {&SYSTEMTIME::wDay, 31},
             {&SYSTEMTIME::wDay, 257}, {&SYSTEMTIME::wHour, 24}, {&SYSTEMTIME::wMinute, 60}, {&SYSTEMTIME::wSecond, 60},
             {&SYSTEMTIME::wMilliseconds, 1000}}) {
        // clang-format on
        SYSTEMTIME wrong = right;
        wrong.*field = value;
        EXPECT_FALSE(SystemTimeToFileTime(wrong, fileTime)) << value;
    }
    EXPECT_FALSE(SystemTimeToFileTime({1900, 2, 0, 29, 0, 0, 0, 0}, fileTime));
    EXPECT_EQ(fileTime, 5u);
    EXPECT_TRUE(SystemTimeToFileTime(right, fileTime));
}

TEST(SystemClock, LocalTimeChangesWithDaylightSaving) {
    // clang-format off
    for (const auto& [zone, at, before, after] : std::initializer_list<std::tuple<int, Instant, int, int>>{
             {0, sys_days(2026y / March / 29) + 1h, 60, 120}, {0, sys_days(2026y / October / 25) + 1h, 120, 60},
             {1, sys_days(2026y / March / 8) + 7h, -300, -240}, {2, sys_days(2026y / April / 4) + 14h, 780, 720},
             {3, sys_days(2026y / June / 1) + 0h, 345, 345}, {4, sys_days(2026y / March / 8) + 330min, -210, -150},
             {3, sys_days(1969y / July / 1) + 7h, 345, 345}}) {
        // clang-format on
        SetTimeZone(zones[zone]);
        EXPECT_EQ(MinutesFromUtc(at - 1ms), before) << zones[zone];
        EXPECT_EQ(MinutesFromUtc(at), after) << zones[zone];
        EXPECT_EQ(Milliseconds(SystemTimeAt(at - 1ms)), (at - 1ms).time_since_epoch().count());
    }
}

TEST(SystemClock, OperationsShowNow) {
    constexpr std::int64_t unixTimeOf2000 = 946'684'800'000;
    const auto now = [] { return floor<milliseconds>(system_clock::now()); };
    for (const char* zone : zones) {
        SetTimeZone(zone);
        Vel::Channel<double> utc, local;
        auto systemTime = Vel::OperationHandle::Create(false, "SystemTime", utc);
        auto localTime = Vel::OperationHandle::Create(false, "LocalTime", local);
        const Instant before = now();
        EXPECT_TRUE(systemTime.Execute() && localTime.Execute());
        const Instant after = now();
        const auto instant = [](double seconds) {
            return Instant(milliseconds(std::llround(seconds * 1000) + unixTimeOf2000));
        };
        EXPECT_TRUE(before <= instant(utc.Get()) && instant(utc.Get()) <= after);
        const Instant unzoned = instant(local.Get()) - minutes(MinutesFromUtc(before));
        EXPECT_TRUE(before <= unzoned && unzoned <= after) << zone;
    }
}

TEST(TickCount, CountsMilliseconds) {
    const auto begin = steady_clock::now();
    const std::uint32_t tick = GetTickCount();
    while (steady_clock::now() - begin < 5ms) {
    }
    EXPECT_GE(MillisecondsSince(tick), 4u);
    EXPECT_LE(milliseconds(MillisecondsSince(tick)), steady_clock::now() - begin + 1ms);
}

TEST(InputFile, ReadsOnWhenASignalInterrupts) {
    struct sigaction action {};
    action.sa_handler = [](int) {}; // and no SA_RESTART
    sigaction(SIGUSR1, &action, nullptr);
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe(ends.data()), 0);
    InputFile file(("/proc/self/fd/" + std::to_string(ends[0])).c_str());
    std::jthread writer([&ends, reader = pthread_self()] {
        for (int signal = 0; signal < 3; ++signal) {
            std::this_thread::sleep_for(10ms);
            pthread_kill(reader, SIGUSR1);
        }
        EXPECT_EQ(write(ends[1], "gear", 4), 4);
    });
    std::array<char, 80> piece{};
    EXPECT_EQ(file.Read(piece), std::size_t{4});
    close(ends[0]);
    close(ends[1]);
}

TEST(InputFile, IsClosedAtItsEndAndInProgramsThatTheProcessBecomes) {
    for (const int freed : {-1, 0}) { // 0 is a descriptor like others
        const int kept = freed == -1 ? -1 : dup(freed);
        if (freed != -1)
            close(freed);
        const auto openBefore = VelChecks::OpenDescriptors();
        {
            const InputFile file("/proc/self/exe"), missing("/nowhere"), directory("/");
            EXPECT_TRUE(file.IsOpen() && !missing.IsOpen() && directory.IsOpen());
            for (const int descriptor : VelChecks::OpenDescriptors())
                EXPECT_TRUE(openBefore.contains(descriptor) || (fcntl(descriptor, F_GETFD) & FD_CLOEXEC) != 0);
            EXPECT_EQ(VelChecks::OpenDescriptors().size(), openBefore.size() + 2);
        }
        EXPECT_EQ(VelChecks::OpenDescriptors(), openBefore);
        if (kept != -1) {
            dup2(kept, freed);
            close(kept);
        }
    }
}

/// From here on the process is killed by every system call but its exit.
bool ForbidSystemCalls() {
    sock_filter filter[]{BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
                         BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_exit_group, 0, 1),
                         BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
                         BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS)};
    const sock_fprog program{std::size(filter), filter};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

/// Fills the windows of every row, forbids system calls, and executes them all, clocks included. Does not return.
[[noreturn]] void ExecuteEveryRow(bool asksTheSystem) {
    VelChecks::SeededChoice seeded(3);
    const VelChecks::Choose choose = std::ref(seeded);
    std::deque<VelChecks::Subject> subjects;
    const auto execute = [&](int samples) {
        for (VelChecks::Subject& subject : subjects)
            for (int sample = 0; sample < samples; ++sample) {
                subject.ChooseOperands(choose);
                subject.Execute();
            }
    };
    for (const VelChecks::Row& row : VelChecks::AllRows())
        for (const bool noValueAware : {false, true})
            subjects.emplace_back(row, noValueAware).Initialize(ChooseParameters(row, choose));
    execute(1500);
    if (!ForbidSystemCalls())
        _exit(1);
    execute(500);
    if (asksTheSystem)
        getppid();
    _exit(0);
}

TEST(SystemCalls, ExecuteMakesNone) {
    if (VEL_SANITIZED)
        GTEST_SKIP() << "sanitizers call the system";
    for (const bool asksTheSystem : {false, true}) {
        const pid_t child = fork();
        if (child == 0)
            ExecuteEveryRow(asksTheSystem);
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(WIFEXITED(status) && WEXITSTATUS(status) == 0, !asksTheSystem);
        EXPECT_EQ(WIFSIGNALED(status) && WTERMSIG(status) == SIGSYS, asksTheSystem);
    }
}

} // namespace
