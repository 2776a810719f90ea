// The examples: velreplay's results are compared with independent calculations.
#include "HostFixture.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <map>
#include <optional>
#include <sstream>
#include <vector>

namespace {

using Table = std::vector<std::vector<std::string>>;

/// The rows below the header.
Table RowsOf(std::istream& file, char separator = ',') {
    Table rows;
    std::string line;
    for (std::getline(file, line); std::getline(file, line);) {
        std::istringstream cells(line + separator);
        std::vector<std::string>& row = rows.emplace_back();
        for (std::string cell; std::getline(cells, cell, separator);)
            row.push_back(cell);
    }
    return rows;
}

class ExamplesTest : public HostTest {
protected:
    /// The result of an example. The plan with its formulas replaced by blocks must give the same.
    static Table ResultOf(const std::string& name, char separator = ',') {
        const std::string recording = " " VEL_RECORDINGS "/" + name + "-result/recording.csv ";
        EXPECT_EQ(Run("cp " VEL_SOURCE "/examples/" + name + "/plan.toml . && $V --strict plan.toml" + recording +
                      "-o result.csv --plot x.svg && $V --explain plan.toml >blocks.toml && $V -q blocks.toml" +
                      recording + "--plot blocks.svg | cmp - result.csv && cmp *.svg"),
                  0)
            << Read("err") << Read("out");
        EXPECT_NE(Read("x.svg").find("</svg>"), std::string::npos);
        std::ifstream result("result.csv");
        return RowsOf(result, separator);
    }
};

// The key figures of the cycle: 1180 s, 11.03 km, at most 120 km/h, 33.6 km/h on average.
TEST_F(ExamplesTest, DrivesTheCycle) {
    const Table rows = ResultOf("drive");
    double highest = 0;
    for (const auto& row : rows)
        highest = std::max(highest, std::stod(row[2]));
    const double time = std::stod(rows.back()[0]);
    const double distance = std::stod(rows.back()[4]);
    EXPECT_EQ(time, 1180);
    EXPECT_NEAR(distance, 11.03, 0.005);
    EXPECT_NEAR(highest, 120, 0.2);
    EXPECT_NEAR(distance / time * 3600, 33.6, 0.05);
    EXPECT_NEAR(std::stod(rows.back()[2]), 0, 1e-6);
}

// The program that generates the recording also tells the times of the beats.
TEST_F(ExamplesTest, FindsTheBeatsOfAHeart) {
    const Table found = ResultOf("ecg");
    ASSERT_EQ(Run(VEL_RECORDINGS "/ecg --beats >beats.csv"), 0);
    std::ifstream file("beats.csv");
    const Table beats = RowsOf(file);
    ASSERT_EQ(found.size(), beats.size());
    bool isFast = false, isSlow = false;
    for (std::size_t i = 0; i < beats.size(); ++i) {
        const double time = std::stod(beats[i][0]);
        const bool isEarly = beats[i][1] == "1";
        EXPECT_NEAR(std::stod(found[i][0]), time + 0.025, 0.035); // its steepest part
        EXPECT_EQ(found[i][3] == "1", isEarly) << time;
        const double interval = i == 0 ? 0 : time - std::stod(beats[i - 1][0]);
        if (i == 0 || interval > 5) { // after an electrode was off
            EXPECT_EQ(found[i][2], "");
            continue;
        }
        const double tolerance = isEarly || beats[i - 1][1] == "1" ? 0.06 : 0.035;
        EXPECT_NEAR(std::stod(found[i][1]), interval, tolerance) << time;
        const double rate = 60 / interval;
        isFast = isFast ? rate > 115 : rate > 120;
        isSlow = isSlow ? rate < 55 : rate < 50;
        const bool isNearAnEdge = std::abs(rate - 120) < 3 || std::abs(rate - 115) < 3;
        EXPECT_TRUE(isNearAnEdge || found[i][4] == (isFast ? "1" : "0")) << time;
        EXPECT_EQ(found[i][5], isSlow ? "1" : "0") << time;
    }
}

// Computed every 10 s directly from the rows. Clocks go back on the third day.
TEST_F(ExamplesTest, AddsUpTheDaysOfAMeter) {
    const Table days = ResultOf("meter", ';');
    EXPECT_EQ(Run("$V plan.toml " VEL_RECORDINGS "/meter-result/recording.csv --trace 300 power | head -2"), 0);
    EXPECT_EQ(Read("out"), "row 300 of the raster, behind row 148 of the recording\npower = 0.236\n");
    std::map<int, std::optional<double>> samples; // key: seconds since the first midnight
    std::ifstream file(VEL_RECORDINGS "/meter-result/recording.csv");
    std::string line;
    std::getline(file, line);
    std::getline(file, line); // RowsOf leaves out the units
    int before = 0, summer = 0;
    for (const auto& row : RowsOf(file, ';')) {
        int day = 0, hour = 0, minute = 0, second = 0;
        ASSERT_EQ(std::sscanf(row[0].c_str(), "%d.10.2024 %d:%d:%d", &day, &hour, &minute, &second), 4);
        const int local = (day - 25) * 86400 + hour * 3600 + minute * 60 + second;
        if (local < before)
            summer = 3600;
        before = local;
        std::string power = row[1];
        std::replace(power.begin(), power.end(), ',', '.');
        samples[local + summer] = power == "-" ? std::nullopt : std::optional(std::stod(power));
    }
    constexpr int change = 2 * 86400 + 3 * 3600;
    std::vector<double> energy(4), highest(4), known(4), rows(4);
    double whole = 0, last = 0, quarter = 0, inQuarter = 0;
    for (int time = 10; time <= std::prev(samples.end())->first; time += 10) {
        const int local = time <= change ? time : time - 3600;
        const auto day = static_cast<std::size_t>((local - 1) / 86400);
        const auto row = std::prev(samples.upper_bound(time));
        const bool isKnown = time - row->first <= 300 && row->second;
        const double power = isKnown ? *row->second : 0;
        if (time > 10) {
            energy[day] += (last + power) / 2 / 360;
            whole += (last + power) / 2 / 360;
        }
        last = power;
        quarter += power;
        inQuarter += isKnown ? 1 : 0;
        if (local % 900 == 0) {
            if (isKnown)
                highest[day] = std::max(highest[day], quarter / inQuarter);
            quarter = inQuarter = 0;
        }
        known[day] += isKnown ? 100 : 0;
        ++rows[day];
    }
    ASSERT_EQ(days.size(), 4u);
    EXPECT_EQ(rows[2], 25 * 360);
    double sum = 0;
    for (std::size_t day = 0; day < days.size(); ++day) {
        const auto cell = [&](std::size_t column) {
            std::string text = days[day][column];
            std::replace(text.begin(), text.end(), ',', '.');
            return std::stod(text);
        };
        EXPECT_EQ(days[day][0], day == 3 ? "28.10.2024 23:59:40" : std::to_string(26 + day) + ".10.2024 00:00:00");
        EXPECT_NEAR(cell(1), energy[day], 1e-9);
        EXPECT_NEAR(cell(2), highest[day], 1e-9);
        EXPECT_NEAR(cell(3), known[day] / rows[day], 1e-9);
        sum += cell(1);
    }
    EXPECT_NEAR(sum, whole, 1e-9);
}

} // namespace
