/// The time that the engine takes for a plan over columns in memory, for comparison with other hosts:
///
///     replay_columns PLAN COLUMNS ROWS RUNS
///
/// COLUMNS is a file with the samples of each input of the plan, one column behind another. Prints the least processor
/// time of a run in seconds: first with results that stay in the memory of a block, then with results that are stored
/// as a whole.
#include "engine/Engine.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <limits>
#include <string>
#include <vector>

using namespace Vel;

namespace {

constexpr std::size_t blockRows = 4096;

double Time(const Engine::Plan& plan, const std::vector<Column>& columns, std::size_t rows, bool isStored) {
    Engine::Run run(plan, blockRows);
    std::vector<std::size_t> made;
    for (const std::size_t channel : run.Output())
        if (run.Makes(channel))
            made.push_back(channel);
    std::vector<std::vector<std::byte>> results(isStored ? made.size() : 0);
    const std::clock_t start = std::clock();
    for (std::size_t i = 0; i < results.size(); ++i)
        results[i].resize(rows * run.Channels()[made[i]].Type().size);
    std::vector<Column> block = columns;
    for (std::size_t row = 0; row < rows; row += blockRows) {
        for (std::size_t i = 0; i < columns.size(); ++i)
            block[i].first = columns[i].AddressAt(row);
        for (std::size_t i = 0; i < results.size(); ++i)
            run.PutInto(made[i], results[i].data() + row * run.Channels()[made[i]].Type().size);
        run.Feed(block, std::min(blockRows, rows - row));
    }
    return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        std::fputs("usage: replay_columns PLAN COLUMNS ROWS RUNS\n", stderr);
        return 1;
    }
    const Engine::Plan plan = Engine::LoadPlan(argv[1]);
    const std::size_t rows = std::strtoull(argv[3], nullptr, 10);
    std::ifstream file(argv[2], std::ios::binary);
    std::vector<std::vector<char>> samples;
    std::vector<Column> columns;
    for (const Engine::InputPlan& input : plan.inputs) {
        const std::size_t size = input.channel.Type().size;
        samples.emplace_back(rows * size);
        file.read(samples.back().data(), static_cast<std::streamsize>(samples.back().size()));
        columns.push_back({samples.back().data(), static_cast<std::ptrdiff_t>(size)});
    }
    if (!file) {
        std::fprintf(stderr, "%s: there are fewer samples than the plan's inputs have\n", argv[2]);
        return 1;
    }
    for (const bool isStored : {false, true}) {
        double least = std::numeric_limits<double>::max();
        for (int run = std::atoi(argv[4]); run > 0; --run)
            least = std::min(least, Time(plan, columns, rows, isStored));
        std::printf("%.6f\n", least);
    }
}
