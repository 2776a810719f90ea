// Recordings as loggers and spreadsheets write them: what velreplay makes of them.
#include "HostFixture.h"
#include "recordings/Times.h"

#include <vector>

namespace {

using Vel::TimeForm;
using Vel::Recordings::TimeFault;
using Vel::Recordings::TimeReader;
using Vel::Recordings::TimeWriter;

/// The times of texts, in hours from the first; -1 for a text that is none. What is written reads back.
std::vector<double> HoursOf(const TimeForm& form, const std::vector<std::string>& texts) {
    TimeReader reader(form, "here");
    TimeReader again(form, "here");
    TimeWriter writer(form);
    std::vector<double> hours;
    double first = 0;
    for (const std::string& text : texts) {
        double time = 0;
        if (reader.Read(text, time) != TimeFault::None) {
            hours.push_back(-1);
            continue;
        }
        writer.SetStyle(*reader.Style());
        double back = 0;
        const std::string written(writer.Write(time));
        EXPECT_EQ(again.Read(written, back), TimeFault::None) << written;
        EXPECT_EQ(back, time) << written;
        first = hours.empty() ? time : first;
        hours.push_back((time - first) / 3600);
    }
    return hours;
}

TEST(Times, ReadAndWriteEachForm) {
    using Hours = std::vector<double>;
    EXPECT_EQ(HoursOf({}, {"1999-12-31T23:00", "2000-01-01 00:00:00Z", "2000-01-01T02:30:00,000+0130", "2000-02-30",
                           "2000-01-01T24:00:01", "2000-01-01 24:00"}),
              (Hours{0, 1, 2, -1, -1, 25}));
    EXPECT_EQ(HoursOf({TimeForm::Kind::UnixMilliseconds}, {"-1800000.0", "1800000", "1e5"}), (Hours{0, 1, -1}));
    const std::string berlin = "Europe/Berlin";
    // The clock is put back from 03:00 to 02:00, and forward from 02:00 to 03:00.
    EXPECT_EQ(HoursOf({TimeForm::Kind::Iso, "", berlin},
                      {"2024-10-27 01:45", "2024-10-27 02:45", "2024-10-27 02:15", "2024-10-27 02:45",
                       "2024-10-27 03:15", "2024-10-27 02:15", "2024-03-31 02:30"}),
              (Hours{0, 1, 1.5, 2, 2.5, -1, -1}));
    EXPECT_EQ(HoursOf({TimeForm::Kind::Pattern, "%d.%m.%Y %H:%M:%S", berlin},
                      {"27.10.2024 01:00:00", "27.10.2024 02:00:00", "27.10.2024 02:00:00", "27.10.2024 03:00:00,0"}),
              (Hours{0, 1, 2, 3})); // rows an hour apart
    EXPECT_EQ(HoursOf({TimeForm::Kind::Iso, "", berlin, true}, {"2024-10-27T00:30Z", "2024-10-27T01:30Z"}),
              (Hours{0, 0}));
}

constexpr const char* meterPlan = R"(
[plan]
keep = "all"
[recording]
decimal_comma = true
thousands = "."
missing = ["NULL", "-"]
skip = 1
units_row = true
[[inputs]]
name = "t"
column = "Time"
type = "Time"
format = "%d.%m.%Y %H:%M:%S"
zone = "Europe/Berlin"
[[inputs]]
name = "p"
type = "Float64"
[[inputs]]
name = "n"
type = "UInt8"
[compute]
twice = "p * 2"
)";

class RecordingsTest : public HostTest {
protected:
    void SetUp() override {
        HostTest::SetUp();
        Write("plan.toml", meterPlan);
        Write("a.csv",
              "\xEF\xBB\xBFsaid \"so\r\nTime;p;n;note\r\n;kW;;\r\n01.05.2024 00:00:00,5;1.517,0;5,0;\"a;b\"\r\n"
              "01.05.2024 00:00:01;-;0x10; x \r\n;-1e-400;FALSE;");
        Write("b.csv", "\xEF\xBB\xBF#\nn;note;Time;p\n;;;kW\n7;;01.05.2024 00:05:00;-1\n");
    }
};

TEST_F(RecordingsTest, SeveralFilesOfALoggerAreOneRecording) {
    const std::string wanted = "t;p;n;twice;note\n01.05.2024 00:00:00,5;1517;5;3034;\"a;b\"\n"
                               "01.05.2024 00:00:01,0;;16;;x\n;-0;0;-0;\n01.05.2024 00:05:00,0;-1;7;-2;\n";
    EXPECT_EQ(Run("gzip -k b.csv; head -c 60 a.csv | gzip >c.gz; tail -c +61 a.csv | gzip >>c.gz"), 0);
    for (const char* const files : {"a.csv b.csv", "<(cat a.csv) b.csv.gz", "- b.csv <a.csv", "c.gz b.csv"}) {
        Write("run", "\"$0\" -q plan.toml " + std::string(files));
        EXPECT_EQ(Run("bash -c \"$(cat run)\" $V"), 0);
        EXPECT_EQ(Read("out"), wanted) << files << Read("err");
    }
}

TEST_F(RecordingsTest, WhatIsBadIsRefusedOrCounted) {
    const auto refuse = [](const std::string& arguments, const std::string& message) {
        EXPECT_EQ(Run("$V -q plan.toml " + arguments), 1) << arguments;
        EXPECT_NE(Read("err").find(message), std::string::npos) << Read("err");
    };
    Write("bad.csv", "#\nTime;p;n;note\n;;;\n31.03.2024 02:30:00;1,5;255;\n;1.5;x;\n");
    refuse("a.csv bad.csv",
           "bad.csv:4, column 1, channel \"t\": \"31.03.2024 02:30:00\" is no time in Europe/Berlin: the "
           "clock was put forward over it");
    refuse("bad.csv", "\"255\" is the NoValue of the type UInt8");
    refuse("a.csv none.csv", "none.csv: the recording cannot be opened");
    EXPECT_EQ(Run("$V --on-bad-cell missing plan.toml bad.csv"), 0);
    EXPECT_EQ(Read("out"), "t;p;n;twice;note\n;1,5;;3;\n;;;;\n");
    EXPECT_NE(Read("err").find("warning: bad cells count as missing (4 in all)\n    bad.csv:4"), std::string::npos);
    EXPECT_EQ(Run("gzip <a.csv | head -c 40 >cut.gz"), 0);
    refuse("cut.gz", "cut.gz: the gzip data end too early");
    refuse("a.csv --thousands ,", "--thousands: \",\" stands before the decimals already");
    Write("plan.toml", std::string("[[inputs]]\nname = \"a\"\ntype = \"Time\"\nzone = \"Europe/Berln\"\n"));
    refuse("--check", "plan.toml:1: the time zone \"Europe/Berln\" is unknown");
}

} // namespace
