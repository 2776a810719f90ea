// velreplay as its user runs it: plans, recordings, what is written and what is said.
#include "recordings/Numbers.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include <sys/wait.h>

namespace {

constexpr const char* dividePlan = R"(
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

TEST_F(HostTest, ReadsAndWritesEveryFormOfTable) {
    EXPECT_EQ(Replayed(dividePlan, "a,b\n6,3\n1,0\n,2\nNaN,1\n+1.5e0,-0.5\n", "--status"),
              "a,b,z,z.status\n6,3,2,computed\n1,0,2,refused\n,2,,no value\n,1,,no value\n1.5,-0.5,-3,computed\n");
    EXPECT_EQ(
        Replayed(dividePlan, "\xEF\xBB\xBF\"b\";other;a\r\n\"0,5\";\"x;\"\"y\nz\";1,5\r\n2;;NA", "--decimal-comma"),
        "a;b;z\n1,5;0,5;3\n;2;\n");
    EXPECT_EQ(Replayed("output = [\"z\"]" + std::string(dividePlan), "a\tb\n6\t3\n\t", "--separator tab"),
              "z\n2\n\"\"\n");
    EXPECT_NE(Replayed(dividePlan, "a;b\n1.500;1", "--decimal-comma").find("\"1.500\" is no number"),
              std::string::npos);
}

// The first cells of a row may come in one piece of the recording and the others in the next.
TEST_F(HostTest, KeepsRowsThatStraddleBlocks) {
    std::string recording = "a,b\n";
    std::string expected = "a,b,z\n";
    for (int row = 1; row <= 40000; ++row) {
        const std::string cells = std::to_string(row) + ",1";
        recording += cells + "\n";
        expected += cells + "," + std::to_string(row) + "\n";
    }
    EXPECT_TRUE(Replayed(dividePlan, recording) == expected);
    EXPECT_EQ(Run("(printf 'a,b\\n1'; sleep 0.1; printf '0,5\\n8,'; sleep 0.1; printf '2\\n') | $V -q plan.toml"), 0);
    EXPECT_EQ(Read("out"), "a,b,z\n10,5,2\n8,2,4\n");
}

TEST_F(HostTest, SaysWhereAndWhatAndLeavesTheOldResult) {
    Write("plan.toml", dividePlan);
    Write("result.csv", "old\n");
    const auto refuse = [&](const std::string& recording, const std::string& message) {
        Write("rec.csv", recording);
        EXPECT_EQ(Run("$V plan.toml rec.csv -o result.csv"), 1);
        EXPECT_EQ(Read("err").substr(0, message.size()), message);
        EXPECT_EQ(Read("result.csv"), "old\n");
        EXPECT_FALSE(std::filesystem::exists("result.csv.part"));
    };
    refuse("a,b\n1,2\n\n1,2x\n", "rec.csv:4, column 2, channel \"b\": \"2x\" is no number of the type Float64");
    refuse("a,b\n1\n", "rec.csv:2: 1 cells, but the header has 2 names");
    refuse("a,b\n1,2,3\n", "rec.csv:2: more cells than the header has names");
    refuse("a,c\n", "rec.csv:1: there is no channel \"b\"\n  the header has: a c");
    refuse("a,b\n1,\"2", "rec.csv:2: a quoted cell does not end");
    refuse("a,b\n1,2\n3\"4,5\n", "rec.csv:3: no CSV");
    refuse("", "rec.csv: the recording is empty");
    Write("rec.csv", "a,b\n1,2\n");
    EXPECT_EQ(Run("$V plan.toml rec.csv -o /dev/full"), 1);
    EXPECT_NE(Read("err").find("make room on the disk"), std::string::npos);
    EXPECT_EQ(Run("(echo a,b; echo 6,3; sleep 0.1; echo x,1) | $V plan.toml - -o result.csv"), 1);
    EXPECT_EQ(Read("result.csv.part"), "a,b,z\n6,3,2\n"); // what a live source has said does not come again
    EXPECT_EQ(Read("result.csv"), "old\n");
}

TEST_F(HostTest, DestroysNothingThatItReads) {
    Replayed(dividePlan, "a,b\n6,3\n");
    std::filesystem::create_symlink("rec.csv", "link.csv");
    for (const char* const arguments :
         {"plan.toml rec.csv -o ./rec.csv", "plan.toml rec.csv -o link.csv", "plan.toml - -o rec.csv <rec.csv",
          "plan.toml rec.csv >>rec.csv", "plan.toml rec.csv -o plan.toml", "plan.toml rec.csv -o a.svg --plot a.svg"})
        EXPECT_EQ(Run(std::string("$V ") + arguments), 1) << arguments;
    EXPECT_EQ(Read("rec.csv"), "a,b\n6,3\n");
    EXPECT_EQ(Read("plan.toml"), dividePlan);
    EXPECT_EQ(Run("echo old >old; ln -s old new; $V plan.toml rec.csv -o new 2>&-"), 0);
    EXPECT_EQ(Read("old"), "a,b,z\n6,3,2\n");
}

TEST_F(HostTest, RefusesPlansWithARemedy) {
    const auto refuse = [&](const std::string& from, const std::string& to, const std::string& message) {
        std::string plan = dividePlan;
        plan.replace(plan.find(from), from.size(), to);
        EXPECT_NE(Replayed(plan, "a,b\n1,2\n").find(message), std::string::npos) << to << '\n' << Read("err");
    };
    refuse("\"Divide\"", "\"Divid\"",
           "plan.toml:8: channel \"z\": unknown operation \"Divid\"\n  did you mean \"Divide\"");
    refuse("\"a\", \"b\"", "\"a\", \"z\"", "unknown channel \"z\"");
    refuse("\"Divide\"", "\"BitwiseAnd\"", "BitwiseAnd does not exist on these types: DDD\n  it exists on");
    refuse("\"a\", \"b\"", "\"a\"", "Divide does not exist with 1 results and 1 operands");
    refuse("operands", "operand", "plan.toml:12: unknown key \"operand\"");
    refuse("Float64", "float", "unknown type \"float\"");
    const std::string unary = "operands = [\"a\"]\nparameters = ";
    const auto parameters = [&](const std::string& operation, const std::string& text, const std::string& message) {
        std::string plan = dividePlan;
        plan.replace(plan.find("operands"), std::string::npos, unary + text);
        plan.replace(plan.find("Divide"), 6, operation);
        EXPECT_NE(Replayed(plan, "a,b\n1,2\n").find(message), std::string::npos) << text << '\n' << Read("err");
    };
    const std::string pass = "FilterButterworthLowPass";
    parameters(pass, "{ order = 2, sample_rate = 10, corner = 1 }", "unknown parameter \"corner\"");
    parameters(pass, "{ order = 2, sample_rate = 10 }", "parameter \"corner1\" is missing");
    parameters(pass, "{ order = 9, sample_rate = 10, corner1 = 1 }", "parameter \"order\" is above 8");
    parameters(pass, "{ order = 2.5, sample_rate = 10, corner1 = 1 }", "is no whole number");
    parameters(pass, "{ order = 2, sample_rate = 10, corner1 = 5 }", "is not below half of \"sample_rate\"");
    parameters("Linea", "{ points = [[1, 2], [0, 3]] }", "is not in ascending order");
}

// Every way in which parameters travel: doubles, samples of narrow types, masks, defaults, curves, the packed duration.
TEST_F(HostTest, PassesParametersInTheirForms) {
    const std::string plan = R"(
[[inputs]]
name = "x"
type = "SInt8"
[[inputs]]
name = "w"
type = "UInt16"
[[channels]]
name = "edge"
type = "UInt16"
operation = "NegEdge"
operands = ["x"]
parameters = { threshold = -3 }
[[channels]]
name = "field"
type = "UInt8"
operation = "MaskAndShift"
operands = ["w"]
parameters = { mask = 0x0F00 }
[[channels]]
name = "phys"
type = "Float32"
operation = "PhysToFloat"
operands = ["w"]
parameters = { factor = 0.5, offset = 1 }
[[channels]]
name = "curve"
type = "Float32"
operation = "Linea"
operands = ["phys"]
parameters = { points = [[0, 0], [128, 16], [256, 0]] }
[[channels]]
names = ["low", "high", "mean"]
type = "UInt16"
operation = "Statistics"
operands = ["w"]
parameters = { window = 2 }
[[channels]]
name = "pulse"
type = "UInt16"
operation = "MonoFlop"
operands = ["w"]
parameters = { duration = 1e6, retrigger = true }
[[channels]]
name = "gear"
type = "SInt8"
operation = "Gangermittlung"
operands = ["w", "w", "w"]
parameters = { tolerance = 0.1, table = [[2, 1], [1, -5]] }
)";
    EXPECT_EQ(Replayed(plan, "x,w\n-2,256\n-5,4000\n"), "x,w,edge,field,phys,curve,low,high,mean,pulse,gear\n"
                                                        "-2,256,0,1,129,15.875,256,256,256,1,-5\n"
                                                        "-5,4000,1,15,2001,0,256,4000,2128,1,-5\n");
}

