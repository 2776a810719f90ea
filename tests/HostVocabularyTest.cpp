// velreplay's table of operations against the library.
#include "host/Arguments.h"
#include "host/Channel.h"
#include "host/Vocabulary.h"

#include <gtest/gtest.h>

#include <array>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace {

using Velreplay::Operation;

bool Exists(const std::string& name, const std::string& signature) {
    std::array<std::uint64_t, 20> samples{};
    std::array<void*, 20> pointers{};
    Velreplay::ArgumentList references;
    for (std::size_t i = 0; i < signature.size(); ++i) {
        pointers[i] = &samples[i];
        references.Add(signature[i], static_cast<const void*>(&pointers[i]));
    }
    const VelHandle handle = Velreplay::CallCreate(true, name, references);
    Dispose(handle);
    return handle != nullptr;
}

/// All signatures of up to four letters: what the table has exists, and what it lacks does not. Only the gate of
/// "Gangermittlung", which may have any letter and is read as a UInt16, is held to that type by velreplay.
TEST(HostVocabulary, HasTheLibrarysRows) {
    std::set<std::pair<std::string, std::string>> known;
    std::set<std::string> names;
    for (const Operation& operation : Velreplay::AllOperations())
        for (const std::string& signature : SignaturesOf(operation)) {
            EXPECT_TRUE(Exists(std::string(operation.name), signature)) << operation.name << ' ' << signature;
            EXPECT_EQ(signature.size(), operation.results + operation.operands);
            known.emplace(operation.name, signature);
            names.emplace(operation.name);
        }
    std::vector<std::string> signatures{""};
    for (std::size_t i = 0; i < signatures.size() && signatures[i].size() < 4; ++i)
        for (const char letter : Velreplay::typeLetters)
            signatures.push_back(signatures[i] + letter);
    for (const std::string& name : names)
        for (const std::string& signature : signatures)
            if (!signature.empty() && name != "Gangermittlung" && !known.contains({name, signature})) {
                EXPECT_FALSE(Exists(name, signature)) << name << ' ' << signature;
            }
}

} // namespace
