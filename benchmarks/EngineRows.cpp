/// The engine over many rows, for comparison with what hosts add to it:
///
///     engine_rows PLAN SAMPLES REPETITIONS
///
/// computes a plan over a file of Float64 samples, which all inputs get, in blocks. Prints the least processor time of
/// a run, in seconds.
#include "engine/Engine.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iostream>
#include <limits>
#include <vector>

namespace {

std::vector<double> ReadSamples(const char* name) {
    std::ifstream file(name, std::ios::binary | std::ios::ate);
    if (!file)
        throw Vel::Error(name, "cannot be read");
    std::vector<double> samples(static_cast<std::size_t>(file.tellg()) / sizeof(double));
    file.seekg(0);
    file.read(reinterpret_cast<char*>(samples.data()), // NOLINT(cppcoreguidelines-pro-type-reinterpret-cast): bytes
              static_cast<std::streamsize>(samples.size() * sizeof(double)));
    return samples;
}

double ProcessorTime(Vel::Engine::Run& run, const std::vector<double>& samples, std::size_t mostRows) {
    const std::clock_t start = std::clock();
    for (std::size_t row = 0; row < samples.size(); row += mostRows) {
        const std::vector<Vel::Column> columns(run.Inputs(), Vel::Column{&samples[row], sizeof(double)});
        run.Feed(columns, std::min(mostRows, samples.size() - row));
    }
    return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

} // namespace

int main(int count, char** arguments) {
    if (count != 4) {
        std::cerr << "usage: engine_rows PLAN SAMPLES REPETITIONS\n";
        return 2;
    }
    try {
        constexpr std::size_t mostRows = 8192;
        Vel::Engine::Run run(Vel::Engine::LoadPlan(arguments[1]), mostRows);
        const std::vector<double> samples = ReadSamples(arguments[2]);
        double least = std::numeric_limits<double>::max();
        for (int i = std::atoi(arguments[3]); i > 0; --i) // NOLINT(cert-err34-c): 0 is as good
            least = std::min(least, ProcessorTime(run, samples, mostRows));
        std::printf("%.6f\n", least);
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
