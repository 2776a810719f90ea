// velreplay: replays a recording through a plan of computed channels.
#include "velreplay/Interruption.h"
#include "velreplay/Replay.h"
#include "vocabulary/Error.h"
#include "vocabulary/Help.h"
#include "vocabulary/Quote.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <exception>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr int failed = 1;
constexpr int interrupted = 130; // as shells say it: 128 and the number of SIGINT

/// A signal ends each call that waits, so that the run can end in good order.
void HandleSignals() {
    struct sigaction action {};
    action.sa_handler = &Velreplay::Interrupt;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    struct sigaction inherited {};
    if (sigaction(SIGHUP, nullptr, &inherited) == 0 && inherited.sa_handler != SIG_IGN) // as nohup wants it
        sigaction(SIGHUP, &action, nullptr);
    action.sa_handler = SIG_IGN;
    sigaction(SIGPIPE, &action, nullptr);
    sigaction(SIGXFSZ, &action, nullptr); // a file that may not grow fails its write
}

/// If a standard stream is closed, the next file that is opened gets its number, and messages would go into that file.
/// What stands in for the stream can only be read, so that writing to it fails, as it would without.
void OpenStandardStreams() {
    int file = 0;
    do
        file = open("/dev/null", O_RDONLY);
    while (file != -1 && file <= STDERR_FILENO);
    if (file != -1)
        close(file);
}

void Print(const std::string& text) {
    std::fputs(text.c_str(), stdout);
    if (std::fflush(stdout) != 0)
        throw Vel::Error("standard output", "cannot be written: " + Vel::ErrorText());
}

void ListOperations() {
    for (const Vel::Operation& operation : Vel::AllOperations())
        std::printf("%-26s %zu %-8s %s\n", std::string(operation.name).c_str(), operation.operands,
                    operation.operands == 1 ? "operand" : "operands", std::string(operation.summary).c_str());
    std::puts("\nvelreplay --operations NAME tells one operation's types and parameters.");
}

/// The operations whose name has this part, or is nearly this one.
std::string SimilarOperations(const std::string& name) {
    const auto isSameLetter = [](char a, char b) {
        return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
    };
    std::vector<std::string_view> similar;
    for (const Vel::Operation& operation : Vel::AllOperations())
        if (std::search(operation.name.begin(), operation.name.end(), name.begin(), name.end(), isSameLetter) !=
            operation.name.end())
            similar.push_back(operation.name);
    if (similar.empty() && !Vel::SimilarOperation(name).empty())
        similar.push_back(Vel::SimilarOperation(name));
    similar.erase(std::unique(similar.begin(), similar.end()), similar.end()); // one for each number of operands
    constexpr std::size_t mostNames = 12;
    std::string question;
    for (std::size_t i = 0; i < std::min(similar.size(), mostNames); ++i)
        question.append(i == 0 ? "did you mean " : ", ").append(similar[i]);
    return question.empty() ? question : question + (similar.size() > mostNames ? ", ...? " : "? ");
}

void DescribeOperation(const std::string& name) {
    const auto found = Vel::FindOperations(name);
    if (found.empty())
        throw Vel::Error("--operations", "unknown operation " + Vel::Quoted(name),
                         SimilarOperations(name) + "velreplay --operations lists all");
    for (const Vel::Operation* const operation : found)
        std::fputs(Vel::Describe(*operation).c_str(), stdout);
}

void TellOperations(const std::string& name) {
    if (name.empty())
        ListOperations();
    else
        DescribeOperation(name);
    Print("");
}

/// Reads NAME=VALUE texts. If a name comes twice, the last one counts.
Vel::Engine::ParametersByName Settings(const std::vector<std::string>& texts) {
    Vel::Engine::ParametersByName settings;
    for (const std::string& text : texts) {
        const std::size_t equals = text.find('=');
        if (equals == std::string::npos || equals == 0)
            throw Vel::Error("--set", "\"" + text + "\" is not a setting", "write, for example: --set corner=8");
        settings[text.substr(0, equals)] = Vel::Engine::ParseValue(text.substr(equals + 1), "--set " + text);
    }
    return settings;
}

/// Prints the plan with blocks in the place of formulas. Throws if no run can be made of it.
void Explain(const Velreplay::Options& options) {
    const Vel::Engine::Plan plan = Vel::Engine::LoadPlan(options.plan, options.settings);
    const Vel::Engine::Run run(plan, 1);
    Print(Vel::Engine::Explain(plan));
}

int ExitCode(Velreplay::Outcome outcome) {
    if (std::fflush(stdout) != 0)
        throw Vel::Error("standard output", "cannot be written: " + Vel::ErrorText());
    switch (outcome) {
    case Velreplay::Outcome::Done:
        return 0;
    case Velreplay::Outcome::HasWarnings:
        return failed;
    case Velreplay::Outcome::Interrupted:
        return interrupted;
    }
    return failed;
}

std::uint64_t RowNumber(const std::string& text) {
    std::uint64_t row = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), row);
    if (error != std::errc() || end != text.data() + text.size() || row == 0)
        throw Vel::Error("--trace", Vel::Quoted(text) + " is not a row number", "rows count from 1");
    return row;
}

/// Reads a size such as 20MB.
std::uint64_t Bytes(const std::string& text) {
    double number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const std::string_view unit(end, static_cast<std::size_t>(text.data() + text.size() - end));
    for (const auto& [name, bytes] : {std::pair("B", 1.0), {"kB", 1e3}, {"MB", 1e6}, {"GB", 1e9}})
        if (error == std::errc() && unit == name && number > 0 && number * bytes < 1e15)
            return static_cast<std::uint64_t>(number * bytes);
    throw Vel::Error("--page-size", Vel::Quoted(text) + " is not a size", "write, for example: --page-size 20MB");
}

