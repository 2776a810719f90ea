/// What Create accepts and how it refuses, for every name and every signature of up to three operands, compared with a
/// second source: the table of vocabulary/, and the refusals of everything else.

#include "checks/Subject.h"

#include "library/OperationTable.h"

#include "VelOperation.h"

#include <gtest/gtest.h>

#include <array>
#include <cctype>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace {

const std::string floats = "FD";
const std::string known = [] {
    std::string all;
    for (const Vel::SampleType& type : Vel::sampleTypes)
        all += type.letter;
    return all;
}();
const std::string letters = known + "Sx"; // a known letter without a type, and an unknown one

using Combination = std::pair<std::string, std::string>;

std::set<Combination> AcceptedCombinations() {
    std::set<Combination> accepted;
    for (const VelChecks::Row& row : VelChecks::AllRows())
        accepted.emplace(row.operation->name, row.signature);
    for (const char gate : letters) // is not looked at
        accepted.emplace("Gangermittlung", std::string{'b', gate, 'W', 'W'});
    return accepted;
}

std::string NameOf(char letter) { return std::string(Vel::TypeOf(letter).name); }

bool In(char letter, const std::string& set) { return set.find(letter) != std::string::npos; }

/// The message for a combination outside the vocabulary, after its level; empty for a silent refusal.
std::string MessageFor(const std::string& name, const std::string& signature) {
    const auto text = [&](int level, std::string format) {
        if (const auto place = format.find("%s"); place != std::string::npos)
            format.replace(place, 2, name);
        return std::to_string(level) + format;
    };
    const std::string placeholder = "4Unknown or unsupported datatype for ##name operation\n";
    const std::size_t count = signature.size() - 1;
    const char r = signature[0], a = count > 0 ? signature[1] : ' ', b = count > 1 ? signature[2] : ' ';

    const std::map<std::string, std::set<std::size_t>> named{
        {"Gangermittlung", {3}}, {"UpperLimit", {2, 3}}, {"LowerLimit", {2, 3}},  {"Linea", {1}},
        {"VLinea", {1}},         {"Extract8Bits", {8}},  {"Extract16Bits", {16}}, {"Statistics", {3}}};
    if (const auto found = named.find(name); found != named.end()) {
        if (!found->second.contains(count))
            return text(2, "Wrong number of parameters for operation %s ");
        if (name == "Statistics" && signature == std::string(4, r)) // all alike, and not accepted
            return text(4, "Unknown or unsupported datatype for operation %s ");
        return text(2, "Wrong parametertypes for operation %s ");
    }
    if (count == 0) {
        return name == "SystemTime" || name == "LocalTime"
                   ? text(4, "Unknown or unsupported result datatype for %s operation")
                   : text(4, "Unknown or unsupported const operation");
    }
    if (count == 1) {
        if (In(r, floats)) {
            if (name == "PhysToFloat" || (name == "Cast" && a != r))
                return placeholder;
            if (name == "MaskAndShift" && a != r)
                return text(4, "Unknown or unsupported result datatype for MaskAndShift operation");
            return text(4, a == 'W' ? "Unknown or unsupported unary operation %s with operand type UInt16"
                                    : "Unknown or unsupported unary operation %s");
        }
        if (a == r) {
            if (!In(r, known))
                return text(4, "Unknown or unsupported datatype for unary operation %s");
            return text(4, r == 'B' ? "Unknown or unsupported UInt8 unary operation %s"
                                    : "Unknown or unsupported unary operation %s");
        }
        if (name == "Cast" || name == "MaskAndShift") {
            if (In(r, known))
                return placeholder;
            return text(4, "Unknown or unsupported result datatype for " +
                               std::string(name == "Cast" ? "cast" : "MaskAndShift") + " operation");
        }
        if (r == 'W' && In(a, known))
            return text(4, "Unknown or unsupported unary operation %s with result type UInt16");
        return text(4, r == 'W' || a == 'W' ? "Unknown or unsupported datatype for unary operation %s"
                                            : "Unknown or unsupported unary operation %s");
    }
    if (count == 2) {
        const std::string datatype = "Unknown or unsupported datatype for binary operation %s";
        const std::string different = "Different datatypes for binary operation %s";
        if (r == a && a == b) {
            return In(r, known) ? text(4, "Unknown or unsupported " + NameOf(r) + " binary operation %s")
                                : text(4, "Unknown or unsupported datatype for binary operation");
        }
        if (r == a)
            return text(4, different);
        if (r == 'W' && a == b) {
            return In(a, known)
                       ? text(4, "Unknown or unsupported " + NameOf(a) + " binary operation %s with boolean result")
                       : text(4, datatype + " with boolean result");
        }
        if (r == 'W' && b != 'W')
            return text(4, different);
        if (r == 'W')
            return name == "DFF" ? placeholder : text(4, "Unknown binary operation %s");
        if (a == 'W' && r == b) {
            return In(r, floats)
                       ? text(4, "Unknown or unsupported " + NameOf(r) + " binary operation %s with boolean operand1")
                       : text(4, datatype + " with boolean operand1");
        }
        if (a == 'W')
            return b == 'W' ? text(8, datatype) : text(4, different);
        if (r != b)
            return text(4, different);
        if (name != "DFF")
            return text(4, "Unknown binary operation %s");
        return In(r, known) ? placeholder : text(4, datatype);
    }
    if (name == "If" && a == 'W' && b == r && signature[3] == r)
        return "";
    return name == "TimeDiff" || name == "Timeout" ? text(8, "Unknown or unsupported datatype for ternary operation %s")
                                                   : text(8, "Unknown or unsupported ternary operation %s");
}