TEST_F(HostTest, KnowsWholeNumbersBeyondThoseOfToml) {
    EXPECT_EQ(Replayed(R"(
inputs = [{ name = "a", type = "UInt64", no_value = "18446744073709551614" }]
constants = [{ name = "top", type = "UInt64", value = "0x8000000000000000" }]
[[channels]]
name = "byte"
type = "UInt64"
operation = "MaskAndShift"
operands = ["a"]
parameters = { mask = "0xFF00000000000000" }
)",
                       "a\n18446744073709551615\n18446744073709551614\n9223372036854775808\n"),
              "a,top,byte\n18446744073709551615,9223372036854775808,255\n,9223372036854775808,\n"
              "9223372036854775808,9223372036854775808,128\n");
}

TEST_F(HostTest, DrawsGapsAndSaysWhatKeepsItFromDrawing) {
    const std::string plan = std::string(dividePlan) + "[plot]\nx = \"a\"\npanels = [{ channels = [\"b\", \"z\"] }]\n";
    const auto drawn = [&](const std::string& recording) {
        Replayed(plan, recording, "--plot x.svg");
        EXPECT_EQ(Read("err"), "");
        return Read("x.svg");
    };
    for (const char* const empty : {"a,b\n", "a,b\n1,\n2,\n", "a,b\n,1\n", "a,b\n1,inf\n"})
        EXPECT_NE(drawn(empty).find("</svg>"), std::string::npos) << empty;
    const std::string dot = "<use xlink:href='#gpPt6'";
    EXPECT_EQ(drawn("a,b\n1,1\n2,1\n").find(dot), std::string::npos);
    EXPECT_NE(drawn("a,b\n1,1\n2,\n3,1\n").find(dot), std::string::npos);
    EXPECT_EQ(Run("PATH=/; $V plan.toml rec.csv -o result.csv --plot x.svg"), 1);
    EXPECT_NE(Read("err").find("apt-get install gnuplot-nox"), std::string::npos);
    EXPECT_EQ(Run("$V plan.toml rec.csv -o result.csv --plot none/x.svg"), 1);
    EXPECT_NE(Read("err").find("none/x.svg.part: cannot be written"), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists("result.csv"));
}

