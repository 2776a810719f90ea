#include "vocabulary/Help.h"

#include <algorithm>
#include <charconv>
#include <numeric>
#include <sstream>

namespace Vel {

namespace {

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

} // namespace

std::string DescribeDefault(const Default& otherwise) {
    using enum Default::Kind;
    switch (otherwise.kind) {
    case Required:
        return "required";
    case Omitted:
        return "optional";
    case Paired:
        return "with the one before";
    case Lowest:
        return "default lowest";
    case Highest:
        return "default highest";
    case Number:
        break;
    }
    std::array<char, 32> text{};
    return "default " +
           std::string(text.data(), std::to_chars(text.data(), text.data() + text.size(), otherwise.number).ptr);
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
        text << "    " << parameter.name << " [" << parameter.unit << "], " << DescribeDefault(parameter.otherwise)
             << ": " << parameter.meaning << '\n';
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

std::string DescribeRow(std::string_view signature) {
    std::string described;
    for (const char letter : signature.substr(1))
        described.append(described.empty() ? "" : ", ").append(TypeOf(letter).name);
    return described.append(" -> ").append(TypeOf(signature[0]).name);
}

bool Holds(const SampleType& wide, const SampleType& narrow) {
    if (wide.isFloating)
        return narrow.isFloating ? wide.size >= narrow.size : wide.size > narrow.size;
    if (narrow.isFloating || (narrow.isSigned && !wide.isSigned))
        return false;
    return wide.size > narrow.size || (wide.size == narrow.size && wide.isSigned == narrow.isSigned);
}

int CostOfCast(char from, char to) {
    if (from == to)
        return 0;
    const SampleType& wide = TypeOf(to);
    return (Holds(wide, TypeOf(from)) ? 2 : wide.isFloating ? 4 : 8) + (to == 'F' ? 1 : 0);
}

std::vector<std::string> Cheapest(std::vector<std::pair<int, std::string>> rows, std::size_t most) {
    std::stable_sort(rows.begin(), rows.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<std::string> nearest;
    for (std::size_t i = 0; i < std::min(most, rows.size()); ++i)
        nearest.push_back(rows[i].second);
    return nearest;
}

std::vector<std::string> NearestRows(const Operation& operation, std::string_view signature, std::size_t most) {
    constexpr int scale = 100; // among casts that cost the same, the wider type is nearer
    std::vector<std::pair<int, std::string>> rows;
    for (const std::string& row : SignaturesOf(operation)) {
        int cost = 0;
        for (std::size_t i = 0; i < signature.size() && i < row.size(); ++i)
            cost += scale * CostOfCast(signature[i], row[i]) - static_cast<int>(TypeOf(row[i]).size);
        rows.emplace_back(cost, row);
    }
    return Cheapest(std::move(rows), most);
}

std::string_view SimilarName(std::string_view name, std::span<const std::string_view> known) {
    constexpr std::size_t longestName = 100; // nobody misspells a longer one, and comparing takes its time
    if (name.size() > longestName)
        return {};
    const auto nearest = std::min_element(known.begin(), known.end(), [&](std::string_view a, std::string_view b) {
        return Distance(name, a) < Distance(name, b);
    });
    if (nearest == known.end() || Distance(name, *nearest) > std::max<std::size_t>(2, name.size() / 3))
        return {};
    return *nearest;
}

std::string_view SimilarOperation(std::string_view name) {
    std::vector<std::string_view> names;
    for (const Operation& operation : AllOperations())
        names.push_back(operation.name);
    return SimilarName(name, names);
}

} // namespace Vel
