/// The page of a result: what a browser finds in it.
#include "HostFixture.h"

#include "page/PageFile.h"
#include "page/Viewer.h"

#include <absl/strings/escaping.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <tuple>
#include <vector>

namespace Vel::Page {
std::string_view Viewer() { return "<body><!--DATA--></body>"; }
} // namespace Vel::Page

namespace {

using namespace Vel::Page;
using nlohmann::json;

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr const char* inputsPlan = R"(
[[inputs]]
name = "t"
type = "Float64"
[[inputs]]
name = "v"
type = "Float64"
[[inputs]]
name = "n"
type = "UInt64"
[compute]
"a<b </script>" = "10 / v"
high = "v > 2"
[plot]
title = "<b> & ü"
x = "t"
[[plot.panels]]
title = "P"
unit = "V"
channels = ["a<b </script>", "v"]
[[plot.panels]]
channels = ["n", "high", "v"]
)";

struct Rows {
    std::vector<double> t;
    std::vector<double> v;
    std::vector<std::uint64_t> n;
};

/// A page as a browser reads it.
struct ReadPage {
    json recording;
    std::vector<std::string> columns;

    template <class T>
    std::vector<T> Column(const json& index) const {
        const std::string& bytes = columns.at(index.get<std::size_t>());
        std::vector<T> numbers(bytes.size() / sizeof(T));
        for (std::size_t i = 0; i < numbers.size(); ++i) {
            std::string one = bytes.substr(i * sizeof(T), sizeof(T));
            if constexpr (std::endian::native == std::endian::big)
                std::reverse(one.begin(), one.end());
            std::memcpy(&numbers[i], one.data(), sizeof(T));
        }
        return numbers;
    }
    const json& Channel(std::size_t i) const { return recording["channels"][i]; }
};

class PageTest : public HostTest {
protected:
    static ReadPage Read(const std::string& file) {
        const std::string page = HostTest::Read(file.c_str());
        const auto between = [&page](const std::string& begin) {
            const std::size_t at = page.find(begin);
            if (at == page.npos)
                return std::string();
            const std::size_t first = at + begin.size();
            return page.substr(first, page.find("</script>", first) - first);
        };
        ReadPage read{json::parse(between(R"(<script type="application/json" id="recording">)")), {}};
        for (std::size_t i = 0; i < read.recording["columns"].size(); ++i)
            EXPECT_TRUE(absl::Base64Unescape(
                between(R"(<script type="text/plain" class="column" id="column-)" + std::to_string(i) + "\">"),
                &read.columns.emplace_back()));
        EXPECT_TRUE(page.starts_with("<body><script") && page.ends_with("</script>\n</body>"));
        EXPECT_EQ(page.find("<b>"), page.npos);
        return read;
    }

    static ReadPage Write(const std::string& text, const Rows& rows, std::uint64_t mostBytes = defaultPageBytes,
                          const std::string& from = "", const std::string& summary = "S") {
        const Vel::Engine::Plan plan = Vel::Engine::ParsePlan(text, "folder/plan.toml");
        PlotPlan plot = ReadPlotPlan(plan);
        Bound(plot, from, "");
        constexpr std::size_t block = 1000;
        Vel::Engine::Run run(plan, block);
        run.MakeStatuses(true);
        PageFile page("page.html", mostBytes, plot, plan, run);
        for (std::size_t row = 0; row < rows.t.size(); row += block) {
            const std::vector<Vel::Column> columns{{&rows.t[row], 8}, {&rows.v[row], 8}, {&rows.n[row], 8}};
            run.Feed(columns, std::min(block, rows.t.size() - row));
            page.Take();
        }
        page.Write(summary);
        return Read("page.html");
    }
};

