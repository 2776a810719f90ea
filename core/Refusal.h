/// Why a creation is refused. What is accepted, the operation table alone says; this explains the rest, by name and
/// type codes only.
#pragma once

#include <optional>
#include <string_view>

namespace Velmarosk::Operation {

/// A format that takes names in place of %s, and nothing else: at most the operation's, or exactly the type's and then
/// the operation's. Another one does not compile, as the format attribute demands of literal formats.
template <bool withTypeName>
struct NameFormat {
    consteval NameFormat(const char* itsText) : text(itsText) {
        int names = 0;
        for (const char* place = itsText; *place != '\0'; ++place) {
            if (*place != '%')
                continue;
            ++names;
            if (*++place != 's')
                throw "another placeholder than a name";
        }
        if (withTypeName ? names != 2 : names > 1)
            throw "a wrong number of names";
    }

    const char* text;
};

/// A message to the host.
struct Refusal {
    constexpr Refusal(int itsLevel, NameFormat<false> itsFormat) noexcept : level(itsLevel), format(itsFormat.text) {}
    constexpr Refusal(int itsLevel, NameFormat<true> itsFormat, const char* itsTypeName) noexcept
        : level(itsLevel), format(itsFormat.text), typeName(itsTypeName) {}

    int level;
    const char* format;
    const char* typeName = nullptr; ///< null if the format takes none
};

/// Why an operation name with a type signature is refused, for combinations that no row accepts. Nothing for those that
/// are refused in silence.
std::optional<Refusal> ExplainRefusal(std::string_view operationName, std::string_view typeSignature) noexcept;

} // namespace Velmarosk::Operation
