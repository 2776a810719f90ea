/// Why Create refuses. The operation table alone says what is accepted; this explains the rest, from name and type
/// codes only.
#pragma once

#include <optional>
#include <string_view>

namespace Velmarosk::Operation {

/// A format whose only placeholders are %s, for names: at most one, for the operation, or exactly two, for the type and
/// the operation. Any other format does not compile.
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

/// Why this name with this type signature is refused, given that no row accepts it. Nothing if it is refused in
/// silence.
std::optional<Refusal> ExplainRefusal(std::string_view operationName, std::string_view typeSignature) noexcept;

} // namespace Velmarosk::Operation
