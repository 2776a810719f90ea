// velreplay as its users run it: plans, recordings, results and messages.
#include "HostFixture.h"
#include "recordings/Numbers.h"

#include <vector>

namespace {

TEST_F(HostTest, ReadsAndWritesEveryFormOfTable) {
    EXPECT_EQ(Replayed(dividePlan, "a,b\n6,3\n1,0\n,2\nNaN,1\n+1.5e0,-0.5\n", "--status"),
              "a,b,z,z.status\n6,3,2,computed\n1,0,2,refused\n,2,,no value\n,1,,no value\n1.5,-0.5,-3,computed\n");
    EXPECT_EQ(
        Replayed(dividePlan, "\xEF\xBB\xBF\"b\";other;a\r\n\"0,5\";\"x;\"\"y\nz\";1,5\r\n2;;NA", "--decimal-comma"),
        "a;b;z\n1,5;0,5;3\n;2;\n");
    EXPECT_EQ(Replayed("[plan]\noutput = [\"z\"]" + std::string(dividePlan), "a\tb\n6\t3\n\t", "--separator tab"),
              "z\n2\n\"\"\n");
    EXPECT_NE(Replayed(dividePlan, "a;b\n1.500;1", "--decimal-comma").find("\"1.500\" is not a number"),
              std::string::npos);
}

// The first cells of a row may be in one block of the recording and the rest in the next.
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
    };
    refuse("a,b\n1,2\n\n1,2x\n", "rec.csv:4, column 2, channel \"b\": \"2x\" is not a number of type Float64");
    refuse("a,b\n1\n", "rec.csv:2: 1 cell, but the header has 2 names");
    refuse("a,b\n1,2,3\n", "rec.csv:2: more cells than the header has names");
    refuse("a,c\n", "rec.csv:1: there is no channel \"b\"\n  the header has: \"a\" \"c\"");
    refuse("a,b\n1,\"2", "rec.csv:2: a quoted cell has no closing quote");
    refuse("a,b\n1,2\n3\"4,5\n", "rec.csv:3: not CSV");
    refuse("", "rec.csv: the recording is empty");
    Write("rec.csv", "a,b\n1,2\n");
    EXPECT_EQ(Run("$V plan.toml rec.csv -o /dev/full"), 1);
    EXPECT_NE(Read("err").find("make room on the disk"), std::string::npos);
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
    refuse("\"a\", \"b\"", "\"a\", \"c\"", "unknown channel \"c\"");
    refuse("\"a\", \"b\"", "\"a\", \"z\"", "channel \"z\": the channel is computed from itself: z <- z");
    refuse("\"z\"", "\"Max\"", "the name \"Max\" has a meaning in formulas");
    refuse("\"z\"", "\"a\"", "plan.toml:8: channel \"a\": the name \"a\" is taken\n  by plan.toml:2");
    refuse("\"Divide\"", "\"BitwiseAnd\"",
           "BitwiseAnd does not exist on these types: Float64, Float64 -> Float64\n  nearest: ");
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

// Every form of parameter: doubles, samples of narrow types, masks, defaults, curves, the packed duration.
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