TEST_F(PageTest, HoldsEachSampleOfAShortRecording) {
    const std::uint64_t largest = std::numeric_limits<std::uint64_t>::max() - 1;
    const ReadPage page =
        Write(inputsPlan, {{0, 1, NAN, 3, 4}, {5, 0, 1, NAN, infinity}, {0, largest, 3, largest + 1, 1}});
    const json& recording = page.recording;
    EXPECT_EQ(recording["title"], "<b> & ü");
    EXPECT_EQ(recording["plan"], (json{{"name", "plan.toml"}, {"text", inputsPlan}}));
    EXPECT_EQ(recording["summary"], "S");
    EXPECT_EQ(std::tuple(recording["rows"], recording["rowsPerBin"], recording["rowsWithoutX"]), std::tuple(4, 1, 1));
    EXPECT_EQ(recording["panels"], json::parse(R"([{"title": "P", "unit": "V", "channels": [0, 1]},
                              {"title": "", "unit": "", "channels": [2, 3, 1]}])"));
    EXPECT_EQ(page.Column<double>(recording["x"]["first"]), (std::vector<double>{0, 1, 3, 4}));
    EXPECT_TRUE(recording["x"]["last"].is_null() && recording["x"]["isSorted"] == true);

    const json& quotient = page.Channel(0);
    EXPECT_EQ(quotient["name"], "a<b </script>");
    EXPECT_EQ(quotient["formula"], "10 / v");
    EXPECT_EQ(page.Column<double>(quotient["least"]), (std::vector<double>{2, 2, 0, 0})); // a refused row keeps 2
    EXPECT_EQ(page.Column<std::uint8_t>(quotient["marks"]),
              (std::vector<std::uint8_t>{hasSample, hasSample | isRefused, isMissing, hasSample}));
    EXPECT_EQ(page.Column<std::uint8_t>(page.Channel(1)["marks"]),
              (std::vector<std::uint8_t>{hasSample, hasSample, isMissing, isInfinite}));
    EXPECT_EQ(page.Channel(2)["type"], "UInt64");
    EXPECT_EQ(page.Column<std::uint64_t>(page.Channel(2)["least"]), (std::vector<std::uint64_t>{0, largest, 0, 1}));
    EXPECT_TRUE(page.Channel(3)["isBoolean"] == true && page.Channel(2)["isBoolean"] == false);
    EXPECT_EQ(page.Column<std::uint16_t>(page.Channel(3)["least"]), (std::vector<std::uint16_t>{1, 0, 0, 1}));
}

