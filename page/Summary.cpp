#include "page/Summary.h"

#include "vocabulary/Quote.h"

#include <absl/strings/str_format.h>

#include <algorithm>

namespace Vel::Page {

using Engine::Run, Engine::Warning;

std::vector<std::size_t> OuterComputations(const Run& run) {
    std::vector<std::size_t> outer;
    for (std::size_t i = 0; i < run.Computations(); ++i)
        if (!run.IsInner(run.ResultsOf(i).first))
            outer.push_back(i);
    return outer;
}

std::string SummaryText(const Run& run, std::uint64_t rows, std::optional<double> seconds) {
    std::size_t others = 0;
    for (std::size_t channel = run.Inputs(); channel < run.Channels().size(); ++channel)
        if (!run.IsInner(channel))
            ++others;
    std::string text = absl::StrFormat("%u rows, %u input and %u other channels", rows, run.Inputs(), others);
    if (seconds)
        absl::StrAppendFormat(&text, ", %.2f s, %.0f rows/s", *seconds,
                              static_cast<double>(rows) / (*seconds > 0 ? *seconds : 1));
    const std::vector<std::size_t> outer = OuterComputations(run);
    const bool isAnyHeld =
        std::any_of(outer.begin(), outer.end(), [&run](std::size_t i) { return run.TotalsOf(i).back() != 0; });
    const std::size_t columns = statusTexts.size() - (isAnyHeld ? 0 : 1);
    absl::StrAppendFormat(&text, "\n%-32s", "");
    for (std::size_t status = 0; status < columns; ++status)
        absl::StrAppendFormat(&text, " %12s", statusTexts[status]);
    for (const std::size_t i : outer) {
        absl::StrAppendFormat(&text, "\n%-32s", run.Channels()[run.ResultsOf(i).first].name);
        for (std::size_t status = 0; status < columns; ++status)
            absl::StrAppendFormat(&text, " %12u", run.TotalsOf(i)[status]);
    }
    return text + "\n";
}

std::vector<Warning> WarningsOf(const Run& run, const Recordings::CsvReader& recording) {
    std::vector<Warning> warnings = run.Warnings();
    for (std::size_t input = 0; input < run.Inputs(); ++input)
        if (const auto cells = recording.NoValueCellsOf(input); cells.count != 0) {
            const ChannelType& channel = run.Channels()[input];
            const std::string noValue = std::visit([](auto value) { return std::to_string(value); }, channel.noValue);
            warnings.push_back({channel.name, "cells that hold " + noValue + ", its NoValue, count as missing",
                                cells.firstRow, cells.count});
        }
    return warnings;
}

std::string WarningsText(const std::vector<Warning>& warnings, const Recordings::CsvReader::BadCells& badCells) {
    std::string text;
    for (const Warning& warning : warnings) {
        absl::StrAppendFormat(&text, "warning: channel %s: %s", Quoted(warning.channel), warning.what);
        if (warning.rows != 0)
            absl::StrAppendFormat(&text, " (first in row %u; %u in all)", warning.firstRow, warning.rows);
        text += '\n';
    }
    if (badCells.count != 0)
        absl::StrAppendFormat(&text, "warning: bad cells count as missing (%u in all)\n", badCells.count);
    for (const std::string& cell : badCells.first)
        text += "    " + cell + "\n";
    if (badCells.count > badCells.first.size())
        text += "    ...\n";
    return text;
}

} // namespace Vel::Page
