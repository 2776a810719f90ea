/// velreplay: its table of operations against the library and the reference, and the drive that it replays.

#include "host/Vocabulary.h"

#include "VelOperation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace {

const std::string velreplay = VEL_VELREPLAY;
const std::string drive = VEL_DRIVE;

std::string FileText(const std::string& name) {
    std::ifstream file(name);
    return {std::istreambuf_iterator<char>(file), {}};
}

TEST(HostVocabulary, EveryRowExistsAndEveryOperationIsInTheReference) {
    std::string headings;
    std::istringstream reference(FileText(VEL_REFERENCE));
    for (std::string line; std::getline(reference, line);) {
        if (line.starts_with("### "))
            headings += " " + line.substr(4) + " ";
    }
    std::ranges::replace(headings, ',', ' ');

    std::size_t rows = 0;
    for (const Velreplay::Operation& operation : Velreplay::AllOperations()) {
        const std::string name(operation.name);
        EXPECT_NE(headings.find(" " + name + " "), std::string::npos) << name;
        for (const std::string& signature : Velreplay::SignaturesOf(operation)) {
            EXPECT_EQ(signature.size(), operation.results + operation.operands) << name;
            alignas(8) std::array<char, 8> sample{};
            void* current = sample.data();
            void* const r = &current;
            VelHandle const handle =
                Create(true, name.c_str(), signature.c_str(), r, r, r, r, r, r, r, r, r, r, r, r, r, r, r, r, r);
            EXPECT_NE(handle, nullptr) << name << " " << signature;
            Dispose(handle);
            ++rows;
        }
    }
    EXPECT_EQ(rows, 777u);
}

/// The cells of a result, by column name.
struct Table {
    explicit Table(const std::string& name) {
        std::ifstream file(name);
        for (std::string line; std::getline(file, line);) {
            std::vector<std::string> cells;
            std::istringstream stream(line);
            for (std::string cell; std::getline(stream, cell, ',');)
                cells.push_back(cell);
            (header.empty() ? header : rows.emplace_back()) = cells;
        }
    }
    double At(std::size_t row, const std::string& column) const {
        const auto place = std::ranges::find(header, column) - header.begin();
        return std::stod(rows.at(row).at(static_cast<std::size_t>(place)));
    }
    std::vector<std::string> header;
    std::vector<std::vector<std::string>> rows;
};

TEST(Drive, HasTheKeyFiguresOfTheCycle) {
    const std::string result = testing::TempDir() + "drive.csv";
    const std::string command = velreplay + " " VEL_PLAN " " + drive + "/recording.csv -q -o " + result;
    ASSERT_EQ(std::system(command.c_str()), 0);
    const Table table(result);
    ASSERT_EQ(table.rows.size(), 11801u);
    const std::size_t last = table.rows.size() - 1;
    EXPECT_EQ(table.At(last, "time"), 1180);
    EXPECT_NEAR(table.At(last, "distance"), 11.03, 0.02);
    EXPECT_NEAR(table.At(last, "distance") / table.At(last, "time") * 3600, 33.6, 0.1);
    double highest = 0;
    for (std::size_t row = 0; row <= last; ++row)
        highest = std::max(highest, table.At(row, "speed"));
    EXPECT_NEAR(highest, 120, 1);
}

TEST(Velreplay, RefusesAPlanBeforeItWritesOverAResult) {
    const std::string plan = testing::TempDir() + "plan.toml", result = testing::TempDir() + "kept.csv",
                      messages = testing::TempDir() + "messages.txt";
    std::ofstream(result) << "as it was";
    std::ofstream(plan)
        << "[[inputs]]\nname = \"x\"\ntype = \"Float64\"\n"
           "[[channels]]\nname = \"y\"\noperation = \"Sqart\"\ntype = \"Float64\"\noperands = [\"x\"]\n";
    const std::string command =
        velreplay + " " + plan + " " + drive + "/recording.csv -o " + result + " 2> " + messages;
    const int status = std::system(command.c_str());
    EXPECT_EQ(status >> 8, 1);
    EXPECT_EQ(FileText(result), "as it was");
    EXPECT_NE(FileText(messages).find(plan), std::string::npos) << FileText(messages);
}

} // namespace
