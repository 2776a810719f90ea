// velreplay's messages about recordings, plans and arguments that it cannot use.
#include "HostFixture.h"

#include <algorithm>
#include <sstream>

namespace {

class ReplayMessagesTest : public HostTest {
protected:
    /// What is said about a recording, after the first line of the message's place.
    static std::string Said(const std::string& recording, const std::string& options = "") {
        Write("plan.toml", dividePlan);
        Write("rec.csv", recording);
        EXPECT_EQ(Run("$V -q plan.toml rec.csv " + options), 1) << recording.substr(0, 100);
        const std::string said = Read("err");
        EXPECT_LT(said.size(), 3000u);
        EXPECT_TRUE(std::all_of(said.begin(), said.end(), [](char c) {
            return c == '\n' || (c & 0x80) != 0 || (c >= ' ' && c != 0x7F);
        })) << said;
        return said;
    }
    static void ExpectIn(const std::string& part, const std::string& said) {
        EXPECT_NE(said.find(part), std::string::npos) << said;
    }
};

TEST_F(ReplayMessagesTest, SuggestsTheSeparatorThatFits) {
    ExpectIn("separated otherwise: --separator ';'", Said("a;b\n6;3.5\n"));
    ExpectIn("separated otherwise: --separator ';'", Said("\"a\";\"b\"\n6;3\n")); // not CSV with commas
    ExpectIn("separated otherwise: --decimal-comma", Said("\xEF\xBB\xBF"
                                                          "a;b\r\n6,5;3\r\n"));
    ExpectIn("separated otherwise: --separator tab", Said("other\ta\tb\n1\t6\t3\n"));
    ExpectIn("leave out --decimal-comma", Said("a,b\n6,3.5\n", "--decimal-comma"));
    ExpectIn("the header seems to be line 4: --skip 3", Said("a,x\n\"said \"so\n\na,b\n1,2\n", "--skip 4"));
    ExpectIn("line 2: --skip 1 --decimal-comma", Said("sep=;\r\na;b\r\n1;2,5\r\n"));
    ExpectIn("separated otherwise: --separator '|'", Said("\n\na|b\n"));
    ExpectIn("did you mean \"beta\"? the header has: \"a\" \"beta\"", [] {
        Write("plan.toml", "[[inputs]]\nname = \"Beta\"\ntype = \"UInt8\"\n");
        Run("printf 'a,beta\\n' | $V plan.toml");
        return Read("err");
    }());
    std::string many = "n0";
    for (int i = 1; i < 100000; ++i)
        many += ",n" + std::to_string(i);
    ExpectIn("... (100000 names)", Said(many));
}

TEST_F(ReplayMessagesTest, KnowsWhatIsNoPlainText) {
    using namespace std::string_literals;
    ExpectIn("the gzip data are damaged: unknown compression method", Said("\x1F\x8B\x00\x00,\x1B[31m\n"s));
    ExpectIn("zstdcat", Said("\x28\xB5\x2F\xFD,\n"));
    ExpectIn("xzcat", Said("\xFD\x37zXZ\0"s));
    ExpectIn("bzcat", Said("BZh91AY&SY\x01"));
    ExpectIn("there is no channel \"a\"", Said("BZh")); // not bzip2
    ExpectIn("ZIP archive or a workbook", Said("PK\x03\x04"));
    ExpectIn("in UTF-16\n  convert it in a pipe: iconv -f UTF-16 -t UTF-8", Said("\xFF\xFE"
                                                                                 "a\0,\0b\0\n\0"s));
    ExpectIn("iconv -f UTF-16LE", Said("a\0,\0b\0\n\0"s));
    ExpectIn("iconv -f UTF-16BE", Said("\0a\0,\0b\0\n"s));
    ExpectIn("in UTF-32\n  convert it in a pipe: iconv -f UTF-32 -t", Said("\xFF\xFE\0\0a\0\0\0"s));
    ExpectIn("iconv -f UTF-32LE", Said("a\0\0\0,\0\0\0"s));
    ExpectIn("iconv -f UTF-32BE", Said("\0\0\0a\0\0\0,"s));
    Write("plan.toml", "[[inputs]]\nname = \"T [°C]\"\ntype = \"UInt8\"\n");
    Run("printf 'T [\\260C]\\n1\\n' | $V plan.toml");
    ExpectIn("the header is not in UTF-8; for most Windows programs: iconv -f WINDOWS-1252", Read("err"));
    ExpectIn("the recording is not text", Said("\x7F"
                                               "ELF\0\0,\n"s));
}

TEST_F(ReplayMessagesTest, ShortensWhatItQuotes) {
    const std::string cell(100000, 'x');
    ExpectIn("\"" + cell.substr(0, 60) + "...\" is not a number", Said("a,b\n1," + cell + "\n"));
    ExpectIn("\"" + cell.substr(0, 59) + "...\" is not", Said("a,b\n1," + cell.substr(0, 59) + "\u00E4\u00E4\n"));
    ExpectIn(R"("\x1b[31m2\x00" is not a number)", Said(std::string("a,b\n1,\x1B[31m2\0\n", 15)));
    ExpectIn("perhaps the logger lost power here; to leave these bytes out: tr -d '\\0' <RECORDING", Read("err"));
    ExpectIn(R"("\x9b1m\xc2\x9b\xe2\x80\xaeü\xff\xc0\x80" is not)",
             Said("a,b\n1,\x9B"
                  "1m\xC2\x9B\xE2\x80\xAE\u00FC\xFF\xC0\x80\n")); // control sequences of terminals, and invalid UTF-8
    Write("\x1B[31m.csv", "a,b\n");
    EXPECT_EQ(Run("$V plan.toml *m.csv *m.csv --skip 1"), 1);
    ExpectIn(R"(\x1b[31m.csv:2: there is no header after)", Read("err"));
    ExpectIn("there is no channel \"b\"", Said("a," + cell + "\n"));
    ExpectIn("a cell is longer than 16 MiB", Said("a,b\n1,\"" + std::string(std::size_t{20} << 20, 'x')));
}

TEST_F(ReplayMessagesTest, CountsAllBadCellsAndListsTwenty) {
    std::string recording = "a,b\n";
    for (int row = 1; row <= 50000; ++row)
        recording += row % 1000 == 0 ? "x,y\n" : row == 49999 ? "1\n" : "1,1\n";
    const std::string said = Said(recording);
    ExpectIn("rec.csv:1001, column 1, channel \"a\": \"x\" is not a number of type Float64\n  correct the cell", said);
    ExpectIn("\n  there are 101 bad cells and rows, also:\n    rec.csv:1001, column 2, channel \"b\": \"y\"", said);
    ExpectIn("\n    rec.csv:10001, column 2, channel \"b\": \"y\" is not a number of type Float64\n    ...\n", said);
    EXPECT_EQ(std::count(said.begin(), said.end(), 'F'), 20);
    ExpectIn("\n  what follows could not be read: rec.csv:4: not CSV", Said("a,b\nx,1\n1,1\n1\"1,1\n"));
    ExpectIn("rec.csv:2: more cells than", Said("a,b\n1,1,1,1\n1\n"));
    // Lines are counted for all line endings, also inside cells that the plan does not use.
    ExpectIn("rec.csv:6,", Said("a,b,c\r1,1,2\r\r1,1,\"x\ry\"\rx,1,2\r"));
    ExpectIn("rec.csv:5,", Said("a,b,\"c\r\n\"\r\n1,1,2\r\n\r\nx,1,2\r\n"));
}

TEST_F(ReplayMessagesTest, ReadsPlansFromPipesAndOnlyThoseOfAnExtent) {
    Write("plan.toml", dividePlan);
    Write("rec.csv", "a,b\n6,3\n");
    EXPECT_EQ(Run("cat plan.toml | $V -q /dev/stdin rec.csv; mkfifo plan; cat plan.toml >plan & $V -q plan rec.csv"),
              0);
    EXPECT_EQ(Read("out"), "a,b,z\n6,3,2\na,b,z\n6,3,2\n");
    const auto repeated = [](const std::string& text, int times) {
        std::string whole;
        while (times-- > 0)
            whole += text;
        return whole;
    };
    const std::string strings =
        "[plan]\noutput = [\"" + repeated("a.[{", 100) + "\", '''\n" + repeated("[", 100) + "''']\n";
    for (const std::string& deep :
         {repeated("a.", 50000) + "a = 1", "[" + repeated("a . ", 50000) + "a]", "a = " + repeated("[", 50000),
          "a = " + repeated("{a=", 50000), strings + repeated("a.", 50000) + "a = 1",
          "a = ['''a'''', {" + repeated("a.", 50000) + "a = 1}]"}) {
        Write("deep.toml", "# a\n" + deep);
        EXPECT_EQ(Run("$V deep.toml rec.csv"), 1);
        ExpectIn("the plan nests tables or lists too deeply", Read("err"));
    }
    Write("flat.toml", strings + dividePlan + "#" + repeated(".[", 100)); // not nested
    EXPECT_EQ(Run("$V flat.toml rec.csv"), 1);
    ExpectIn("unknown channel", Read("err"));
    EXPECT_EQ(Run("$V /dev/zero rec.csv"), 1);
    ExpectIn("the plan is longer than 16 MiB", Read("err"));
}

TEST_F(ReplayMessagesTest, RefusesArgumentsWithARemedy) {
    Write("plan.toml", dividePlan);
    const auto refuse = [](const std::string& arguments, const std::string& message) {
        EXPECT_EQ(Run("$V plan.toml " + arguments + " </dev/null"), 1) << arguments;
        ExpectIn(message, Read("err"));
    };
    refuse("-o ''", "--output: the name is empty");
    refuse("--plot ''", "--plot: the name is empty");
    refuse("--separator e", "\"e\" cannot separate cells");
    refuse("--operations Dvide", "did you mean Divide?");
    refuse("--operations butterworth", "did you mean FilterButterworthLowPass, FilterButterworthHighPass, ");
}

// R writes tables in which the first name is empty.
TEST_F(ReplayMessagesTest, LosesNoColumnWhateverItsName) {
    const std::string plan = "[[inputs]]\nname = \"\"\ntype = \"UInt8\"\n[[inputs]]\nname = \" b\"\ntype = \"UInt8\"\n"
                             "[[inputs]]\nname = \"c,\\\"\\n\"\ntype = \"UInt8\"\n";
    const std::string table = "\"\",\" b\",\"c,\"\"\n\"\n1,2,3\n";
    EXPECT_EQ(Replayed(plan, table), table);
    Write("again.csv", Read("out"));
    EXPECT_EQ(Run("$V -q plan.toml again.csv"), 0) << Read("err");
    EXPECT_EQ(Read("out"), table);
    EXPECT_EQ(Replayed(plan, "," + table.substr(3)), table);
    EXPECT_EQ(Replayed(dividePlan, "a b\n1 0\n-nan 2\n", "--separator ' ' --status"),
              "a b z z.status\n1 0  refused\n 2  \"no value\"\n");
}

constexpr const char* surprisingPlan = R"toml(
[recording]
on_no_value = "missing"
[[inputs]]
name = "time"
type = "Float64"
[[inputs]]
name = "power"
type = "Float64"
[[inputs]]
name = "state"
type = "UInt8"
[compute]
energy = "IntegralAdd(power, delta_time = 1)"
hour = "Hour(time)"
half = "power / (power - power)"
peak = "Max(power, window = 2)"
pulse = "MonoFlop(power, duration = 1) as UInt16"
)toml";
constexpr const char* surprisingRecording = "time,power,state\n1,5,7\n2,6,255\n2.5,,3\n,4,255\n";

TEST_F(ReplayMessagesTest, WarnsOfWhatAUserMayNotExpect) {
    Write("plan.toml", surprisingPlan);
    Write("rec.csv", surprisingRecording);
    const std::string warnings =
        "warning: channel \"time\": steps of 0.5 to 1 from row to row, while \"energy\" takes them for equal (first in "
        "row 3; 1 in all)\n"
        "warning: channel \"energy\": the total of IntegralAdd starts again from 0 behind a missing sample (first in "
        "row 3; 1 in "
        "all)\n"
        "warning: channel \"hour\": Hour makes a value of a missing sample (first in row 4; 1 in all)\n"
        "warning: channel \"pulse\": MonoFlop reads the clock of this machine, not the time of the recording\n"
        "warning: channel \"state\": cells that hold 255, its NoValue, count as missing (first in row 2; 2 in all)\n";
    EXPECT_EQ(Run("$V plan.toml rec.csv -o result.csv"), 0);
    EXPECT_TRUE(Read("err").ends_with(warnings)) << Read("err");
    EXPECT_EQ(Run("$V --strict -q plan.toml rec.csv -o strict.csv"), 1);
    EXPECT_EQ(Read("err"), warnings);
    EXPECT_EQ(Read("strict.csv"), Read("result.csv")); // it is kept
    EXPECT_EQ(Run("$V -q plan.toml rec.csv -o result.csv"), 0);
    EXPECT_EQ(Read("err"), "");
    Write("plan.toml", dividePlan);
    Write("rec.csv", "a,b\n1,2\n");
    EXPECT_EQ(Run("$V --strict -q plan.toml rec.csv"), 0);
}

TEST_F(ReplayMessagesTest, RefusesTwoColumnsOfOneName) {
    const std::string inputs = "[[inputs]]\nname = \"z.status\"\ntype = \"UInt8\"\n[compute]\nz = \"`z.status` + 1\"\n";
    Write("rec.csv", "z.status\n1\n");
    Write("plan.toml", inputs);
    EXPECT_EQ(Run("$V -q --status plan.toml rec.csv"), 1);
    ExpectIn("a column of statuses and a channel are both called \"z.status\"", Read("err"));
    Write("plan.toml", "[plan]\noutput = [\"z\", \"z\"]\n" + inputs);
    EXPECT_EQ(Run("$V -q plan.toml rec.csv"), 1);
    ExpectIn("output: \"z\" is there twice", Read("err"));
}

TEST_F(ReplayMessagesTest, SaysWhatToDoAboutClocksAndMissingHeaders) {
    const std::string plan = "inputs = [{ name = \"t\", type = \"Time\", zone = \"America/Los_Angeles\" }]\n";
    ExpectIn("the clock was put forward over it\n  correct the cell; if this clock is never put forward or back, write "
             "zone = \"UTC\"; --on-bad-cell missing leaves out such cells\n",
             Replayed(plan, "t\n2010-03-14 01:00\n2010-03-14 02:00\n"));
    ExpectIn("say in the plan how times are written: format = ", Replayed(plan, "t\n14.03.2010\n"));
    ExpectIn("the first line has numbers, no names; put names before it: sed", Replayed(plan, "530,1\n531,2\n"));
}

TEST_F(ReplayMessagesTest, ChecksAPlanWithoutARecording) {
    Write("plan.toml", surprisingPlan);
    EXPECT_EQ(Run("$V --check plan.toml"), 0);
    EXPECT_EQ(Read("out"), "plan.toml is right: 3 inputs, 5 computed channels\n");
    ExpectIn("MonoFlop reads the clock", Read("err"));
    Write("plan.toml", std::string(surprisingPlan) + "[plot]\nx = \"time\"\n[[plot.panels]]\nchannels = [\"peek\"]\n");
    EXPECT_EQ(Run("$V --check plan.toml"), 1);
    ExpectIn("unknown channel \"peek\"\n  did you mean \"peak\"?", Read("err"));
}

TEST_F(ReplayMessagesTest, TheManualPageHasEachOptionAndKeyOfRecordings) {
    const std::string page = Read(VEL_SOURCE "/velreplay/velreplay.1");
    const auto expectEach = [&page](const std::string& names, const std::string& before, const std::string& behind) {
        std::istringstream stream(names);
        int count = 0;
        for (std::string name; stream >> name; ++count)
            ExpectIn(std::string(before).append(name).append(behind), page);
        EXPECT_GE(count, 8);
    };
    EXPECT_EQ(Run("$V --help | grep -o -e '--[a-z-]*[a-z]' | cut -c 2- | sort -u"), 0);
    expectEach(Read("out"), "Fl ", "");
    Write("plan.toml", "[recording]\nnone = 1\n" + std::string(dividePlan));
    EXPECT_EQ(Run("$V --check plan.toml"), 1);
    const std::string said = Read("err");
    const std::string known = "known here: ";
    ExpectIn(known, said);
    expectEach(said.substr(said.find(known) + known.size()), "Cm ", " No = ");
}

TEST_F(ReplayMessagesTest, TracesASampleToWhatItIsMadeOf) {
    Write("plan.toml", surprisingPlan);
    Write("rec.csv", surprisingRecording);
    const auto traced = [](const std::string& arguments) {
        EXPECT_EQ(Run("$V plan.toml rec.csv --trace " + arguments), 0);
        return Read("out");
    };
    EXPECT_EQ(traced("2 half"), "row 2\npower = 6\n    read from the recording\n"
                                "half#1 = 0\n    Minus on power = 6, power = 6\n    answered true\n    computed\n"
                                "half = no sample\n    Divide on power = 6, half#1 = 0\n    answered false\n"
                                "    refused: the operation refuses these samples, and the result stays as it was\n");
    EXPECT_EQ(traced("3 peak"), "row 3\npower = no sample\n    read from the recording\n"
                                "peak = no sample\n    Max on power = no sample\n    answered true\n"
                                "    its window has no sample to show, so the result has none\n"
                                "    no value: there is no sample of power\n");
    for (const std::string arguments : {"--check plan.toml", "plan.toml rec.csv --trace 1 peak"})
        EXPECT_EQ(Run("$V " + arguments + " >/dev/full"), 1);
    EXPECT_EQ(Run("$V --trace 3 peak plan.toml rec.csv && $V plan.toml --trace 3 peak rec.csv"), 0) << Read("err");
    EXPECT_EQ(Run("$V plan.toml rec.csv --trace 5 peak"), 1);
    EXPECT_EQ(Read("err"), "--trace: there is no row 5\n  there are 4; the first is 1\n");
    // A row after many blocks is the same one as in the result.
    std::string rows = "time,power,state\n";
    for (int row = 1; row <= 30000; ++row)
        rows += std::to_string(row) + "," + std::to_string(row * 7 % 11) + ",1\n";
    Write("rec.csv", rows);
    ExpectIn("\nenergy = 104995\n", traced("21000 energy"));
}

} // namespace
