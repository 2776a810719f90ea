/// The shared library in a host: loaded, unloaded and loaded again in a process that has its own allocator and
/// functions of the same names.

#include "VelOperation.h"

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <array>
#include <cfenv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <set>
#include <sstream>
#include <string>

namespace {

int ownCalls = 0;
bool allocationFails = false;

} // namespace

// The process's own functions. Symbol look-up finds them before the library's.
VelHandle Create(bool, const char*, const char*, ...) { return ++ownCalls, nullptr; }
bool Reset(VelHandle) { return ++ownCalls, false; }
bool Execute(VelHandle) { return ++ownCalls, false; }

void* operator new(std::size_t size) {
    void* const memory = allocationFails ? nullptr : std::malloc(size);
    if (memory == nullptr)
        throw std::bad_alloc();
    return memory;
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace {

const char* const libraryPath = VEL_LIBRARY_PATH;

std::string OutputOf(const std::string& command) {
    std::string output;
    FILE* const pipe = popen(command.c_str(), "r");
    std::array<char, 256> buffer{};
    while (pipe != nullptr && std::fgets(buffer.data(), buffer.size(), pipe) != nullptr)
        output += buffer.data();
    EXPECT_EQ(pclose(pipe), 0) << command;
    return output;
}

template <class TFunction>
TFunction* Symbol(void* library, const char* name) {
    return reinterpret_cast<TFunction*>(dlsym(library, name));
}

bool IsLoaded() {
    void* const library = dlopen(libraryPath, RTLD_NOW | RTLD_NOLOAD);
    if (library != nullptr)
        dlclose(library);
    return library != nullptr;
}

TEST(Library, ExportsNineFunctionsAndNothingElse) {
    std::istringstream lines(OutputOf(std::string("nm --dynamic --defined-only ") + libraryPath));
    std::set<std::string> exports;
    for (std::string address, kind, name; lines >> address >> kind >> name;) {
        EXPECT_EQ(kind, "T") << name;
        exports.insert(name);
    }
    EXPECT_EQ(exports, (std::set<std::string>{"GetDLLVersion", "GetDLLBuildNumber", "SetMessageCallback", "Create",
                                              "Initialize", "Execute", "Reset", "Terminate", "Dispose"}));
}

TEST(Library, NeedsTheRuntimesOnly) {
    std::istringstream lines(OutputOf(std::string("readelf --dynamic --wide ") + libraryPath));
    for (std::string line; std::getline(lines, line);) {
        if (line.find("(SONAME)") != std::string::npos) {
            EXPECT_NE(line.find("[libVelOperation.so.1]"), std::string::npos) << line;
        }
        if (line.find("(NEEDED)") == std::string::npos)
            continue;
        bool isRuntime = VEL_SANITIZED;
        for (const char* runtime : {"libstdc++.so", "libm.so", "libgcc_s.so", "libc.so", "ld-linux"})
            isRuntime = isRuntime || line.find(runtime) != std::string::npos;
        EXPECT_TRUE(isRuntime) << line;
    }
}

TEST(Library, LoadsComputesAndUnloadsAgainAndAgain) {
    for (int round = 0; round < 3; ++round) {
        std::fenv_t before, after;
        std::memset(&before, 0, sizeof before);
        std::memset(&after, 0, sizeof after);
        ASSERT_EQ(std::fegetenv(&before), 0);
        void* const library = dlopen(libraryPath, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(library, nullptr) << dlerror();
        ASSERT_EQ(std::fegetenv(&after), 0);
        EXPECT_EQ(std::memcmp(&before, &after, sizeof before), 0);

        EXPECT_STREQ(Symbol<decltype(GetDLLBuildNumber)>(library, "GetDLLBuildNumber")(), "Beta Build 26227");
        EXPECT_EQ(Symbol<decltype(GetDLLVersion)>(library, "GetDLLVersion")(), VEL_OPERATION_VERSION);

        std::uint8_t a = 255, b = 255, sum = 0;
        std::uint8_t *currentA = &a, *currentB = &b, *currentSum = &sum;
        const auto create = Symbol<VelHandle(bool, const char*, const char*, ...)>(library, "Create");
        VelHandle const plus = create(true, "Plus", "BBB", &currentSum, &currentA, &currentB);
        ASSERT_NE(plus, nullptr);
        a = 40;
        b = 2;
        EXPECT_TRUE(Symbol<bool(VelHandle)>(library, "Execute")(plus));
        EXPECT_EQ(sum, 42);
        EXPECT_TRUE(Symbol<bool(VelHandle)>(library, "Reset")(plus));
        EXPECT_TRUE(Symbol<bool(VelHandle)>(library, "Dispose")(plus));

        allocationFails = true;
        EXPECT_THROW(create(true, "Plus", "BBB", &currentSum, &currentA, &currentB), std::bad_alloc);
        allocationFails = false;

        EXPECT_EQ(dlclose(library), 0);
        EXPECT_EQ(IsLoaded(), false);
    }
    EXPECT_EQ(ownCalls, 0);
}

} // namespace
