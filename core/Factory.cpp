#include "core/Factory.h"

#include "core/Message.h"
#include "core/Refusal.h"

#include <algorithm>
#include <array>

namespace Velmarosk::Operation {

namespace {

/// The longest signature of the vocabulary: sixteen results and their operand.
constexpr std::size_t maxLetters = 17;

/// A letter in the form in which the table writes it.
constexpr char CanonicalLetter(char letter) noexcept {
    switch (letter) {
    case 'f':
        return 'F';
    case 'd':
        return 'D';
    default:
        return letter;
    }
}

bool Accepts(std::string_view rowLetters, std::string_view letters) noexcept {
    for (std::size_t i = 0; i < letters.size(); ++i) {
        if (rowLetters[i] != letters[i] && rowLetters[i] != anyLetter)
            return false;
    }
    return true;
}

} // namespace

const TypeRow* FindRow(OperationTable table, std::string_view operationName, std::string_view typeSignature) noexcept {
    if (typeSignature.empty() || typeSignature.size() > maxLetters)
        return nullptr;
    std::array<char, maxLetters> canonical{};
    std::ranges::transform(typeSignature, canonical.begin(), CanonicalLetter);
    const std::string_view letters(canonical.data(), typeSignature.size());

    for (const Topic topic : table) {
        for (const Family& family : topic()) {
            if (family.name != operationName)
                continue;
            for (const TypeRow& row : family.rows) {
                if (row.letters.size() != letters.size())
                    break; // one entry's rows are of one length
                if (Accepts(row.letters, letters))
                    return &row;
            }
        }
    }
    return nullptr;
}

COperation* CreateOperation(OperationTable table, bool noValueAware, const char* operationName,
                            const char* typeSignature, std::va_list& references) {
    const TypeRow* const row = FindRow(table, operationName, typeSignature);
    if (row == nullptr) {
        if (const auto refusal = ExplainRefusal(operationName, typeSignature)) {
            if (refusal->typeName != nullptr)
                ReportMessage(refusal->level, refusal->format, refusal->typeName, operationName);
            else
                ReportMessage(refusal->level, refusal->format, operationName);
        }
        return nullptr;
    }

    std::array<void*, maxLetters> locations; // the letters of the row say how many are filled
    for (std::size_t i = 0; i < row->letters.size(); ++i)
        locations[i] = va_arg(references, void*);
    const Maker make = noValueAware ? row->noValueAware : row->plain;
    return make(References(locations.data()));
}

} // namespace Velmarosk::Operation
