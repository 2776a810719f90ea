// The documentation: links have targets, code comes from the examples, and velreplay behaves as the pages say. The
// reference of operations is compared with the vocabulary, and its examples are run.
#include "checks/Subject.h"
#include "engine/Parameters.h"
#include "recordings/Numbers.h"
#include "vocabulary/Help.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>
#include <regex>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace {

namespace fs = std::filesystem;
using namespace VelChecks;
using Vel::Operation;

const fs::path source = VEL_SOURCE;

/// A folder that exists during a test.
struct TemporaryFolder {
    TemporaryFolder() {
        std::string pattern = testing::TempDir() + "pagesXXXXXX";
        path = mkdtemp(pattern.data());
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder() { fs::remove_all(path); }

    fs::path path;
};

std::string Read(const fs::path& file) {
    std::ifstream stream(file);
    EXPECT_TRUE(stream) << file;
    return {std::istreambuf_iterator<char>(stream), {}};
}

std::vector<fs::path> Pages() {
    std::vector<fs::path> pages{source / "README.md", source / "benchmarks/README.md"};
    for (const fs::directory_entry& entry : fs::directory_iterator(source / "docs"))
        if (entry.path().extension() == ".md")
            pages.push_back(entry.path());
    return pages;
}

/// The fenced blocks of a page: language and text.
std::vector<std::pair<std::string, std::string>> Fences(const fs::path& page) {
    std::vector<std::pair<std::string, std::string>> fences;
    std::ifstream file(page);
    bool isInside = false;
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("```")) {
            isInside = !isInside;
            if (isInside)
                fences.emplace_back(line.substr(3), "");
        } else if (isInside) {
            fences.back().second += line + "\n";
        }
    }
    EXPECT_FALSE(isInside) << page;
    return fences;
}

/// The fenced blocks of a page in one language.
std::vector<std::string> Blocks(const fs::path& page, const std::string& language) {
    std::vector<std::string> blocks;
    for (const auto& [name, text] : Fences(page))
        if (name == language)
            blocks.push_back(text);
    return blocks;
}

std::string WithoutIndent(const std::string& code) { return std::regex_replace("\n" + code, std::regex("\n +"), "\n"); }

/// The anchor that GitHub gives a heading.
std::string Anchor(const std::string& heading) {
    std::string anchor = "#";
    for (const char character : heading)
        if (std::isalnum(static_cast<unsigned char>(character)) != 0 || character == '-' || character == '_')
            anchor += static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
        else if (character == ' ')
            anchor += '-';
    return anchor;
}

/// The anchors of a page's headings, which must differ.
std::set<std::string> Anchors(const fs::path& page) {
    std::set<std::string> anchors;
    const std::string text = Read(page);
    const std::regex heading("(?:^|\n)#+ (.*)");
    for (std::sregex_iterator found(text.begin(), text.end(), heading), end; found != end; ++found)
        EXPECT_TRUE(anchors.insert(Anchor((*found)[1])).second) << page << found->str();
    return anchors;
}

TEST(Documentation, LinksLeadSomewhere) {
    const std::regex link("\\]\\(([^)#]*)(#[^)]*)?\\)");
    std::map<fs::path, std::set<std::string>> anchors;
    for (const fs::path& page : Pages()) {
        const std::string text = std::regex_replace(Read(page), std::regex("\n    [^\n]*"), ""); // without code
        for (std::sregex_iterator found(text.begin(), text.end(), link), end; found != end; ++found) {
            const std::string file = (*found)[1];
            if (file.starts_with("http"))
                continue;
            const fs::path target = file.empty() ? page : page.parent_path() / file;
            EXPECT_TRUE(fs::exists(target)) << page << ": " << found->str();
            if (!(*found)[2].matched)
                continue;
            if (!anchors.contains(target))
                anchors[target] = Anchors(target);
            EXPECT_TRUE(anchors[target].contains((*found)[2])) << page << ": " << found->str();
        }
    }
}