TEST_F(PageTest, SummarizesALongOneByItsLeastAndGreatestSamples) {
    Rows rows;
    std::mt19937 random(5);
    std::normal_distribution<double> values(0, 100);
    for (std::size_t i = 0; i < 123457; ++i) {
        rows.t.push_back(static_cast<double>(i) / 8);
        rows.v.push_back(random() % 50 == 0 || i / 5000 == 7 ? NAN : values(random));
        rows.n.push_back(random());
    }
    for (const auto& [size, summary] : {std::pair(250'000u, std::size_t{0}), {250'000u, std::size_t{60'000}}}) {
        const ReadPage page = Write(inputsPlan, rows, size, "1000", std::string(summary, 's'));
        EXPECT_LE(std::filesystem::file_size("page.html"), size);
        EXPECT_GE(std::filesystem::file_size("page.html"), size / 3);
        const auto rowsPerBin = page.recording["rowsPerBin"].get<std::size_t>();
        EXPECT_GT(rowsPerBin, 16u);
        constexpr std::size_t skipped = 8000; // before x is 1000
        EXPECT_EQ(page.recording["rows"], rows.t.size() - skipped);
        const auto first = page.Column<double>(page.recording["x"]["first"]);
        const auto last = page.Column<double>(page.recording["x"]["last"]);
        const auto least = page.Column<double>(page.Channel(1)["least"]);
        const auto greatest = page.Column<double>(page.Channel(1)["greatest"]);
        const auto marks = page.Column<std::uint8_t>(page.Channel(1)["marks"]);
        const std::size_t bins = (rows.t.size() - skipped + rowsPerBin - 1) / rowsPerBin;
        ASSERT_EQ(std::tuple(first.size(), last.size(), least.size(), greatest.size(), marks.size()),
                  std::tuple(bins, bins, bins, bins, bins));
        for (std::size_t bin = 0; bin < bins; ++bin) {
            const std::size_t begin = skipped + bin * rowsPerBin;
            const std::size_t end = std::min(begin + rowsPerBin, rows.t.size());
            std::vector<double> there;
            std::copy_if(rows.v.begin() + static_cast<std::ptrdiff_t>(begin),
                         rows.v.begin() + static_cast<std::ptrdiff_t>(end), std::back_inserter(there),
                         [](double v) { return v == v; });
            ASSERT_EQ(std::tuple(first[bin], last[bin]), std::tuple(rows.t[begin], rows.t[end - 1]));
            ASSERT_EQ(marks[bin], (there.empty() ? 0 : hasSample) | (there.size() < end - begin ? isMissing : 0));
            if (!there.empty()) {
                ASSERT_EQ(std::pair(least[bin], greatest[bin]),
                          std::pair(*std::min_element(there.begin(), there.end()),
                                    *std::max_element(there.begin(), there.end())))
                    << bin;
            }
        }
    }
    EXPECT_THROW(Write(inputsPlan, rows, 3'000), Vel::Error);
}

TEST_F(PageTest, NeedsNoPanelsAndNoAxis) {
    const std::string text = std::string(inputsPlan).substr(0, std::string(inputsPlan).find("[plot]"));
    const ReadPage page = Write(text, {{3, 2, 1}, {1, 2, 3}, {7, 7, 8}});
    EXPECT_EQ(page.recording["title"], "plan.toml");
    EXPECT_EQ(page.recording["x"]["name"], "row");
    EXPECT_EQ(page.Column<double>(page.recording["x"]["first"]), (std::vector<double>{1, 2, 3}));
    EXPECT_EQ(page.recording["panels"].size(), 5u); // the state in the last one
    EXPECT_EQ(page.recording["panels"][4]["channels"], json{4});
    EXPECT_EQ(Write(inputsPlan, {{3, 2, 1}, {1, 2, 3}, {7, 7, 8}}).recording["x"]["isSorted"], false);
    const ReadPage empty = Write(inputsPlan, {});
    EXPECT_EQ(empty.recording["bins"], 0);
    EXPECT_EQ(empty.columns[0], "");
}

TEST_F(PageTest, IsWrittenWholeOrNotAtAll) {
    HostTest::Write("plan.toml", std::string(dividePlan) + "[settings]\nlimit = 1.0\n");
    HostTest::Write("rec.csv", "a,b\n6,3\n1,0\n");
    for (const auto& [arguments, message] : std::initializer_list<std::pair<const char*, const char*>>{
             {"--page p.svg", "p.svg: a page is a file of HTML"},
             {"--page ''", "--page: the name is empty"},
             {"--page-size 20MB", "--page-size: there is no page"},
             {"--page p.html --page-size 20ft", "--page-size: \"20ft\" is not a size"},
             {"--page p.html --page-size=-1kB", "\"-1kB\" is not a size"},
             {"--page p.html --from nan", "--from: \"nan\" is no number"},
             {"--page here.html", "here.html: this is the file that is read as rec.csv"},
             {"-o p.html --page ./p.html", "result and page would be the same file"}}) {
        std::filesystem::remove("here.html");
        std::filesystem::create_symlink("rec.csv", "here.html");
        EXPECT_EQ(Run("$V plan.toml rec.csv " + std::string(arguments)), 1) << arguments;
        EXPECT_NE(HostTest::Read("err").find(message), std::string::npos) << HostTest::Read("err");
    }
    if (Run("$V plan.toml rec.csv --page p.html -o r.csv") != 0) { // built without the viewer
        EXPECT_NE(HostTest::Read("err").find("make page"), std::string::npos) << HostTest::Read("err");
        EXPECT_FALSE(std::filesystem::exists("p.html") || std::filesystem::exists("r.csv"));
        return;
    }
    const std::string page = HostTest::Read("p.html");
    EXPECT_NE(page.find("2 rows, 2 input and 1 other channels\\n"), page.npos); // the time would change from run to run
    EXPECT_EQ(Run("$V -q plan.toml rec.csv --page q.html -o r.csv --set limit=3"), 0);
    EXPECT_NE(HostTest::Read("q.html").find("settings: limit=3"), page.npos);
    EXPECT_EQ(Run("$V plan.toml rec.csv --page p.html -o r.csv --page-size 1kB"), 1);
    EXPECT_NE(HostTest::Read("err").find("a page of 1000 bytes has no room"), page.npos);
    HostTest::Write("rec.csv", "a,b\n6,3\n");
    EXPECT_EQ(Run("ulimit -f 2; $V plan.toml rec.csv --page p.html -o r.csv"), 1);
    EXPECT_NE(HostTest::Read("err").find("p.html: cannot be written: "), page.npos) << HostTest::Read("err");
    EXPECT_EQ(HostTest::Read("p.html"), page);
    EXPECT_EQ(HostTest::Read("r.csv"), "a,b,z\n6,3,2\n"); // the result is complete
}

} // namespace