TEST_F(HostTest, ListsOperationsAndRefusesArguments) {
    EXPECT_EQ(Run("$V --operations"), 0);
    EXPECT_NE(Read("out").find("\nDivide "), std::string::npos);
    EXPECT_EQ(Run("$V --operations Count"), 0);
    EXPECT_NE(Read("out").find("DWW"), std::string::npos);
    for (const char* const wrong : {"--operations Coun", "--operations >/dev/full", "--none", "", "/", "plan.toml"})
        EXPECT_EQ(Run(std::string("$V ") + wrong), 1) << wrong;
}

TEST_F(HostTest, StopsInFilesAndShowsProgressOnTerminals) {
    Write("plan.toml", dividePlan);
    ASSERT_EQ(Run("(echo a,b; yes 6,3 | head -c 40M) >rec.csv"), 0);
    EXPECT_EQ(Run("(ulimit -f 100; $V plan.toml rec.csv -o result.csv)"), 1);
    EXPECT_NE(Read("err").find("File too large"), std::string::npos);
    EXPECT_EQ(Run("timeout --preserve-status -s INT 0.3 $V plan.toml rec.csv -o result.csv"), 130);
    EXPECT_EQ(Read("err").find('\r'), std::string::npos); // no terminal, no bar
    EXPECT_EQ(Run("sort -u result.csv"), 0);
    EXPECT_EQ(Read("out"), "6,3,2\na,b,z\n");
    EXPECT_EQ(
        Run("head -c 100000 rec.csv >short.csv; script -qec \"$V -q plan.toml short.csv -o result.csv\" /dev/null"), 0);
    EXPECT_TRUE(Read("out").starts_with("\r[##########")); // drawn after the first block
    EXPECT_TRUE(Read("out").ends_with("\r\x1b[K"));
}

