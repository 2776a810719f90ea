#include "vocabulary/Vocabulary.h"

#include <algorithm>
#include <array>
#include <unordered_map>

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

/// Tries each type for each letter of the pattern, from one place on.
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

/// How well a pattern fits, the best first.
enum class Fit {
    Follows, ///< the result is asked for, or has the type of an operand
    Free,    ///< nothing fixes the result: Float64
    Fixed,   ///< the pattern itself fixes the result
    None,
};

/// Replaces the open types of a row by what the pattern makes of them.
Fit FitPattern(std::string_view pattern, std::string& row) {
    if (pattern.size() != row.size())
        return Fit::None;
    const auto fixed = [&](char letter) { // by a place of the row with the same letter
        for (std::size_t place = 0; place < row.size(); ++place)
            if (pattern[place] == letter && row[place] != openType)
                return row[place];
        return openType;
    };
    const char result = fixed(pattern[0]);
    const bool isLetterOfType = TypeIndex(pattern[0]) != sampleTypes.size();
    for (std::size_t place = 0; place < row.size(); ++place) {
        if (row[place] != openType)
            continue;
        const char same = fixed(pattern[place]);
        const bool isType = TypeIndex(pattern[place]) != sampleTypes.size();
        row[place] = isType ? pattern[place] : same != openType ? same : 'D';
    }
    if (!Matches(pattern, row))
        return Fit::None;
    return result != openType ? Fit::Follows : isLetterOfType ? Fit::Fixed : Fit::Free;
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

std::span<const Operation* const> FindOperations(std::string_view name) {
    static const auto byName = [] {
        std::unordered_map<std::string_view, std::vector<const Operation*>> all;
        for (const Operation& operation : AllOperations())
            all[operation.name].push_back(&operation);
        return all;
    }();
    const auto found = byName.find(name);
    return found == byName.end() ? std::span<const Operation* const>() : found->second;
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

std::string FitRow(const Operation& operation, char result, std::string_view operands) {
    std::string best;
    Fit bestFit = Fit::None;
    std::string wanted(1, result);
    wanted += operands;
    ForEachPattern(operation.patterns, [&](std::string_view pattern) {
        std::string row = wanted;
        const Fit fit = FitPattern(pattern, row);
        if (fit < bestFit) {
            bestFit = fit;
            best = row;
        }
    });
    return best;
}

Twin TwinOf(const Operation& operation, std::string_view signature) {
    return signature == operation.traits.ignoringRow ? Twin::Ignores : operation.traits.twin;
}

} // namespace Vel