TEST(Documentation, ShowsCodeOfTheExamples) {
    std::string examples;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(source / "examples"))
        if (entry.is_regular_file())
            examples += WithoutIndent(Read(entry.path()));
    for (const std::string& block : Blocks(source / "docs/ecg.md", "toml"))
        EXPECT_NE(examples.find(WithoutIndent(block)), std::string::npos) << block;
    for (const fs::path& page : Pages())
        for (const std::string language : {"c", "cpp"})
            for (const std::string& block : Blocks(page, language))
                EXPECT_NE(examples.find(WithoutIndent(block)), std::string::npos) << page << '\n' << block;

    const TemporaryFolder folder;
    const fs::path output = folder.path / "output.txt";
    std::vector<std::string> outputs;
    for (const std::string host : {"first.c", "columns.c"}) {
        ASSERT_EQ(std::system(("'" VEL_HOSTS "/hosting-" + host + "' >'" + output.string() + "'").c_str()), 0);
        outputs.push_back(Read(output));
    }
    EXPECT_EQ(Blocks(source / "docs/hosting.md", "text"), outputs);
}

/// Runs velreplay on a page's plans, recordings and results. A page that begins with a recording uses it throughout.
class PageRun {
public:
    /// A plan without inputs is a part, which is added to the plan before it.
    void TakePlan(const std::string& text) {
        keepsRecording = keepsRecording || (plan.empty() && hasRecording);
        const bool isPart = text.find("[[inputs]]") == std::string::npos;
        plan = isPart ? plan + text : text;
        std::ofstream(folder.path / "plan.toml") << plan;
        isLoaded = Run("--explain plan.toml >blocks.toml 2>out");
        if (!isLoaded)
            return;
        EXPECT_TRUE(Run("--explain blocks.toml | diff <(grep -v '^#' blocks.toml) - >out")) << Output();
        if (isPart && !keepsRecording) {
            EXPECT_TRUE(Run("-q plan.toml recording.csv -o result.csv --plot picture.svg 2>out")) << Output();
        }
    }
    /// First a recording, then its result.
    void TakeTable(const std::string& text) {
        if (std::exchange(hasRecording, keepsRecording || !hasRecording)) {
            for (const std::string of : {"plan.toml", "blocks.toml"}) {
                EXPECT_TRUE(Run("-q " + of + " recording.csv >out 2>&1"));
                EXPECT_EQ(Output(), text);
            }
        } else {
            std::ofstream(folder.path / "recording.csv") << text;
        }
    }
    void TakeMessage(const std::string& text) {
        EXPECT_FALSE(isLoaded);
        EXPECT_EQ(Output(), text);
        isLoaded = true;
    }
    /// False after a plan that velreplay refuses; its message must follow.
    bool IsLoaded() const { return isLoaded; }
    std::string Output() const { return Read(folder.path / "out"); }

private:
    bool Run(const std::string& arguments) const {
        std::ofstream(folder.path / "run") << "cd '" << folder.path.string() << "'\n'" VEL_REPLAY "' " << arguments;
        return std::system(("bash '" + (folder.path / "run").string() + "'").c_str()) == 0;
    }

    TemporaryFolder folder;
    std::string plan;
    bool isLoaded = true;
    bool hasRecording = false;
    bool keepsRecording = false; ///< while results of it follow
};

TEST(Documentation, ShowsWhatVelreplayDoes) {
    for (const char* const page : {"README.md", "docs/velreplay.md", "docs/plans.md", "docs/days.md"}) {
        PageRun run;
        for (const auto& [language, text] : Fences(source / page)) {
            if (language == "text") {
                run.TakeMessage(text);
                continue;
            }
            EXPECT_TRUE(run.IsLoaded()) << page << ": " << run.Output();
            if (language == "toml")
                run.TakePlan(text);
            if (language == "csv")
                run.TakeTable(text);
        }
        EXPECT_TRUE(run.IsLoaded()) << page << ": " << run.Output();
    }
}

