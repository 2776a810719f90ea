// Recordings as loggers and spreadsheets write them, read by velreplay.
#include "HostFixture.h"
#include "recordings/CsvWriter.h"

#include <bit>
#include <deque>
#include <random>
#include <vector>

namespace {

using Vel::TimeForm;
using Vel::Recordings::CsvFormat;
using Vel::Recordings::TextColumn;
using Vel::Recordings::TimeFault;
using Vel::Recordings::TimeReader;
using Vel::Recordings::TimeWriter;

/// The times in texts, in hours since the first; -1 for a text that is not a time. Also checks the round trip.
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
    // Clocks go back from 03:00 to 02:00, and forward from 02:00 to 03:00.
    EXPECT_EQ(HoursOf({TimeForm::Kind::Iso, "", berlin},
                      {"2024-10-27 01:45", "2024-10-27 02:45", "2024-10-27 02:15", "2024-10-27 02:45",
                       "2024-10-27 03:15", "2024-10-27 02:15", "2024-03-31 02:30"}),
              (Hours{0, 1, 1.5, 2, 2.5, -1, -1}));
    EXPECT_EQ(HoursOf({TimeForm::Kind::Pattern, "%d.%m.%Y %H:%M:%S", berlin},
                      {"27.10.2024 01:00:00", "27.10.2024 02:00:00", "27.10.2024 02:00:00", "27.10.2024 03:00:00,0"}),
              (Hours{0, 1, 2, 3})); // one row per hour
    EXPECT_EQ(HoursOf({TimeForm::Kind::Iso, "", berlin, true}, {"2024-10-27T00:30Z", "2024-10-27T01:30Z"}),
              (Hours{0, 0}));
}

TEST(Times, OfLocalClocksAreWrittenAsTheyCame) {
    const std::string berlin = "Europe/Berlin";
    const std::string compact = "%Y%m%d%H%M%S%z";
    for (const auto& [form, texts] : std::initializer_list<std::pair<TimeForm, std::vector<std::string>>>{
             {{TimeForm::Kind::Iso, "", berlin, true},
              {"2024-10-26T23:30:00Z", "2024-10-27T00:30:00Z", "2024-10-27T01:30:00Z", "2024-10-27T01:30:00Z"}},
             {{TimeForm::Kind::Iso, "", berlin, true},
              {"2024-10-27T01:30:00+02:00", "2024-10-27T02:30:00+02:00", "2024-10-27T02:30:00+01:00"}},
             {{TimeForm::Kind::UnixSeconds, "", berlin, true},
              {"1729987200", "1729989000", "1729990800", "1729992600", "1730000000"}},
             {{TimeForm::Kind::UnixMilliseconds, "", berlin, true}, {"1720000000250", "1730000000500"}},
             {{TimeForm::Kind::Pattern, compact, berlin, true},
              {"20241027015959+0200", "20241027025959+0200", "20241027020000+0100"}}}) {
        Vel::Recordings::TimeReader reader(form, "place");
        Vel::Recordings::TimeWriter writer(form);
        for (const std::string& text : texts) {
            double time = 0;
            ASSERT_EQ(reader.Read(text, time), Vel::Recordings::TimeFault::None) << text;
            writer.SetStyle(*reader.Style());
            EXPECT_EQ(writer.Write(time), text);
        }
    }
}

/// Writes columns of random samples and texts, and reads them back.
class RoundTrip {
public:
    explicit RoundTrip(std::uint64_t seed) : random(seed) {
        for (const Vel::SampleType& type : Vel::sampleTypes) {
            std::visit([&]<class T>(T noValue) { Add<T>(noValue, {}, [&] { return AnyNumber<T>(); }); },
                       Vel::DefaultNoValue(type.letter));
            std::visit([&]<class T>(T) { Add<T>(AnyNumber<T>(), {}, [&] { return AnyNumber<T>(); }); },
                       Vel::DefaultNoValue(type.letter));
        }
        for (const TimeForm& form : {TimeForm{}, TimeForm{TimeForm::Kind::Pattern, "%d.%m.%Y %H:%M:%S %z"},
                                     TimeForm{TimeForm::Kind::UnixSeconds}, TimeForm{TimeForm::Kind::UnixMilliseconds}})
            Add<double>(Vel::defaultNoValue<double>, form, [&] { return AnyTime(); });
        for (std::size_t row = 0; row < rows; ++row)
            texts.Append(AnyText());
    }

