#include "vocabulary/Vocabulary.h"

#include <algorithm>
#include <array>

namespace Vel {

namespace {

/// Whether a type may stand where a pattern has a letter.
bool MayStandFor(char letter, const SampleType& type) {
    switch (letter) {
    case 'T':
    case 'V':
    case 'O':
        return true;
    case 'X':
        return type.letter != 'W';
    case 'I':
        return !type.isFloating;
    case 'R':
        return type.isFloating;
    case 'U':
    case 'M':
        return !type.isFloating && !type.isSigned;
    case 'S':
    case 'N':
        return !type.isFloating && type.isSigned;
    default:
        return type.letter == letter;
    }
}

/// Puts each type for each letter of the pattern from a place on.
void Expand(std::string_view pattern, std::string& signature, std::vector<std::string>& signatures) {
    const std::size_t place = signature.size();
    if (place == pattern.size()) {
        if (std::find(signatures.begin(), signatures.end(), signature) == signatures.end())
            signatures.push_back(signature);
        return;
    }
    const std::size_t before = pattern.find(pattern[place]);
    const std::size_t other = pattern[place] == 'O' ? pattern.find('T') : std::string_view::npos;
    for (const SampleType& type : sampleTypes) {
        const bool isAlike = before == place || signature[before] == type.letter;
        const bool isOther = other >= place || signature[other] != type.letter;
        if (!isAlike || !isOther || !MayStandFor(pattern[place], type))
            continue;
        signature += type.letter;
        Expand(pattern, signature, signatures);
        signature.pop_back();
    }
}

bool Matches(std::string_view pattern, std::string_view signature) {
    if (pattern.size() != signature.size())
        return false;
    for (std::size_t place = 0; place < pattern.size(); ++place) {
        const std::size_t type = TypeIndex(signature[place]);
        if (type == sampleTypes.size() || !MayStandFor(pattern[place], sampleTypes[type]) ||
            signature[pattern.find(pattern[place])] != signature[place])
            return false;
        const std::size_t other = pattern.find('T');
        if (pattern[place] == 'O' && other != std::string_view::npos && signature[other] == signature[place])
            return false;
    }
    return true;
}

/// Calls a function with each pattern.
template <class TFunction>
void ForEachPattern(std::string_view patterns, TFunction function) {
    while (!patterns.empty()) {
        const std::size_t end = std::min(patterns.find(' '), patterns.size());
        function(patterns.substr(0, end));
        patterns.remove_prefix(std::min(end + 1, patterns.size()));
    }
}

} // namespace

std::vector<const Operation*> FindOperations(std::string_view name) {
    std::vector<const Operation*> found;
    for (const Operation& operation : AllOperations())
        if (operation.name == name)
            found.push_back(&operation);
    return found;
}

std::vector<std::string> SignaturesOf(const Operation& operation) {
    std::vector<std::string> signatures;
    ForEachPattern(operation.patterns, [&](std::string_view pattern) {
        std::string signature;
        Expand(pattern, signature, signatures);
    });
    return signatures;
}

bool Accepts(const Operation& operation, std::string_view signature) {
    bool isAccepted = false;
    ForEachPattern(operation.patterns,
                   [&](std::string_view pattern) { isAccepted = isAccepted || Matches(pattern, signature); });
    return isAccepted;
}

Twin TwinOf(const Operation& operation, std::string_view signature) {
    return signature == operation.traits.ignoringRow ? Twin::Ignores : operation.traits.twin;
}

} // namespace Vel