/// A picture's recording is also its plan's result.
TEST(Documentation, HasPicturesOfWhatVelreplayDoes) {
    const fs::path folder = source / "docs/pictures";
    const std::string page = Read(source / "docs/operations.md"), sums = Read(folder / "drawn.sha256");
    const TemporaryFolder results;
    int count = 0;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        if (entry.path().extension() != ".toml")
            continue;
        const std::string name = entry.path().stem(), result = results.path / (name + ".csv");
        const std::string run = "cd '" + folder.string() + "' && '" VEL_REPLAY "' -q " + name + ".toml " + name +
                                ".csv -o '" + result + "'";
        EXPECT_EQ(std::system(run.c_str()), 0) << name;
        EXPECT_EQ(Read(result), Read(folder / (name + ".csv"))) << name << " is out of date: make pictures";
        EXPECT_NE(page.find("(pictures/" + name + ".png)"), std::string::npos) << "no page shows " << name;
        ++count;
    }
    EXPECT_EQ(std::ranges::count(sums, '\n'), 3 * count + 9) << "a file came or went: make pictures";
    const std::string check = "cd '" + source.string() + "' && sha256sum --check --quiet docs/pictures/drawn.sha256";
    EXPECT_EQ(std::system(check.c_str()), 0)
        << "a plan or a result has changed since its picture was drawn: make pictures";
}

std::vector<std::string> Split(const std::string& text, const std::string& separator) {
    std::vector<std::string> parts;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.size(), text.find(separator, begin));
        parts.push_back(text.substr(begin, end - begin));
        begin = end + separator.size();
    }
    return parts;
}

/// The cells of one table column, written as "1 - 3"; "-" is an empty cell.
std::vector<std::string> Cells(const std::string& text) {
    std::vector<std::string> cells = Split(text, " ");
    std::replace(cells.begin(), cells.end(), std::string("-"), std::string());
    return cells;
}

TEST(Documentation, SolvesTasksAsItSays) {
    const std::string page = Read(source / "docs/operations.md");
    const std::size_t begin = page.find("\n## By task");
    const std::string tasks = page.substr(begin, page.find("\n## ", begin + 1) - begin);
    const std::regex task("```toml\n([^`]*)```\n\n((?:.|\n)*? gives `(\\w+)` =([-.\\s0-9]*)\\.(?:\\s|$))");
    std::ptrdiff_t count = 0;
    for (std::sregex_iterator found(tasks.begin(), tasks.end(), task), end; found != end; ++found, ++count) {
        std::string plan = "[plan]\nsample_period = 1\noutput = [\"" + (*found)[3].str() +
                           "\"]\n[[inputs]]\nname = \"t\"\ntype = \"Float64\"\n";
        std::vector<std::string> lines{"t"};
        const std::string said = std::regex_replace((*found)[2].str(), std::regex("\\s+"), " ");
        const std::regex column("`(\\w+)` = ([-. 0-9]*[-0-9])");
        std::vector<std::string> results;
        for (std::sregex_iterator input(said.begin(), said.end(), column); input != end; ++input) {
            const std::string name = (*input)[1];
            const std::vector<std::string> cells = Cells((*input)[2]);
            if (name == (*found)[3]) {
                results = cells;
                continue;
            }
            plan += "[[inputs]]\nname = \"" + name + "\"\ntype = \"" +
                    (name == "v" || name == "w" ? "Float64" : "UInt16") + "\"\n";
            lines.resize(cells.size() + 1);
            lines[0] += "," + name;
            for (std::size_t i = 0; i < cells.size(); ++i)
                lines[i + 1] += (lines[i + 1].empty() ? std::to_string(i) : "") + "," + cells[i];
        }
        PageRun run;
        run.TakePlan(plan + "[compute]\n" + (*found)[1].str());
        EXPECT_TRUE(run.IsLoaded()) << run.Output();
        std::string recording, result = (*found)[3].str() + "\n";
        for (const std::string& line : lines)
            recording += line + "\n";
        for (const std::string& cell : results)
            result += (cell.empty() ? "\"\"" : cell) + "\n"; // an empty line would not be a row
        run.TakeTable(recording);
        run.TakeTable(result);
    }
    EXPECT_EQ(count, std::ssize(Split(tasks, "```toml")) - 1);
}

