#include "core/Factory.h"

#include "core/Message.h"
#include "core/Refusal.h"

#include <algorithm>
#include <array>

namespace Velmarosk::Operation {

namespace {

const TypeRow* RowAt(std::span<const TypeRow> rows, UInt64 key) noexcept {
    const auto row = std::ranges::lower_bound(rows, key, {}, &TypeRow::key);
    return row != rows.end() && row->key == key ? &*row : nullptr;
}

/// The key of a row that accepts any first operand.
UInt64 SignatureKeyWithAnyOperand(std::string_view letters) noexcept {
    std::array<char, maxLetters> opened{};
    std::ranges::copy(letters, opened.begin());
    if (letters.size() > 1)
        opened[1] = anyLetter;
    return SignatureKey({opened.data(), letters.size()});
}

} // namespace

const TypeRow* FindRow(OperationTable table, std::string_view operationName, std::string_view typeSignature) noexcept {
    if (typeSignature.size() > maxLetters)
        return nullptr;
    const UInt32 nameHash = NameHash(operationName);
    const UInt64 key = SignatureKey(typeSignature);
    const UInt64 keyWithAnyOperand = SignatureKeyWithAnyOperand(typeSignature);

    for (const Topic topic : table) {
        for (const Family& family : topic()) {
            if (family.nameHash != nameHash || family.name != operationName)
                continue;
            if (const TypeRow* const row = RowAt(family.rows, key))
                return row;
            if (const TypeRow* const row = RowAt(family.rows, keyWithAnyOperand))
                return row;
        }
    }
    return nullptr;
}

COperation* CreateOperation(OperationTable table, bool noValueAware, const char* operationName,
                            const char* typeSignature, std::va_list& references) {
    const std::string_view signature(typeSignature);
    const TypeRow* const row = FindRow(table, operationName, signature);
    if (row == nullptr) {
        if (const auto refusal = ExplainRefusal(operationName, signature)) {
            if (refusal->typeName != nullptr)
                ReportMessage(refusal->level, refusal->format, refusal->typeName, operationName);
            else
                ReportMessage(refusal->level, refusal->format, operationName);
        }
        return nullptr;
    }

    std::array<void*, maxLetters> locations; // filled as far as the signature goes
    for (std::size_t i = 0; i < signature.size(); ++i)
        locations[i] = va_arg(references, void*);
    const Maker& maker = noValueAware ? row->noValueAware : row->plain;
    return maker.construct(::operator new(maker.size), References(locations.data(), signature));
}

} // namespace Velmarosk::Operation
