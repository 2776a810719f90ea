// velreplay and files: whatever goes wrong, no data is lost and no file is left incomplete.
#include "HostFixture.h"

#include <algorithm>
#include <set>
#include <vector>

#include <sys/stat.h>

namespace {

class ReplayFilesTest : public HostTest {
protected:
    void SetUp() override {
        HostTest::SetUp();
        Write("plan.toml", dividePlan);
        Write("drawn.toml", std::string(dividePlan) + "[plot]\nx = \"a\"\npanels = [{ channels = [\"b\", \"z\"] }]\n");
        Write("rec.csv", "a,b\n6,3\n");
    }
    /// Replays a live source, and sends velreplay a signal after a row and a half. The writer's open() waits for the
    /// reader, which has installed its signal handlers by then.
    static int RunAndSignal(const std::string& signal, const std::string& before = "") {
        return Run("rm -f live started; mkfifo live; "
                   "(printf 'a,b\\n6,3\\n8,'; touch started; sleep 1; echo 2) >live & " +
                   before +
                   "$V -q plan.toml live -o result.csv & "
                   "until [ -e started ]; do sleep 0.02; done; sleep 0.3; kill -" +
                   signal + " $!; wait $!");
    }
    /// The contents of partial files that runs have left beside the result.
    static std::multiset<std::string> Parts() {
        std::multiset<std::string> parts;
        for (const auto& entry : std::filesystem::directory_iterator("."))
            if (entry.path().extension() == ".part")
                parts.insert(Read(entry.path().c_str()));
        return parts;
    }
};

TEST_F(ReplayFilesTest, TakesNoNameThatIsInUse) {
    Write("x.csv.part", "a,b\n8,2\n");
    EXPECT_EQ(Run("$V plan.toml x.csv.part -o x.csv"), 0) << Read("err");
    EXPECT_EQ(Read("x.csv.part"), "a,b\n8,2\n");
    EXPECT_EQ(Read("x.csv"), "a,b,z\n8,2,4\n");
    // Two runs at once: each writes its own file, and the one that renames it last wins.
    EXPECT_EQ(Run("(echo a,b; echo 1,1; sleep 0.3; echo 2,1; sleep 0.3) | $V plan.toml -o same.csv & "
                  "(echo a,b; sleep 0.1; echo 3,1; sleep 0.3; echo 4,1) | $V plan.toml -o same.csv; wait"),
              0);
    const std::string same = Read("same.csv");
    EXPECT_TRUE(same == "a,b,z\n1,1,1\n2,1,2\n" || same == "a,b,z\n3,1,3\n4,1,4\n") << same;
    std::filesystem::remove("x.csv.part");
    EXPECT_EQ(Parts(), std::multiset<std::string>());
    const std::string longName(255, 'n');
    EXPECT_EQ(Run("$V plan.toml rec.csv -o " + longName), 0) << Read("err");
    EXPECT_EQ(Read(longName.c_str()), "a,b,z\n6,3,2\n");
}

TEST_F(ReplayFilesTest, KeepsTheRowsBeforeABadCell) {
    Write("result.csv", "old\n");
    for (const char* const live : {"(echo a,b; echo 6,3; sleep 0.1; echo x,1) | $V plan.toml - -o result.csv",
                                   "(echo a,b; echo 6,3; echo 1,x) >bad.csv; $V plan.toml bad.csv -o ./result.csv"}) {
        EXPECT_EQ(Run(live), 1);
        EXPECT_NE(Read("err").find("\n  the rows before are in "), std::string::npos) << Read("err");
        EXPECT_EQ(Read("result.csv"), "old\n");
    }
    EXPECT_EQ(Parts(), (std::multiset<std::string>{"a,b,z\n6,3,2\n", "a,b,z\n6,3,2\n"})); // one file for each run
    EXPECT_EQ(Run("rm *.part; (echo a,b; echo x,1; echo 1,1) >bad.csv; $V plan.toml bad.csv -o result.csv"), 1);
    EXPECT_TRUE(Parts().empty()); // there were no rows before the bad cell
}

TEST_F(ReplayFilesTest, LeavesTheOldResultWhenItIsKilledOrTheDiskIsFull) {
    Write("result.csv", "old\n");
    RunAndSignal("KILL");
    EXPECT_EQ(Read("result.csv"), "old\n");
    EXPECT_EQ(Parts(), std::multiset<std::string>{"a,b,z\n6,3,2\n"}); // flushed, so a user can rescue the rows
    EXPECT_EQ(Run("rm *.part; (echo a,b; yes 6,3 | head -c 1M) >large.csv; ulimit -f 100; "
                  "$V plan.toml large.csv -o result.csv"),
              1);
    EXPECT_NE(Read("err").find("cannot be written: File too large"), std::string::npos);
    EXPECT_EQ(Read("result.csv"), "old\n");
    EXPECT_TRUE(Parts().empty()); // the recording is still there
}

TEST_F(ReplayFilesTest, DrawsAPictureWholeOrNotAtAll) {
    ASSERT_EQ(symlink("/dev/full", "full.svg"), 0);
    for (const char* const picture : {"p.svg", "p.png", "full.svg"}) {
        if (std::string(picture) != "full.svg")
            Write(picture, "old\n");
        EXPECT_EQ(Run("ulimit -f 2; $V -q drawn.toml rec.csv --plot " + std::string(picture)), 1) << picture;
        EXPECT_NE(Read("err").find(std::string(picture) + ": cannot be written: "), std::string::npos) << Read("err");
        EXPECT_EQ(Read("out"), "a,b,z\n6,3,2\n");
    }
    EXPECT_EQ(Read("p.svg") + Read("p.png"), "old\nold\n");
    EXPECT_TRUE(Parts().empty());
    Write("gnuplot", "#!/bin/sh\necho '<svg>'\n"); // an incomplete picture, but no error
    EXPECT_EQ(Run("chmod +x gnuplot; PATH=.:$PATH; $V -q drawn.toml rec.csv --plot p.svg"), 1);
    EXPECT_EQ(Read("p.svg"), "old\n");
}

TEST_F(ReplayFilesTest, HandsOnPermissionsAndFollowsLinks) {
    Write("result.csv", "old\n");
    ASSERT_EQ(chmod("result.csv", 0640), 0);
    const bool isRoot = geteuid() == 0; // only root may change the owner of files
    ASSERT_TRUE(!isRoot || chown("result.csv", 1234, 2345) == 0);
    ASSERT_EQ(symlink("new.csv", "dangling"), 0);
    EXPECT_EQ(Run("$V plan.toml rec.csv -o result.csv && $V plan.toml rec.csv -o dangling"), 0) << Read("err");
    struct stat status {};
    ASSERT_EQ(stat("result.csv", &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0640u);
    EXPECT_TRUE(!isRoot || (status.st_uid == 1234 && status.st_gid == 2345));
    EXPECT_TRUE(std::filesystem::is_symlink("dangling"));
    EXPECT_EQ(Read("result.csv") + Read("new.csv"), "a,b,z\n6,3,2\na,b,z\n6,3,2\n");
    EXPECT_EQ(Run("umask 027; $V plan.toml rec.csv -o fresh.csv; stat -c %a fresh.csv"), 0);
    EXPECT_EQ(Read("out"), "640\n");
}

TEST_F(ReplayFilesTest, ComparesFilesAndNotNames) {
    std::filesystem::create_directory("folder");
    std::filesystem::create_symlink(".", "here");
    std::filesystem::create_symlink("x.svg", "y.svg");
    std::filesystem::create_hard_link("rec.csv", "hard.csv");
    for (const char* const arguments :
         {"-o x.svg --plot ./x.svg", "-o x.svg --plot folder/../x.svg", "-o x.svg --plot here/x.svg",
          "-o x.svg --plot y.svg", "--plot x.svg >x.svg", "-o hard.csv", "-o here/drawn.toml"}) {
        std::filesystem::remove("x.svg");
        EXPECT_EQ(Run("$V drawn.toml rec.csv " + std::string(arguments)), 1) << arguments;
        const std::string said = Read("err");
        EXPECT_TRUE(said.find("would be the same file") != said.npos ||
                    said.find("is the file that is read") != said.npos)
            << arguments << '\n'
            << said;
    }
    EXPECT_EQ(Read("rec.csv"), "a,b\n6,3\n");
}

TEST_F(ReplayFilesTest, EndsInGoodOrderWhenTheTerminalGoes) {
    EXPECT_EQ(RunAndSignal("HUP"), 130);
    EXPECT_EQ(Read("result.csv"), "a,b,z\n6,3,2\n");
    EXPECT_EQ(RunAndSignal("HUP", "trap '' HUP;"), 0); // as nohup does
    EXPECT_EQ(Read("result.csv"), "a,b,z\n6,3,2\n8,2,4\n");
}

TEST_F(ReplayFilesTest, DrawsAnyRangeOfNumbers) {
    const auto drawn = [](const std::string& rows) {
        Write("rec.csv", "a,b\n" + rows);
        EXPECT_EQ(Run("$V -q drawn.toml rec.csv --plot x.svg"), 0);
        EXPECT_EQ(Read("err"), "") << rows; // gnuplot reports nothing
        return Read("x.svg");
    };
    EXPECT_NE(drawn("1,1.797e308\n2,-1.797e308\n3,inf\n").find(">value / 1e308<"), std::string::npos);
    EXPECT_NE(drawn("1,0\n2,1e-320\n").find("<svg"), std::string::npos);
    EXPECT_NE(drawn("-1.797e308,1\n1.797e308,5\n").find(">a / 1e308<"), std::string::npos);
    for (const char* const rows : {"1,1e300\n2,1e300\n", "1e300,1\n", "5e-324,1\n", "1,1\n2,1.0000000000000002\n",
                                   "9007199254740992,-1e18\n9007199254740993,-1000000000000000128\n"})
        EXPECT_NE(drawn(rows).find("</svg>"), std::string::npos) << rows;
    const std::string unixTime = drawn("1711240000,1\n1711240000.25,2\n1711240000.5,1\n1711240100,2\n");
    EXPECT_NE(unixTime.find(">a - 1711240000<"), std::string::npos);
    for (const char* const tick : {"> 20<", "> 40<", "> 60<", "> 80<"})
        EXPECT_NE(unixTime.find(tick), std::string::npos) << tick;
}

TEST_F(ReplayFilesTest, NoticesThatARecordingIsCutWhileItIsRead) {
    EXPECT_EQ(Run("(echo a,b; yes 6,3 | head -c 1M) >cut.csv; mkfifo live; $V -q plan.toml cut.csv >live & "
                  "exec 7<live; head -c 1 <&7 >/dev/null; truncate -s 600006 cut.csv; cat <&7 >/dev/null; wait $!"),
              1);
    EXPECT_EQ(Read("err"), "cut.csv: the recording became shorter while it was read\n"
                           "  copy it first, or read it again\n");
}

TEST_F(ReplayFilesTest, ReadsOneColumnForManyInputs) {
    std::string plan;
    for (const std::string name : {"a", "b", "c", "d", "e"})
        plan += "[[inputs]]\nname = \"" + name + "\"\ncolumn = \"\"\ntype = \"Float64\"\n";
    Write("plan.toml", plan);
    std::string recording = "\"\"\n", wanted = "a,b,c,d,e\n";
    for (int row = 0; row < 40000; ++row) { // more rows than a block of one input holds
        recording += "1\n";
        wanted += "1,1,1,1,1\n";
    }
    Write("rec.csv", recording);
    EXPECT_EQ(Run("$V -q plan.toml rec.csv -o result.csv"), 0);
    EXPECT_TRUE(Read("result.csv") == wanted);
}

} // namespace
