#include "velreplay/Summary.h"

#include "vocabulary/Quote.h"

#include <algorithm>
#include <cstdio>

namespace Velreplay {

using namespace Vel::Engine;

std::vector<std::size_t> OuterComputations(const Run& run) {
    std::vector<std::size_t> outer;
    for (std::size_t i = 0; i < run.Computations(); ++i)
        if (!run.IsInner(run.ResultsOf(i).first))
            outer.push_back(i);
    return outer;
}

void Summarize(const Run& run, std::uint64_t rows, double seconds) {
    std::size_t others = 0;
    for (std::size_t channel = run.Inputs(); channel < run.Channels().size(); ++channel)
        if (!run.IsInner(channel))
            ++others;
    std::fprintf(stderr, "%llu rows, %zu input and %zu other channels, %.2f s, %.0f rows/s\n",
                 static_cast<unsigned long long>(rows), run.Inputs(), others, seconds,
                 static_cast<double>(rows) / (seconds > 0 ? seconds : 1));
    const std::vector<std::size_t> outer = OuterComputations(run);
    const bool isAnyHeld =
        std::any_of(outer.begin(), outer.end(), [&run](std::size_t i) { return run.TotalsOf(i).back() != 0; });
    const std::size_t columns = Vel::statusTexts.size() - (isAnyHeld ? 0 : 1);
    std::fprintf(stderr, "%-32s", "");
    for (std::size_t status = 0; status < columns; ++status)
        std::fprintf(stderr, " %12s", Vel::statusTexts[status].data());
    for (const std::size_t i : outer) {
        std::fprintf(stderr, "\n%-32s", run.Channels()[run.ResultsOf(i).first].name.c_str());
        for (std::size_t status = 0; status < columns; ++status)
            std::fprintf(stderr, " %12llu", static_cast<unsigned long long>(run.TotalsOf(i)[status]));
    }
    std::fputc('\n', stderr);
}

std::vector<Warning> WarningsOf(const Run& run, const Vel::Recordings::CsvReader& recording) {
    std::vector<Warning> warnings = run.Warnings();
    for (std::size_t input = 0; input < run.Inputs(); ++input)
        if (const auto cells = recording.NoValueCellsOf(input); cells.count != 0) {
            const Channel& channel = run.Channels()[input];
            const std::string noValue = std::visit([](auto value) { return std::to_string(value); }, channel.noValue);
            warnings.push_back({channel.name, "cells that hold " + noValue + ", its NoValue, count as missing",
                                cells.firstRow, cells.count});
        }
    return warnings;
}

void Show(const std::vector<Warning>& warnings, const Vel::Recordings::CsvReader::BadCells& badCells) {
    for (const Warning& warning : warnings) {
        std::fprintf(stderr, "warning: channel %s: %s", Vel::Quoted(warning.channel).c_str(), warning.what.c_str());
        if (warning.rows != 0)
            std::fprintf(stderr, " (first in row %llu; %llu in all)", static_cast<unsigned long long>(warning.firstRow),
                         static_cast<unsigned long long>(warning.rows));
        std::fputc('\n', stderr);
    }
    if (badCells.count != 0)
        std::fprintf(stderr, "warning: bad cells count as missing (%llu in all)\n",
                     static_cast<unsigned long long>(badCells.count));
    for (const std::string& cell : badCells.first)
        std::fprintf(stderr, "    %s\n", cell.c_str());
    if (badCells.count > badCells.first.size())
        std::fputs("    ...\n", stderr);
}

} // namespace Velreplay