TEST_F(HostTest, LeavesWholeRowsWhenStopped) {
    Write("plan.toml", dividePlan);
    EXPECT_EQ(Run("(printf 'a,b\\n6,3\\n8,'; sleep 1) | (exec timeout -s INT 0.4 $V -q plan.toml - -o result.csv)"),
              124);
    EXPECT_EQ(Read("result.csv"), "a,b,z\n6,3,2\n");
    EXPECT_EQ(Run("(echo a,b; yes 6,3) | $V plan.toml 2>summary | head -3"), 0);
    EXPECT_EQ(Read("out"), "a,b,z\n6,3,2\n6,3,2\n");
}

// The key figures of the cycle: 1180 s, 11.03 km, at most 120 km/h, 33.6 km/h in the mean.
TEST_F(HostTest, DrivesTheCycle) {
    ASSERT_EQ(Run("$V " VEL_SOURCE "/examples/drive/plan.toml " VEL_DRIVE "/recording.csv -o result.csv "
                  "--plot drive.svg"),
              0)
        << Read("err");
    EXPECT_NE(Read("drive.svg").find("</svg>"), std::string::npos);
    std::ifstream result("result.csv");
    std::string line;
    std::getline(result, line);
    double time = 0, speed = 0, highest = 0, distance = 0;
    while (std::getline(result, line)) {
        std::istringstream cells(line);
        std::vector<std::string> row;
        for (std::string cell; std::getline(cells, cell, ',');)
            row.push_back(cell);
        time = std::stod(row[0]);
        speed = std::stod(row[2]);
        highest = std::max(highest, speed);
        distance = row[4].empty() ? 0 : std::stod(row[4]);
    }
    EXPECT_EQ(time, 1180);
    EXPECT_NEAR(distance, 11.03, 0.005);
    EXPECT_NEAR(highest, 120, 0.2);
    EXPECT_NEAR(distance / time * 3600, 33.6, 0.05);
    EXPECT_NEAR(speed, 0, 1e-6);
}

TEST(HostNumbers, ShortFormsAreThoseOfTheStandardLibrary) {
    std::uint64_t state = 1;
    for (int i = 0; i < 300000; ++i) {
        state = state * 6364136223846793005u + 1442695040888963407u;
        const auto digits = static_cast<std::int64_t>(state >> 24) % (i % 2 == 0 ? 250000000 : 2000000);
        const double value = static_cast<double>(digits) / (i % 3 == 0 ? 1000.0 : i % 3 == 1 ? 1.0 : 12345.0);
        char expected[64], actual[64];
        const std::string_view wanted(expected, std::to_chars(expected, expected + 64, value).ptr);
        ASSERT_EQ(std::string_view(actual, Vel::Recordings::WriteNumber(actual, value)), wanted);
        double back = 0;
        ASSERT_EQ(Vel::Recordings::ReadNumber(wanted, back), std::errc());
        ASSERT_EQ(back, value) << wanted;
    }
    for (const char* const bad : {"-", ".", "1.2.3", "+-1", "1e", "1 2", "0x1"}) {
        double value = 0;
        EXPECT_NE(Vel::Recordings::ReadNumber(bad, value), std::errc()) << bad;
    }
}

} // namespace