/// NoValue-aware operations that return true but write nothing: a mark in the result before the last sample remains.
std::set<std::string_view> OperationsThatKeepTheirValue() {
    std::set<std::string_view> names;
    SeededChoice choice(1);
    for (const Row& row : AllRows())
        for (int life = 0; life < 60; ++life) {
            SeededChoice same = choice; // a gear table can be read only once
            Subject subject(row, true), other(row, true);
            EXPECT_TRUE(subject.Initialize(ChooseParameters(row, std::ref(choice))));
            EXPECT_TRUE(other.Initialize(ChooseParameters(row, std::ref(same))));
            bool haveAnswered = true;
            SampleBits before = 0;
            const char letter = row.signature[0]; // no sum can equal a signalling NaN
            const SampleBits mark = letter == 'D'   ? SampleBits{0x7ff4000000000077}
                                    : letter == 'F' ? SampleBits{0x7fa00077}
                                                    : SampleOf(letter, 77);
            for (std::uint64_t left = 1 + choice(12); left > 0; --left) {
                subject.ChooseOperands(std::ref(choice));
                std::copy(subject.Operands().begin(), subject.Operands().end(), other.Operands().begin());
                before = subject.Results()[0];
                if (left == 1)
                    other.Results()[0] = mark;
                haveAnswered = subject.Execute() && other.Execute();
            }
            if (haveAnswered && subject.Results()[0] == before && other.Results()[0] == mark && before != mark)
                names.insert(row.operation->name);
        }
    return names;
}

TEST(Documentation, TellsWhichOperationsKeepTheirValue) {
    std::set<std::string_view> names;
    const std::string page = Read(source / "docs/plans.md");
    const std::size_t table = page.find("| Operation | Keeps its value");
    const std::string rows = page.substr(table, page.find("\n\n", table) - table);
    const std::regex line("\n\\| ([A-Za-z, ]+) \\|");
    std::vector<std::string> cells;
    for (std::sregex_iterator found(rows.begin(), rows.end(), line), end; found != end; ++found)
        for (const std::string& name : Split((*found)[1].str() + ", ", ", "))
            cells.push_back(name);
    names.insert(cells.begin(), cells.end());
    EXPECT_EQ(names, OperationsThatKeepTheirValue()) << "in docs/plans.md, the table Keeps its value";
}

/// An entry of the reference and the operation that it describes.
struct Entry {
    const Operation* operation;
    std::string heading;
    std::string summary;
    std::vector<std::pair<std::string, std::string>> cells;
    std::vector<std::string> examples;
};

struct Reference {
    std::vector<std::string> table;
    std::vector<Entry> entries;

    /// Reads the page paragraph by paragraph. The entries are in the order of the operations.
    Reference() {
        std::ifstream file(source / "docs/operations.md");
        std::string paragraph;
        for (std::string line; std::getline(file, line);) {
            if (line.starts_with("| ["))
                table.push_back(line);
            else if (line.starts_with("| ") && !line.starts_with("| |") && !entries.empty())
                AddCell(line);
            else if (!line.empty())
                paragraph += (paragraph.empty() ? "" : " ") + line;
            if (line.empty() && !paragraph.empty())
                Take(std::exchange(paragraph, {}));
        }
        Take(paragraph);
    }

private:
    void AddCell(const std::string& line) {
        const std::size_t bar = line.find(" | ");
        entries.back().cells.emplace_back(line.substr(2, bar - 2), line.substr(bar + 3, line.size() - bar - 5));
    }
    void Take(const std::string& text) {
        const auto operations = Vel::AllOperations();
        if (text.starts_with("### "))
            entries.push_back(
                {&operations[std::min(entries.size(), operations.size() - 1)], text.substr(4), {}, {}, {}});
        else if (!entries.empty() && entries.back().summary.empty())
            entries.back().summary = text.substr(0, text.size() - 1);
        else if (text.starts_with("Example"))
            entries.back().examples.push_back(text);
    }
};