// Channels in any order, columns in the order of the lines; two inputs from one column; settings; inner names in use.
TEST_F(HostTest, ComputesFormulasAsTheBlocksThatTheyStandFor) {
    Write("plan.toml", R"plan(
[settings]
width = 1
curve = [[0, 0], [10, 1]]
[[inputs]]
name = "speed"
column = "Speed [km/h]"
type = "Float64"
[[inputs]]
name = "raw speed"
column = "Speed [km/h]"
type = "UInt8"
[compute]
z = "share + `z#1` * 2"
"z#1" = "Cast(`raw speed`, no_value = -1)"
share = "Linea(speed, points = curve) * 100"
mean = """Average(z,
    window = 2)"""
[[channels]]
name = "above"
operation = "UpperLimit"
type = "UInt16"
operands = ["share", "z#1"]
parameters = { hysteresis = "width" }
)plan");
    Write("rec.csv", "x,Speed [km/h]\n,5\n,\n1,10\n");
    const std::string header = "speed,raw speed,z,z#1,share,mean,above,z.status,z#1.status,share.status,mean.status,"
                               "above.status\n";
    EXPECT_EQ(Run("$V -q --status plan.toml rec.csv"), 0) << Read("err");
    EXPECT_EQ(Read("out"), header + "5,5,60,5,50,60,1,computed,computed,computed,computed,computed\n"
                                    ",,,,,60,,no value,no value,no value,computed,no value\n"
                                    "10,10,120,10,100,90,1,computed,computed,computed,computed,computed\n");
    Run("$V -q --status plan.toml rec.csv >formulas; $V --explain plan.toml >blocks.toml");
    EXPECT_EQ(Run("$V -q --status blocks.toml rec.csv | diff - formulas"), 0) << Read("err");
    EXPECT_EQ(Run("$V --explain blocks.toml | sed '/^#/d' >again; sed '/^#/d' blocks.toml | diff - again"), 0)
        << Read("out");
    EXPECT_EQ(Run("$V -q --set 'curve=[[0, 0], [10, 2]]' --set width=60 plan.toml rec.csv | tail -1"), 0);
    EXPECT_EQ(Read("out"), "10,10,220,10,200,165,1\n");
    const auto refuse = [&](const std::string& arguments, const std::string& message) {
        EXPECT_EQ(Run("$V -q plan.toml rec.csv " + arguments), 1);
        EXPECT_NE(Read("err").find(message), std::string::npos) << Read("err");
    };
    refuse("--set wdth=1", "the plan has no setting \"wdth\"\n  it has: curve width");
    refuse("--set width", "\"width\" is not a setting");
    refuse("--set width=1x", "--set width=1x");
    refuse("--set 'width=1\nz=2'", "--set width=1");
}

TEST_F(HostTest, RefusesFramesWithARemedy) {
    const std::string inputs = "inputs = [{ name = \"a\", type = \"Float64\" }]\n";
    const auto refuse = [&](const std::string& plan, const std::string& message) {
        EXPECT_NE(Replayed(plan, "a\n1\n").find(message), std::string::npos) << plan << Read("err");
    };
    refuse("output = [\"a\"]\n" + inputs, "plan.toml:1: unknown key \"output\"");
    refuse(inputs + "[plan]\noutput = [\"b\"]\n", "output: unknown channel \"b\"");
    refuse(inputs + "[plan]\nz = \"a\"\n", "plan.toml:3: unknown key \"z\"");
    refuse(inputs + "[compute]\nz = 5\n", "plan.toml:3: the formula of \"z\" is no text");
    refuse(inputs + "[compute]\nz.x = \"a\"\n", "stands in quotes: \"a.b\"");
    refuse(inputs + "[compute]\na = \"1\"\n", "plan.toml:3: channel \"a\": the name \"a\" is taken\n  by plan.toml:1");
    refuse(inputs + "[compute]\nMax = \"a\"\n", "the name \"Max\" has a meaning in formulas\n  choose another one");
    refuse("inputs = [{ name = \"Time\", type = \"Float64\" }]", "column = \"Time\" says what the recording calls it");
    refuse(inputs + "[settings]\na = 1\n", "the name \"a\" is taken\n  by plan.toml:3: setting \"a\"");
    refuse(inputs + "[settings]\nb = \"x\"\n", "setting \"b\" is neither a number, a list nor a duration");
    refuse(inputs + "[compute]\nx = \"y\"\ny = \"-z\"\nz = \"x * w\"\nw = \"a\"\n",
           "plan.toml:3: channel \"x\": the channel is computed from itself: x <- y <- z <- x");
    refuse(inputs + "[compute]\nx = \"-a\"\ny = \"-a * a\"\n[plan]\noutput = [\"y#1\"]\n", "unknown channel \"y#1\"");
    refuse(inputs + "[compute]\ny = \"-a * a\"\nz = \"`y#1`\"\n", "unknown channel \"y#1\"");
}