    void ExpectTheSame(const CsvFormat& format) {
        {
            Vel::Recordings::CsvWriter writer("table.csv", format, written);
            const std::vector<std::string> textNames{"text"};
            const std::vector<const TextColumn*> textColumns{&texts};
            writer.WriteHeader({}, textNames);
            writer.WriteRows({rows, columns, {}, textColumns});
            writer.Keep();
        }
        Vel::Recordings::CsvReader reader({"table.csv"}, format, 1000, [] { return false; });
        reader.ReadHeader(wanted, {{"text"}});
        std::size_t row = 0;
        while (const std::size_t more = reader.ReadBlock())
            for (std::size_t next = 0; next < more; ++next, ++row)
                for (std::size_t i = 0; i < columns.size(); ++i)
                    std::visit(
                        [&]<class T>(T noValue) {
                            const T before = columns[i].At<T>(row);
                            const T after = reader.ColumnOf(i).At<T>(next);
                            const bool isSame =
                                std::equal(AsBytes(&before), AsBytes(&before) + sizeof(T), AsBytes(&after));
                            ASSERT_TRUE(isSame || (Vel::IsNoValue(after, noValue) &&
                                                   (before != before || Vel::IsNoValue(before, noValue))))
                                << i << ' ' << +before << ' ' << +after;
                            ASSERT_EQ(reader.TextsOf(0).At(next), texts.At(row));
                        },
                        wanted[i].channel.noValue);
        EXPECT_EQ(row, rows);
    }

private:
    static constexpr std::size_t rows = 3000;