std::string received;
int messages = 0;

void Receive(int level, const char* text) {
    const std::string message = text;
    ASSERT_TRUE(message.starts_with("VelOperation.dll : "));
    received = std::to_string(level) + message.substr(std::strlen("VelOperation.dll : "));
    ++messages;
}

class Vocabulary : public testing::Test {
protected:
    void SetUp() override { SetMessageCallback(Receive); }
    void TearDown() override { SetMessageCallback(nullptr); }

    /// Creates an operation whose references all lead to one sample. Leaves the message in `received`.
    static bool IsCreated(bool noValueAware, const std::string& name, const std::string& signature) {
        received.clear();
        messages = 0;
        static VelChecks::SampleCell sample;
        static const auto pointers = [] {
            std::vector<Vel::Engine::SamplePointer> all;
            for (const Vel::SampleType& type : Vel::sampleTypes)
                all.emplace_back(type.letter).Aim(sample.Address());
            return all;
        }();
        const auto at = [&](std::size_t i) { // the gear determination reads its gate as a UInt16 whatever its letter
            const bool isGate = i == 1 && name == "Gangermittlung";
            const char letter = isGate ? 'W' : i < signature.size() ? signature[i] : 'B';
            const auto upper = letter == 'f' || letter == 'd' ? static_cast<char>(std::toupper(letter)) : letter;
            return pointers[Vel::TypeIndex(upper) % pointers.size()].Reference();
        };
        VelHandle const handle =
            Create(noValueAware, name.c_str(), signature.c_str(), at(0), at(1), at(2), at(3), at(4), at(5), at(6),
                   at(7), at(8), at(9), at(10), at(11), at(12), at(13), at(14), at(15), at(16));
        Dispose(handle);
        return handle != nullptr;
    }
};

/// Every signature of a number of letters.
std::vector<std::string> Signatures(std::size_t length) {
    std::vector<std::string> signatures{""};
    for (std::size_t i = 0; i < length; ++i) {
        std::vector<std::string> longer;
        for (const std::string& signature : signatures) {
            for (const char letter : letters)
                longer.push_back(signature + letter);
        }
        signatures = longer;
    }
    return signatures;
}

TEST_F(Vocabulary, EveryNameAndSignatureIsAcceptedOrRefusedAsItMust) {
    const std::set<Combination> accepted = AcceptedCombinations();
    std::set<std::string> names{"Foo", "", "plus"};
    for (const Combination& combination : accepted)
        names.insert(combination.first);

    for (std::size_t length = 1; length <= 4; ++length) {
        for (const std::string& signature : Signatures(length)) {
            for (const std::string& name : names) {
                // A lower-case letter of a floating type is the same letter.
                std::string asked = signature;
                for (char& letter : asked)
                    letter =
                        name.size() % 2 == 0 && In(letter, floats) ? static_cast<char>(std::tolower(letter)) : letter;
                const bool expected = accepted.contains({name, signature});
                const std::string message = expected ? "" : MessageFor(name, signature);
                const bool noValueAware = (signature.size() + name.size()) % 2 == 0; // plays no part in refusals
                ASSERT_EQ(IsCreated(noValueAware, name, asked), expected) << name << " " << signature;
                ASSERT_EQ(received, message) << name << " " << signature;
                ASSERT_EQ(messages, message.empty() ? 0 : 1);
                ASSERT_TRUE(!expected || IsCreated(!noValueAware, name, asked));
            }
        }
    }
}

/// The letters of a row of the library, from the number that they are kept as.
std::string LettersOf(Velmarosk::Operation::UInt64 key) {
    constexpr auto codes = Velmarosk::Operation::codeText + 2;
    std::string signature;
    for (; key > 1; key /= codes) {
        const auto code = key % codes;
        signature.insert(signature.begin(), code < Velmarosk::Operation::codeText
                                                ? Velmarosk::Operation::typesByCode[code].letter
                                                : Velmarosk::Operation::anyLetter);
    }
    return signature;
}