TEST_F(HostTest, RefusesTimesAndHoldsWithARemedy) {
    const auto refuse = [](const std::string& time, const std::string& more, const std::string& formula,
                           const std::string& message) {
        const std::string plan = "inputs = [{ name = \"t\", type = " + time +
                                 " }, { name = \"v\", type = \"Float64\" }]\n" + more + "\n[compute]\nz = \"" +
                                 (formula.empty() ? "v" : formula) + "\"\n";
        const std::string answer = Replayed(plan, "t,v\n0,1\n5,1\n");
        EXPECT_NE(answer.find(message), std::string::npos) << plan << answer;
    };
    const std::string number = "\"Float64\"", local = "\"Time\", clock = \"local\", zone = \"Europe/Berlin\"";
    const std::string raster = "[raster]\ntime = \"t\"\nperiod = ", rate = "[plan]\nsample_period = 0.1";
    refuse(number, "", "Max(v, window = '10 s')", "since nothing says how far rows are apart\n    Max(v, window");
    refuse(number, rate, "Max(v, window = '10 miles')", "a duration is a number with us, ms, s, min, h or d behind it");
    refuse(number, rate, "Max(v, window = '10.05 s')", "no whole number of rows above 0: 10.05 s");
    refuse(number, rate, "Max(v, window = '1 ns')", "is no duration");
    refuse(number, "[plan]\nsample_period = \"1 h\"", "Max(v, window = '1 us')",
           "no whole number of rows above 0: 1 us");
    refuse(number, "", "Max(v, window = true)", "parameter \"window\" is no flag, so it cannot be true or false");
    refuse(number, rate, "NoValueAlarm(v, limit = '0.5 ms')", "no whole number of milliseconds: 0.5 ms");
    refuse(number, "", "Max(v, hold = '1 s')", "\"hold\" cannot be 1 s, since nothing says how far rows are apart");
    refuse(number, "", "Max(v, hold = 1.5)", "\"hold\" is no number of rows above 0\n    Max(v, hold = 1.5)");
    refuse(number, "", "Max(v, reset_when = w)", "unknown channel \"w\"");
    refuse(number, "", "Max(v, reset_when = z)", "the channel is computed from itself: z <- z");
    refuse(number, "", "Divide(v, v, when_refused = no)", "write keep or no_value");
    refuse(number, "[settings]\na = \"10 s\"", "v + a", "flags, lists and durations are values of parameters");
    refuse(number, "[plan]\nsample_period = \"0 s\"", "", "\"sample_period\" is no time above 0");
    refuse(number, raster + "1\n" + rate, "", "the plan has both a raster and a sample_period");
    refuse(number, raster + "0", "", "\"period\" is no time above 0");
    refuse(number, raster + "1e-300", "", "the period, 1e-300 s, is too short for times such as 5");
    refuse(number, raster + "1\nmax_step = 4", "", "row 2 of the recording: the time steps by 5 s, from 0 to 5");
    refuse(number + ", resample = \"linear\"", "", "", "\"resample\" has no effect without a raster");
    refuse(number + ", zone = \"UTC\"", "", "", "\"zone\" is for times alone");
    refuse("\"Time\", clock = \"local\"", "", "", "the clock is local, but no zone is given");
    refuse("\"Time\", zone = \"Europe/Bern\"", "", "", "the time zone \"Europe/Bern\" is unknown");
    refuse("\"Time\", format = \"%H:%M\"", "", "", "does not say year, month and day");
    refuse(local, raster + "1", "", "the time of the raster, \"t\", is no Float64 in UTC");
    refuse(local, "", "IntegralAdd(v, t)", "the time of IntegralAdd, \"t\", is wall time");
    refuse(number, "[plan]\nrows_when = \"v\"\nrows_before_change = \"t\"", "", "the plan has both rows_when and");
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
    Write("steps.toml", R"(inputs = [{ name = "a", type = "UInt8" }, { name = "b", type = "SInt16" }]
[plot]
x = "a"
panels = [{ channels = ["b"] }])");
    Write("steps.csv", "a,b\n1,5\n2,\n3,\n4,6\n5,7\n");
    Write("gnuplot", "#!/bin/sh\n[ \"$1\" ] || cat\necho '</svg>'\n"); // shows what gnuplot is told
    EXPECT_EQ(Run("chmod +x gnuplot; PATH=.:$PATH; $V steps.toml steps.csv --plot x.svg"), 0);
    EXPECT_NE(Read("x.svg").find("\n1 5\n2 5\n\n\n4 6\n5 7\ne\n"), std::string::npos) << Read("x.svg");
    EXPECT_NE(Read("x.svg").find("\nset xtics 1\n"), std::string::npos) << Read("x.svg");
    EXPECT_EQ(Run("PATH=/; $V plan.toml rec.csv -o result.csv --plot x.svg"), 1);
    EXPECT_NE(Read("err").find("apt-get install gnuplot-nox"), std::string::npos);
    EXPECT_EQ(Run("$V plan.toml rec.csv -o result.csv --plot none/x.svg"), 1);
    EXPECT_NE(Read("err").find("none/x.svg: cannot be written"), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists("result.csv"));
}