    template <class T>
    static const std::byte* AsBytes(const T* value) {
        return reinterpret_cast<const std::byte*>(value);
    }
    template <class T, class TChoose>
    void Add(T noValue, const std::optional<TimeForm>& form, const TChoose& choose) {
        auto& samples = memory.emplace_back(rows * sizeof(T) / sizeof(std::uint64_t) + 1);
        T* const first = reinterpret_cast<T*>(samples.data());
        for (std::size_t row = 0; row < rows; ++row)
            first[row] = random() % 10 == 0 ? noValue : choose();
        columns.push_back({first, sizeof(T)});
        const std::string name = std::to_string(columns.size());
        wanted.push_back({{name, noValue}, name, form});
        written.push_back({{name, noValue}, form});
    }
    /// Any bits, or a short decimal number.
    template <class T>
    T AnyNumber() {
        const std::uint64_t bits = random();
        if constexpr (std::is_same_v<T, double>)
            return bits % 2 == 0 ? std::bit_cast<double>(random()) : static_cast<double>(bits >> 40) / 1000;
        else if constexpr (std::is_same_v<T, float>)
            return bits % 2 == 0 ? std::bit_cast<float>(static_cast<std::uint32_t>(random()))
                                 : static_cast<float>(bits >> 48) / 8;
        else
            return static_cast<T>(bits >> random() % 64);
    }
    double AnyTime() {
        const double time = static_cast<double>(random() % 4'000'000'000) - 1e9; // from 1968 to 2095
        return random() % 2 == 0 ? time : time + static_cast<double>(random() % 1'000'000) / 1e6;
    }
    std::string AnyText() {
        constexpr std::string_view characters = "ab \"\",;\t\r\n'\xEF\xBB\xBF\x01-1.5";
        std::string text;
        for (std::uint64_t left = random() % 8; left > 0; --left)
            text += characters[random() % characters.size()];
        return text;
    }

    std::mt19937_64 random;
    std::deque<std::vector<std::uint64_t>> memory;
    std::vector<Vel::Column> columns;
    std::vector<Vel::Recordings::WantedColumn> wanted;
    std::vector<Vel::Recordings::ResultColumn> written;
    TextColumn texts;
};

TEST_F(HostTest, WhatIsWrittenReadsBackTheSame) {
    for (std::uint64_t seed = 1; seed <= 5; ++seed) {
        RoundTrip table(seed);
        for (const CsvFormat& format : {CsvFormat{}, CsvFormat{';', true}, CsvFormat{'\t'}, CsvFormat{';', true, "."},
                                        CsvFormat{' ', false, "'", {"NULL"}}})
            table.ExpectTheSame(format);
    }
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
    /// Peak memory of a run in kB.
    static long PeakOf(int wantedStatus, const std::string& commandLine) {
        EXPECT_EQ(Run("/usr/bin/time -q -o peak -f %M " + commandLine), wantedStatus) << commandLine << Read("err");
        return std::stol(Read("peak"));
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

/// Each folder of tests/recordings has a plan, a recording as one program writes it, and the expected result.
TEST_F(RecordingsTest, OtherProgramsRecordingsAreRead) {
    std::size_t folders = 0;
    for (const auto& entry : std::filesystem::directory_iterator(VEL_SOURCE "/tests/recordings")) {
        const std::string path = entry.path().string();
        EXPECT_EQ(Run("cd '" + path + "'; $V -q plan.toml recording*"), 0) << path << '\n' << Read("err");
        EXPECT_EQ(Read("out"), Read((path + "/result.csv").c_str())) << path;
        ++folders;
    }
    EXPECT_GE(folders, 10u);
}

TEST_F(RecordingsTest, MemoryDoesNotGrowWithTheRecording) {
    if (VEL_SANITIZED)
        GTEST_SKIP() << "sanitizers keep memory that is free";
    Write("plan.toml", "[plan]\nkeep = \"all\"\n[[inputs]]\nname = \"a\"\ntype = \"Float64\"\n"
                       "[compute]\nz = \"Max(a, window = 100)\"\n");
    const auto writeRows = [](const char* name, int rows) {
        std::string table = "a,b\n";
        for (int row = 0; row < rows; ++row)
            table += std::to_string(row % 977) + ",text " + std::to_string(row) + "\n";
        Write(name, table);
    };
    writeRows("short.csv", 50000);
    writeRows("long.csv", 500000);
    EXPECT_EQ(Run("gzip -1 -k short.csv long.csv"), 0);
    for (const std::string ending : {".csv", ".csv.gz"}) {
        const long peak = PeakOf(0, "$V plan.toml short" + ending + " -o result.csv");
        EXPECT_LE(PeakOf(0, "$V plan.toml long" + ending + " -o result.csv"), peak * 6 / 5) << ending;
    }
    // Small gzip files with one endless line: of names, of one cell, of kept cells.
    std::string names = "a,b";
    for (int i = 0; i < 100; ++i)
        names += "," + std::to_string(i);
    const std::string longCell = "head -c 1M /dev/zero | tr '\\0' x; echo -n ,";
    for (const auto& [content, message] :
         {std::pair<std::string, const char*>("echo -n a,b; yes '' | head -c 60M | tr '\\n' ,",
                                              "more than 1,000,000 names"),
          {"echo a,b; echo -n '1,\"'; yes | head -c 60M", "a cell is longer than 16 MiB"},
          {"echo " + names + "; for i in $(seq 99); do " + longCell + "; done", "more than 64 MiB of text"}}) {
        EXPECT_EQ(Run("(" + content + ") | gzip -1 >bomb.gz"), 0);
        EXPECT_LT(PeakOf(1, "$V plan.toml bomb.gz"), 200L * 1024);
        EXPECT_NE(Read("err").find(message), std::string::npos) << Read("err");
    }
}

TEST_F(RecordingsTest, PicturesKnowTheUnitsOfTheRecording) {
    const std::string input = "[[inputs]]\ntype = \"Float64\"\nname = ";
    Write("plan.toml", "[recording]\nunits_row = true\n" + input + "\"t\"\n" + input + "\"p\"\n" + input + "\"q\"\n" +
                           "[compute]\nr = \"p + q\"\n[plot]\nx = \"t\"\npanels = [{ channels = [\"p\", \"q\"] }, "
                           "{ channels = [\"p\", \"r\"] }, { channels = [\"q\"], unit = \"W\" }]\n");
    Write("rec.csv", "q,t,p\nkW,s,kW\n1,0,2\n3,1,4\n");
    EXPECT_EQ(Run("$V -q plan.toml rec.csv --plot p.svg && grep -o '>[^<]*\\[[^<]*<' p.svg"), 0) << Read("err");
    EXPECT_EQ(Read("out"), "t,p,q,r\n0,2,1,3\n1,4,3,7\n> [kW]<\n>q [W]<\n>t [s]<\n"); // the recording has no unit for r
}

TEST_F(RecordingsTest, WhatIsBadIsRefusedOrCounted) {
    const auto refuse = [](const std::string& arguments, const std::string& message) {
        EXPECT_EQ(Run("$V -q plan.toml " + arguments), 1) << arguments;
        EXPECT_NE(Read("err").find(message), std::string::npos) << Read("err");
    };
    Write("bad.csv", "#\nTime;p;n;note\n;;;\n31.03.2024 02:30:00;1,5;255;\n;1.5;x;\n");
    refuse("a.csv bad.csv",
           "bad.csv:4, column 1, channel \"t\": \"31.03.2024 02:30:00\" does not exist in Europe/Berlin: the "
           "clock was put forward over it");
    refuse("bad.csv", "\"255\" is the NoValue of the type UInt8");
    refuse("a.csv none.csv", "none.csv: the recording cannot be opened");
    EXPECT_EQ(Run("$V --on-bad-cell missing plan.toml bad.csv"), 0);
    EXPECT_EQ(Read("out"), "t;p;n;twice;note\n;1,5;;3;\n;;;;\n");
    EXPECT_NE(Read("err").find("warning: bad cells count as missing (4 in all)\n    bad.csv:4"), std::string::npos);
    Write("other.csv", "#\nTime;p;n;note;more\n;;;;\n");
    refuse("a.csv other.csv", "other.csv:2: the column \"more\" is not in the first file, which tells");
    Write("fewer.csv", "#\nTime;p;n\n;;\n");
    refuse("a.csv fewer.csv", "fewer.csv:2: there is no column \"note\"");
    EXPECT_EQ(Run("gzip <a.csv | head -c 40 >cut.gz"), 0);
    refuse("cut.gz", "cut.gz: the gzip data end too early");
    refuse("a.csv --thousands ,", "--thousands: \",\" is the decimal sign already");
    Write("plan.toml", std::string("[[inputs]]\nname = \"a\"\ntype = \"Time\"\nzone = \"Europe/Berln\"\n"));
    refuse("--check", "plan.toml:1: the time zone \"Europe/Berln\" is unknown");
}

} // namespace