void AddFormatOptions(CLI::App& app, Vel::Recordings::FormatOptions& format) {
    app.add_option("--separator", format.separator, "between cells: one character or the word tab (default: , )");
    const auto addFlag = [&app](const char* names, std::optional<bool>& flag, const char* what) {
        app.add_flag_function(
            names, [&flag](std::int64_t count) { flag = count > 0; }, what);
    };
    addFlag("--decimal-comma,!--decimal-point", format.decimal_comma,
            "numbers like 1,5; cells are separated by ; then");
    app.add_option("--thousands", format.thousands, "the character between groups of three digits: 1.517,5");
    app.add_option("--missing", format.missing, "a cell that means no sample, such as NULL; may be repeated")
        ->type_size(1)
        ->allow_extra_args(false);
    app.add_option("--skip", format.skip, "how many lines stand before the header");
    addFlag("--units-row,!--no-units-row", format.units_row, "the line below the header is a row of units");
    app.add_option("--on-bad-cell", format.on_bad_cell, "missing: a bad cell is no sample; error (default)");
    app.add_option("--on-no-value", format.on_no_value,
                   "missing: a cell that holds the NoValue of an integer type is no sample; error (default)");
}

int Run(int argc, char** argv) {
    Velreplay::Options options;
    std::string operation;
    std::vector<std::string> settings;
    bool isExplained = false;
    bool isChecked = false;
    std::pair<std::string, std::string> traced;
    CLI::App app("Replays a recording (CSV) through a plan (TOML) of computed channels.", "velreplay");
    app.set_version_flag("--version", "velreplay " VEL_VERSION);
    auto* const plan =
        app.add_option("PLAN", options.plan, "TOML: inputs, computed channels, parameters, panels; see velreplay(1)");
    app.add_option("RECORDING", options.recordings,
                   "CSV with a header of channel names, in several files if wanted; - (default): standard input")
        ->expected(0, -1);
    auto* const result =
        app.add_option("-o,--output", options.result, "where the result goes; - (default): standard output");
    auto* const picture = app.add_option("--plot", options.picture, "draws the plan's panels into a .svg or .png file");
    auto* const page = app.add_option(
        "--page", options.page, "writes a page to look at in a browser: an .html file with all that it needs inside");
    std::string pageSize;
    app.add_option("--page-size", pageSize, "how large the page may become (default: 20MB); more shows finer steps");
    app.add_option("--from", options.from,
                   "where picture and page begin on their axis: a number, or a time as in the recording");
    app.add_option("--to", options.to, "where they end");
    app.add_option("--set", settings, "NAME=VALUE: another value for a setting of the plan")
        ->type_size(1)
        ->allow_extra_args(false);
    app.add_flag("--explain", isExplained,
                 "prints the plan with blocks in the place of formulas, and computes nothing");
    AddFormatOptions(app, options.format);
    app.add_flag("--status", options.withStatus,
                 "adds a column for each computation: computed, no value, refused or held");
    app.add_flag("-q,--quiet", options.isQuiet, "no summary");
    app.add_flag("--strict", options.isStrict, "ends with 1 if there are warnings; the result is kept");
    app.add_flag("--check", isChecked, "says whether the plan is right, and computes nothing");
    auto* const trace =
        app.add_option("--trace", traced, "shows how the channel came to its sample in this row, counted from 1")
            ->type_name("ROW CHANNEL");
    auto* const operations =
        app.add_option("--operations", operation, "lists the operations, or tells all about one of them")
            ->expected(0, 1);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& request) { // a call for help is one too
        return app.exit(request) == 0 ? 0 : failed;
    }
    if (*operations) {
        TellOperations(operation);
        return 0;
    }
    if (!*plan)
        throw Vel::Error("velreplay", "no plan is given", "velreplay --help lists the arguments");
    options.settings = Settings(settings);
    for (const std::string& setting : settings)
        options.settingsText += (options.settingsText.empty() ? "" : ", ") + setting;
    if (isExplained) {
        Explain(options);
        return 0;
    }
    if (std::count(options.recordings.begin(), options.recordings.end(), "-") > 1)
        throw Vel::Error("velreplay", "standard input is named twice", "name it once");
    if (*result && options.result.empty())
        throw Vel::Error("--output", "the name is empty", "name a file, or - for standard output");
    if (*picture && options.picture.empty())
        throw Vel::Error("--plot", "the name is empty", "name a .svg or .png file");
    if (*page && options.page.empty())
        throw Vel::Error("--page", "the name is empty", "name an .html file");
    if (!pageSize.empty() && !*page)
        throw Vel::Error("--page-size", "there is no page", "add --page, or leave --page-size out");
    if (!pageSize.empty())
        options.pageBytes = Bytes(pageSize);
    if (!*picture && !*page && !(options.from.empty() && options.to.empty()))
        throw Vel::Error("--from", "there is no picture", "add --plot or --page, or leave --from and --to out");
    if (isChecked)
        return ExitCode(Velreplay::Check(options));
    if (*trace) {
        options.tracedRow = RowNumber(traced.first);
        options.tracedChannel = traced.second;
        return ExitCode(Velreplay::Trace(options));
    }
    return ExitCode(Velreplay::Replay(options));
}

} // namespace

int main(int argc, char** argv) {
    OpenStandardStreams();
    HandleSignals();
    try {
        return Run(argc, argv);
    } catch (const std::bad_alloc&) {
        std::fputs("velreplay: out of memory\n  choose shorter windows, or fewer channels\n", stderr);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "%s\n", failure.what());
    }
    return failed;
}