TEST_F(HostTest, DrawsTimesOnACalendar) {
    Write("plan.toml",
          R"(inputs = [{ name = "t", type = "Time", zone = "Europe/Berlin" }, { name = "v", type = "Float64" }]
[plot]
x = "t"
panels = [{ channels = ["v"] }])");
    const auto labels = [](const std::string& first, const std::string& last) {
        Write("rec.csv", "t,v\n" + first + ",1\n" + last + ",1\n");
        EXPECT_EQ(
            Run("$V -q plan.toml rec.csv -o result.csv --plot x.svg; grep -o '>[^<]*[0-9][-:][0-9][^<]*<\\|>t [^<]*<' "
                "x.svg | tr -d '<>' | paste -sd' '"),
            0);
        return Read("out");
    };
    EXPECT_EQ(labels("2024-03-31 00:10", "2024-03-31 04:20"), // clocks go forward
              "00:30 2024-03-31 01:00 01:30 03:00 03:30 04:00 t (Europe/Berlin)\n");
    EXPECT_EQ(
        labels("2024-12-31 23:59:59.9985", "2025-01-01 00:00:00.0035"),
        "23:59:59.9985 2024-12-31 23:59:59.9990 23:59:59.9995 00:00:00.0000 2025-01-01 00:00:00.0005 "
        "00:00:00.0010 00:00:00.0015 00:00:00.0020 00:00:00.0025 00:00:00.0030 00:00:00.0035 t (Europe/Berlin)\n");
    EXPECT_EQ(labels("1999-11-12", "2000-08-12"),
              "1999-12-01 2000-01-01 2000-02-01 2000-03-01 2000-04-01 2000-05-01 2000-06-01 2000-07-01 2000-08-01 "
              "t (Europe/Berlin)\n");
    EXPECT_EQ(labels("1850-01-01", "2150-01-01"),
              "1850-01-01 1900-01-01 1950-01-01 2000-01-01 2050-01-01 2100-01-01 2150-01-01 t (Europe/Berlin)\n");
    Write("rec.csv", "t,v\n2024-03-31 00:10,1\n2024-03-31 00:40,9\n2024-03-31 04:20,5\n");
    EXPECT_EQ(Run("$V -q plan.toml rec.csv -o result.csv --plot x.svg --from 2024-03-31T00:30 --to 2024-03-31T00:50;"
                  "wc -l <result.csv; grep -c '> 9<' x.svg; grep -c '> 5<\\|> 1<' x.svg"),
              1); // neither 1 nor 5 is on the value axis
    EXPECT_EQ(Read("out"), "4\n1\n0\n");
    for (const auto& [options, message] : {std::pair("--from noon", "\"noon\" is not a time of ISO 8601"),
                                           std::pair("--from 2150-01-01 --to 2149-01-01", "ends before it begins")}) {
        EXPECT_EQ(Run(std::string("$V plan.toml rec.csv --plot x.svg ") + options), 1);
        EXPECT_NE(Read("err").find(message), std::string::npos) << Read("err");
    }
    EXPECT_EQ(Run("$V plan.toml rec.csv --from 1"), 1);
    Write("rec.csv", "t,v\n1850-01-01,1\n2150-01-01,1\n");
    EXPECT_EQ(Run("$V plan.toml rec.csv --trace 2 t"), 0);
    EXPECT_EQ(Read("out"), "row 2\nt = 2150-01-01T00:00:00\n    read from the recording\n");
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
    EXPECT_EQ(Run("$V plan.toml rec.csv -o result.csv & until find . -name 'result.csv.*.part' -size +0 | grep -q . || "
                  "! kill -0 $!; do :; done; kill -INT $!; wait $!"), // as soon as the first rows are written
              130);
    EXPECT_EQ(Read("err").find('\r'), std::string::npos); // no progress bar without a terminal
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
