// velreplay: replays a recording through a plan of computed channels.
#include "velreplay/Interruption.h"
#include "velreplay/Replay.h"
#include "vocabulary/Error.h"
#include "vocabulary/Help.h"

#include <CLI/CLI.hpp>

#include <csignal>
#include <cstdio>
#include <exception>
#include <new>
#include <string>
#include <string_view>

#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr int failed = 1;
constexpr int interrupted = 130; // as shells say it: 128 and the number of SIGINT

/// The calls that wait return when a signal comes, so that the run can end in good order.
void HandleSignals() {
    struct sigaction action {};
    action.sa_handler = &Velreplay::Interrupt;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    action.sa_handler = SIG_IGN;
    sigaction(SIGPIPE, &action, nullptr);
    sigaction(SIGXFSZ, &action, nullptr); // a file that may not grow fails its write
}

/// Without one of the standard streams a file would get its number, and what is said would be written into it. Writing
/// to what stands in fails, as it would without.
void OpenStandardStreams() {
    int file = 0;
    do
        file = open("/dev/null", O_RDONLY);
    while (file != -1 && file <= STDERR_FILENO);
    if (file != -1)
        close(file);
}

void ListOperations() {
    for (const Vel::Operation& operation : Vel::AllOperations())
        std::printf("%-26s %zu %-8s %s\n", std::string(operation.name).c_str(), operation.operands,
                    operation.operands == 1 ? "operand" : "operands", std::string(operation.summary).c_str());
    std::puts("\nvelreplay --operations NAME tells one operation's types and parameters.");
}

void DescribeOperation(const std::string& name) {
    const auto found = Vel::FindOperations(name);
    if (found.empty())
        throw Vel::Error("--operations", "unknown operation \"" + name + "\"", "velreplay --operations lists all");
    for (const Vel::Operation* const operation : found)
        std::fputs(Vel::Describe(*operation).c_str(), stdout);
}

void TellOperations(const std::string& name) {
    if (name.empty())
        ListOperations();
    else
        DescribeOperation(name);
    if (std::fflush(stdout) != 0)
        throw Vel::Error("standard output", "cannot be written: " + Vel::ErrorText());
}

char Separator(const std::string& text, bool decimalComma) {
    if (text == "tab" || text == "\\t")
        return '\t';
    if (text.empty())
        return decimalComma ? ';' : ',';
    const char separator = text[0];
    constexpr std::string_view inNumbers = "0123456789+-.";
    if (text.size() != 1 || inNumbers.find(separator) != std::string_view::npos || separator == '"' ||
        separator == '\n' || separator == '\r' || (decimalComma && separator == ','))
        throw Vel::Error("--separator", "\"" + text + "\" cannot separate cells",
                         "give one character, such as ; or the word tab");
    return separator;
}

int Run(int argc, char** argv) {
    Velreplay::Options options;
    std::string separator;
    std::string operation;
    CLI::App app("Replays a recording (CSV) through a plan (TOML) of computed channels.", "velreplay");
    app.set_version_flag("--version", "velreplay " VEL_VERSION);
    auto* const plan = app.add_option("PLAN", options.plan, "TOML: inputs, computed channels, parameters, panels");
    app.add_option("RECORDING", options.recording, "CSV with a header of channel names; - (default): standard input");
    app.add_option("-o,--output", options.result, "where the result goes; - (default): standard output");
    app.add_option("--plot", options.picture, "draws the plan's panels into a .svg or .png file");
    app.add_option("--separator", separator, "between cells: one character or the word tab (default: , )");
    app.add_flag("--decimal-comma", options.format.decimalComma, "numbers like 1,5; cells are separated by ; then");
    app.add_flag("--status", options.withStatus, "adds a column for each computation: computed, no value, refused");
    app.add_flag("-q,--quiet", options.isQuiet, "no summary");
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
        throw Vel::Error("velreplay", "no plan is given", "velreplay --help tells the arguments");
    options.format.separator = Separator(separator, options.format.decimalComma);
    return Velreplay::Replay(options) ? 0 : interrupted;
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
