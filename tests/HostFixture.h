/// velreplay as its user runs it, in a folder of its own.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <sys/wait.h>

inline constexpr const char* dividePlan = R"(
[[inputs]]
name = "a"
type = "Float64"
[[inputs]]
name = "b"
type = "Float64"
[[channels]]
name = "z"
operation = "Divide"
type = "Float64"
operands = ["a", "b"]
)";

class HostTest : public testing::Test {
protected:
    void SetUp() override {
        std::string pattern = testing::TempDir() + "velreplayXXXXXX";
        folder = mkdtemp(pattern.data());
        std::filesystem::current_path(folder);
    }
    void TearDown() override {
        std::filesystem::current_path("/");
        std::filesystem::remove_all(folder);
    }

    static void Write(const char* file, const std::string& text) { std::ofstream(file, std::ios::binary) << text; }
    static std::string Read(const char* file) {
        std::ifstream stream(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    /// Runs a shell's command line with velreplay in $V; standard output and error go to the files out and err.
    static int Run(const std::string& commandLine) {
        const std::string whole = "V=" VEL_REPLAY "; (" + commandLine + ") >out 2>err";
        const int status = std::system(whole.c_str());
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    static std::string Replayed(const std::string& plan, const std::string& recording, const char* options = "") {
        Write("plan.toml", plan);
        Write("rec.csv", recording);
        return Run(std::string("$V -q plan.toml rec.csv ") + options) == 0 ? Read("out") : "failed: " + Read("err");
    }

    std::string folder;
};
