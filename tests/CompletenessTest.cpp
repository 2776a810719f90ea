// Files that must name one another. Nothing else notices what a new operation lacks there.
#include "vocabulary/Vocabulary.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <string>

namespace {

namespace fs = std::filesystem;

const fs::path source = VEL_SOURCE;

std::string Read(const fs::path& file) {
    std::ifstream stream(file);
    EXPECT_TRUE(stream) << file;
    return {std::istreambuf_iterator<char>(stream), {}};
}

TEST(Completeness, TheLibraryHasEveryTopic) {
    const std::string table = Read(source / "library/OperationTable.cpp");
    const std::regex topic("(\\w+Families)\\(\\) noexcept;");
    int topics = 0;
    for (const char* const folder : {"value", "logic", "signal"})
        for (const fs::directory_entry& entry : fs::directory_iterator(source / folder)) {
            const std::string code = Read(entry.path());
            for (std::sregex_iterator found(code.begin(), code.end(), topic), end; found != end; ++found, ++topics)
                EXPECT_NE(table.find((*found)[1]), std::string::npos)
                    << (*found)[1] << " of " << entry.path() << " is missing in library/OperationTable.cpp";
        }
    EXPECT_GT(topics, 0);
}

TEST(Completeness, EveryOperationHasATestThatIsBuilt) {
    const std::string list = Read(source / "tests/CMakeLists.txt");
    std::string tests;
    for (const fs::directory_entry& entry : fs::directory_iterator(source / "tests"))
        if (const std::string name = entry.path().filename(); name.ends_with("Test.cpp")) {
            EXPECT_NE(list.find(name), std::string::npos) << name << " is missing in tests/CMakeLists.txt";
            tests += Read(entry.path());
        }
    for (const Vel::Operation& operation : Vel::AllOperations())
        EXPECT_NE(tests.find('"' + std::string(operation.name) + '"'), std::string::npos)
            << "no test of \"" << operation.name << '"';
}

TEST(Completeness, PagesNameTheOperationsThatUseTheMathLibrary) {
    const auto usesIt = [](const Vel::Operation& operation) { return operation.traits.usesMathLibrary; };
    const std::string count = std::to_string(std::ranges::count_if(Vel::AllOperations(), usesIt));
    for (const char* const page : {"docs/operations.md", "docs/platforms.md"}) {
        std::string text = Read(source / page);
        text = text.substr(std::min(text.size(), text.find(count + " operations that call")));
        text = text.substr(0, text.find("four Butterworth filters"));
        EXPECT_FALSE(text.empty()) << page << " speaks of another number than " << count;
        for (const Vel::Operation& operation : Vel::AllOperations()) {
            if (usesIt(operation) && !operation.name.starts_with("FilterButterworth")) {
                EXPECT_TRUE(std::regex_search(text, std::regex("\\b" + std::string(operation.name) + "\\b")))
                    << page << " does not name " << operation.name;
            }
        }
    }
}

} // namespace
