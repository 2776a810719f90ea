#include "VelOperation.hpp"
#include "checks/Descriptors.h"
#include "checks/Subject.h"
#include "platform/File.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <deque>
#include <functional>
#include <iterator>
#include <string>
#include <thread>
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

/// From here on, every system call but exit kills the process.
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