const Reference& TheReference() {
    static const Reference reference;
    return reference;
}

std::string Heading(const Operation& operation) {
    static constexpr std::array counts{"", " (one operand)", " (two operands)", " (three operands)"};
    const bool isAlone = Vel::FindOperations(operation.name).size() == 1;
    return std::string(operation.name) + (isAlone ? "" : counts.at(operation.operands));
}

TEST(OperationReference, HasAnEntryForEachOperationAndFindsItInItsTable) {
    const std::vector<Entry>& entries = TheReference().entries;
    const std::vector<std::string>& table = TheReference().table;
    for (std::size_t i = 0; i < Vel::AllOperations().size(); ++i) {
        const Operation& operation = Vel::AllOperations()[i];
        const std::string heading = Heading(operation);
        ASSERT_TRUE(i < entries.size() && entries[i].heading == heading)
            << "docs/operations.md: entry " << i + 1 << " should be: ### " << heading;
        const std::string line = "| [" + heading + "](" + Anchor(heading) + ") | " +
                                 std::to_string(operation.operands) + " | " + entries[i].summary + " |";
        ASSERT_TRUE(i < table.size() && table[i] == line)
            << "docs/operations.md: line " << i + 1 << " of the table of all operations should be: " << line;
        std::string rows;
        for (const auto& [name, text] : entries[i].cells)
            rows += name + ' ';
        EXPECT_TRUE(rows.starts_with("Signature Parameters Computes NoValue-aware Refuses State ")) << heading;
    }
    EXPECT_EQ(entries.size(), Vel::AllOperations().size());
    EXPECT_EQ(table.size(), entries.size());
}

TEST(OperationReference, HasTheSignaturesAndParameters) {
    for (const Entry& entry : TheReference().entries) {
        const std::string signature = entry.cells.at(0).second.substr(0, entry.cells.at(0).second.find(':'));
        std::string patterns;
        for (const std::string& part : Split(signature, "`"))
            patterns += part == ", " || part == " or " ? " " : part;
        EXPECT_EQ(patterns, entry.operation->patterns) << entry.heading;

        std::string described; // as velreplay describes them, without their meaning
        for (std::string part : Split(entry.cells.at(1).second, "<br>")) {
            if (std::isdigit(static_cast<unsigned char>(part[0])) == 0 || part.find(". `") != 1)
                continue;
            EXPECT_EQ(part[0], '1' + std::count(described.begin(), described.end(), '\n')) << entry.heading;
            std::erase(part, '`');
            described += "    " + part.substr(3, part.find(": ") - 3) + "\n";
        }
        std::string known = DescribeParameters(*entry.operation);
        known = std::regex_replace(known, std::regex(": .*"), "");
        EXPECT_EQ(described.empty() ? "    none\n" : described, known) << entry.heading;
    }
}

/// One operation on channels of one sample each. Numbers are texts.
class Bench {
public:
    Bench(const VelChecks::Row& itsRow, bool noValueAware, const std::string& noValue,
          const Vel::Engine::ParametersByName& parameters)
        : signature(itsRow.signature), markers(Markers(signature, noValue)), subject(itsRow, noValueAware, markers) {
        EXPECT_TRUE(subject.Initialize(
            Vel::Engine::OrderParameters(*itsRow.operation, signature.back(), parameters, "example")));
    }

