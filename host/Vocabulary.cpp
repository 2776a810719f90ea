#include "host/Vocabulary.h"

#include "host/Channel.h"

#include <algorithm>
#include <map>
#include <numeric>
#include <sstream>

namespace Velreplay {

namespace {

/// The types that a letter of a pattern stands for.
std::string_view TypesOf(char letter) {
    switch (letter) {
    case 'T':
    case 'V':
    case 'O':
        return typeLetters;
    case 'X':
        return "BLQbwlqFD";
    case 'I':
        return "BWLQbwlq";
    case 'R':
        return "FD";
    case 'U':
    case 'M':
        return "BWLQ";
    case 'S':
    case 'N':
        return "bwlq";
    default:
        return typeLetters.substr(typeLetters.find(letter), 1);
    }
}

/// Puts each type for each letter of the pattern that has none yet.
void Expand(std::string_view pattern, std::map<char, char>& types, std::vector<std::string>& signatures) {
    const auto open =
        std::find_if(pattern.begin(), pattern.end(), [&](char letter) { return !types.contains(letter); });
    if (open == pattern.end()) {
        std::string signature;
        for (const char letter : pattern)
            signature += types[letter];
        if (std::find(signatures.begin(), signatures.end(), signature) == signatures.end())
            signatures.push_back(signature);
        return;
    }
    for (const char type : TypesOf(*open)) {
        if (*open == 'O' && types['T'] == type)
            continue;
        types[*open] = type;
        Expand(pattern, types, signatures);
        types.erase(*open);
    }
}

/// Levenshtein's distance.
std::size_t Distance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (const char letter : a) {
        std::size_t diagonal = row[0]++;
        for (std::size_t j = 0; j < b.size(); ++j) {
            const std::size_t replaced = diagonal + (letter == b[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, row[j + 1] + 1});
        }
    }
    return row.back();
}

std::string Otherwise(const Parameter& parameter) {
    if (parameter.otherwise == required || parameter.otherwise == omitted)
        return parameter.otherwise == required ? "required" : "optional";
    if (parameter.otherwise == paired)
        return "with the one before";
    return "default " + std::string(parameter.otherwise);
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
    std::istringstream patterns{std::string(operation.patterns)};
    for (std::string pattern; patterns >> pattern;) {
        std::map<char, char> types;
        Expand(pattern, types, signatures);
    }
    return signatures;
}

std::string DescribeSignatures(const Operation& operation) {
    std::string text;
    std::size_t column = 0;
    for (const std::string& signature : SignaturesOf(operation)) {
        if (column + signature.size() + 1 > 100) {
            text += "\n      ";
            column = 0;
        }
        text += ' ' + signature;
        column += signature.size() + 1;
    }
    return text;
}

std::string DescribeParameters(const Operation& operation) {
    if (operation.parameters.empty())
        return "    none\n";
    std::ostringstream text;
    for (const Parameter& parameter : operation.parameters)
        text << "    " << parameter.name << " [" << parameter.unit << "], " << Otherwise(parameter) << ": "
             << parameter.meaning << '\n';
    return text.str();
}

std::string Describe(const Operation& operation) {
    std::ostringstream text;
    text << operation.name << ": " << operation.summary << '\n'
         << "  results " << operation.results << ", operands " << operation.operands << '\n'
         << "  type rows, results first (B W L Q UInt8 to UInt64, b w l q SInt8 to SInt64, F Float32, D Float64):\n"
         << "     " << DescribeSignatures(operation) << '\n'
         << "  parameters:\n"
         << DescribeParameters(operation);
    return text.str();
}

std::string_view SimilarName(std::string_view name, std::span<const std::string_view> known) {
    const auto nearest = std::min_element(known.begin(), known.end(), [&](std::string_view a, std::string_view b) {
        return Distance(name, a) < Distance(name, b);
    });
    if (nearest == known.end() || Distance(name, *nearest) > std::max<std::size_t>(2, name.size() / 3))
        return {};
    return *nearest;
}

} // namespace Velreplay