TEST_F(Vocabulary, IsTheLibrarysOwnTable) {
    std::multiset<Combination> inLibrary;
    for (const auto topic : Velmarosk::Operation::AllOperations())
        for (const Velmarosk::Operation::Family& family : topic())
            for (const Velmarosk::Operation::TypeRow& row : family.rows)
                inLibrary.emplace(family.name, LettersOf(row.key));
    std::multiset<Combination> described;
    for (const VelChecks::Row& row : VelChecks::AllRows())
        described.emplace(row.operation->name, row.operation->name == "Gangermittlung" ? "b?WW" : row.signature);
    for (const auto& [name, signature] : inLibrary)
        EXPECT_EQ(described.count({name, signature}), 1u) << name << ' ' << signature << " is missing in vocabulary/";
    for (const auto& [name, signature] : described)
        EXPECT_EQ(inLibrary.count({name, signature}), 1u) << name << ' ' << signature << " is not in the library";
}

TEST_F(Vocabulary, TypesAreTheLibrarys) {
    ASSERT_EQ(Vel::sampleTypes.size() + 2, Velmarosk::Operation::typesByCode.size());
    for (std::size_t i = 0; i < Vel::sampleTypes.size(); ++i) {
        EXPECT_EQ(Vel::sampleTypes[i].letter, Velmarosk::Operation::typesByCode[i + 1].letter);
        EXPECT_EQ(Vel::sampleTypes[i].name, Velmarosk::Operation::typesByCode[i + 1].name);
        EXPECT_EQ(Vel::sampleTypes[i].size, Velmarosk::Operation::typesByCode[i + 1].size);
    }
}

TEST_F(Vocabulary, ExtractionsTakeTheirManyResults) {
    EXPECT_TRUE(IsCreated(true, "Extract8Bits", "WWWWWWWWB"));
    EXPECT_TRUE(IsCreated(true, "Extract16Bits", std::string(17, 'W')));
    for (const std::string signature : {"WWWWWWWWW", "BWWWWWWWB", "WWWWWBWWB", "WWWWWWWWb"}) {
        EXPECT_FALSE(IsCreated(true, "Extract8Bits", signature));
        EXPECT_EQ(received, "2Wrong parametertypes for operation Extract8Bits ");
    }
    EXPECT_FALSE(IsCreated(true, "Extract16Bits", std::string(16, 'W') + "B"));
    EXPECT_EQ(received, "2Wrong parametertypes for operation Extract16Bits ");
    EXPECT_FALSE(IsCreated(true, "Extract16Bits", std::string(18, 'W')));
    EXPECT_EQ(received, "2Wrong number of parameters for operation Extract16Bits ");
}

TEST_F(Vocabulary, UnusualSignaturesAndNamesAreRefused) {
    EXPECT_FALSE(IsCreated(true, "Plus", ""));
    EXPECT_EQ(received, "2Too less parameter (0) for operation Plus\n");
    EXPECT_FALSE(IsCreated(false, "Linea", ""));
    EXPECT_EQ(received, "2Too less parameter (0) for operation Linea\n");
    for (const std::size_t length : {5u, 9u, 17u, 18u, 100000u}) {
        EXPECT_FALSE(IsCreated(true, "Plus", std::string(length, 'D')));
        EXPECT_EQ(messages, 0);
    }
    EXPECT_FALSE(IsCreated(true, "Plus", "??\xFF"));
    EXPECT_EQ(received, "4Unknown or unsupported datatype for binary operation");
    EXPECT_FALSE(IsCreated(true, "Gangermittlung", "?BWW"));
    EXPECT_EQ(received, "2Wrong parametertypes for operation Gangermittlung ");
    EXPECT_TRUE(IsCreated(true, "Gangermittlung", "b?WW"));
}

TEST_F(Vocabulary, MessagesEndWithTheirBuffer) {
    // The prefix takes 19 of 119 characters; the operation's name gets what the rest of the text leaves.
    const std::string before = "Unknown or unsupported unary operation ";
    const std::string name(100 - before.size(), 'n');
    EXPECT_FALSE(IsCreated(true, name, "LL"));
    EXPECT_EQ(received, "4" + before + name);
    EXPECT_FALSE(IsCreated(true, name + "m", "LL"));
    EXPECT_EQ(received, "4" + before + name);
    EXPECT_FALSE(IsCreated(true, std::string(100000, 'n'), "LL"));
    EXPECT_EQ(received, "4" + before + name);

    SetMessageCallback(nullptr);
    EXPECT_FALSE(IsCreated(true, "Foo", "LL"));
    EXPECT_EQ(messages, 0);
}

} // namespace