    /// The outcome as the reference writes it: the results, or a word.
    std::string Outcome(const std::vector<std::string>& operands) {
        const auto results = subject.Results();
        EXPECT_EQ(results.size() + operands.size(), signature.size());
        for (std::size_t i = 0; i < results.size(); ++i)
            results[i] = Sample(signature[i], untouched);
        for (std::size_t i = 0; i < operands.size(); ++i) {
            const std::size_t channel = results.size() + i;
            subject.Operands()[i] =
                operands[i] == "NoValue" ? *markers.at(channel) : Sample(signature.at(channel), operands[i]);
        }
        const bool hasRun = subject.Execute();
        std::string text;
        for (std::size_t i = 0; i < results.size(); ++i)
            text += (i == 0 ? "" : ", ") + Text(signature[i], results[i], *markers[i]);
        if (text == untouched)
            return hasRun ? "no write" : "refused";
        if (results.size() > 1)
            text = "(" + text + ")";
        return hasRun || text == "NoValue" ? text : "false with " + text;
    }

private:
    static inline const std::string untouched = "77"; // no example has this value

    static VelChecks::SampleBits Sample(char letter, const std::string& number) {
        return VelChecks::WithType(letter, [&](auto sample) {
            EXPECT_EQ(Vel::Recordings::ReadNumber(number, sample), std::errc()) << number;
            return VelChecks::BitsOf(sample);
        });
    }
    static std::vector<std::optional<VelChecks::SampleBits>> Markers(const std::string& signature,
                                                                     const std::string& noValue) {
        std::vector<std::optional<VelChecks::SampleBits>> markers;
        for (const char letter : signature)
            markers.push_back(noValue.empty() ? VelChecks::UsualNoValue(letter) : Sample(letter, noValue));
        return markers;
    }
    static std::string Text(char letter, VelChecks::SampleBits sample, VelChecks::SampleBits marker) {
        if (VelChecks::IsNoValue(letter, sample, marker))
            return "NoValue";
        return VelChecks::WithType(letter, [=]<class T>(T) {
            std::array<char, Vel::Recordings::longestNumber> text{};
            return std::string(text.data(), Vel::Recordings::WriteNumber(text.data(), VelChecks::FromBits<T>(sample)));
        });
    }

    std::string signature;
    std::vector<std::optional<VelChecks::SampleBits>> markers;
    VelChecks::Subject subject;
};

/// Reads the parameters of an example as velreplay reads them from a plan.
Vel::Engine::ParametersByName ParametersOf(const std::string& table) {
    const std::string plan = "inputs = [{ name = \"x\", type = \"UInt8\" }]\n[[channels]]\nname = \"z\"\n"
                             "operation = \"\"\ntype = \"UInt8\"\nparameters = " +
                             (table.empty() ? "{}" : table);
    return Vel::Engine::ParsePlan(plan, "example").computations.at(0).parameters;
}

TEST(OperationReference, HasExamplesThatRun) {
    const std::regex form("Example( \\(plain\\))?: `(\\w+)`(?: with `([^`]*)`)?(?: and NoValue (\\S+))?: (.*)");
    for (const Entry& entry : TheReference().entries) {
        EXPECT_TRUE(!entry.examples.empty() || entry.operation->operands == 0) << entry.heading;
        for (const std::string& example : entry.examples) {
            std::smatch parts;
            ASSERT_TRUE(std::regex_match(example, parts, form)) << example;
            Bench bench({entry.operation, parts[2]}, !parts[1].matched, parts[4], ParametersOf(parts[3]));
            std::string outcomes;
            for (const std::string& step : Split(parts[5], "; ")) {
                const std::string operands = step.substr(0, step.find(" → "));
                const bool isRow = operands.starts_with('(');
                const auto samples = Split(isRow ? operands.substr(1, operands.size() - 2) : operands, ", ");
                outcomes += (outcomes.empty() ? "" : "; ") + operands + " → " + bench.Outcome(samples);
            }
            EXPECT_EQ(outcomes, parts[5]) << entry.heading;
        }
    }
}

} // namespace
