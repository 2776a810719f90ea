/// The vocabulary of the library as data: families of operations, each with the type rows that it accepts.
///
/// A topic lists its families in one table that reads like the vocabulary itself,
///
///     constexpr Family families[] = {
///         {"Plus",  rows<CPlus, CPlusNV, ForEach<ThreeAlike, AllTypes>>},
///         {"Power", rowsOfOne<CPower, CPowerNV, ForEach<ThreeAlike, FloatTypes>>},
///     };
///
/// which gives "Plus" ten rows, BBB to DDD, that make CPlus<UInt8, UInt8, UInt8> or CPlusNV<UInt8, UInt8, UInt8>, and
/// so on. A name may have several entries, with other operand counts or with other classes for some types.
#pragma once

#include "core/Operation.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>
#include <new>
#include <span>
#include <string_view>
#include <type_traits>

namespace Velmarosk::Operation {

/// The longest signature of the vocabulary: sixteen results and their operand.
inline constexpr std::size_t maxLetters = 17;

/// In the letters of a row: any letter is accepted here. Possible for the first operand only.
inline constexpr char anyLetter = '?';

/// The number of codes that a letter can have in a key: the type codes, and anyLetter.
inline constexpr UInt64 letterCodes = codeText + 2;

/// A signature of up to maxLetters letters as one number, different for each sequence of type codes.
constexpr UInt64 SignatureKey(std::string_view letters) noexcept {
    UInt64 key = 1; // so that a leading unknown letter, code 0, counts
    for (const char letter : letters)
        key = key * letterCodes + static_cast<UInt64>(letter == anyLetter ? codeText + 1 : TypeCodeFromLetter(letter));
    return key;
}

/// Keys of n letters lie from letterCodes^n up to twice that.
consteval bool AreKeysDistinct() {
    UInt64 end = 2;
    for (std::size_t letters = 0; letters < maxLetters; ++letters) {
        if (end > std::numeric_limits<UInt64>::max() / letterCodes)
            return false;
        end *= letterCodes;
    }
    return true;
}
static_assert(AreKeysDistinct(), "the key of the longest signature must not wrap");

/// Constructs an operation in memory of its size. Does not fail.
using Constructor = COperation* (*)(void* memory, const References& references);

struct Maker {
    Constructor construct;
    std::size_t size;
};

/// One accepted combination of types.
struct TypeRow {
    UInt64 key; ///< of the signature, result first
    Maker plain;
    Maker noValueAware;
};

/// Lets a look-up skip other names without comparing them (Fowler, Noll and Vo's hash).
constexpr UInt32 NameHash(std::string_view name) noexcept {
    UInt32 hash = 2166136261;
    for (const char character : name)
        hash = (hash ^ static_cast<UInt8>(character)) * 16777619;
    return hash;
}

/// A name with its rows in ascending order of their keys. A shape over types in the order of their codes yields this
/// order; any other order does not compile.
struct Family {
    consteval Family(std::string_view itsName, std::span<const TypeRow> itsRows)
        : nameHash(NameHash(itsName)), name(itsName), rows(itsRows) {
        if (!std::ranges::is_sorted(rows, {}, &TypeRow::key))
            throw "rows out of order";
    }

    UInt32 nameHash;
    std::string_view name;
    std::span<const TypeRow> rows;
};

/// A topic's families, and the list of the topics.
using Topic = std::span<const Family> (*)() noexcept;
using OperationTable = std::span<const Topic>;

/// Compiled for size: each operation and row has one, and none is on the sample path.
template <class TOperation>
[[gnu::cold]] COperation* Construct(void* memory, const References& references) {
    static_assert(std::is_nothrow_constructible_v<TOperation, const References&>);
    static_assert(alignof(TOperation) <= __STDCPP_DEFAULT_NEW_ALIGNMENT__);
    return ::new (memory) TOperation(references);
}

template <class TOperation>
inline constexpr Maker make{&Construct<TOperation>, sizeof(TOperation)};

/// A row for classes that are not templates.
template <class TPlain, class TAware>
constexpr TypeRow Row(std::string_view letters) noexcept {
    return {SignatureKey(letters), make<TPlain>, make<TAware>};
}

// Lists of types and of signatures.

template <class... Ts>
struct TypeList {};
using UnsignedTypes = TypeList<UInt8, UInt16, UInt32, UInt64>;
using SignedTypes = TypeList<SInt8, SInt16, SInt32, SInt64>;
using IntegerTypes = TypeList<UInt8, UInt16, UInt32, UInt64, SInt8, SInt16, SInt32, SInt64>;
using FloatTypes = TypeList<Float32, Float64>;
using AllTypes = TypeList<UInt8, UInt16, UInt32, UInt64, SInt8, SInt16, SInt32, SInt64, Float32, Float64>;

/// The sample types of one row, result first.
template <class... Ts>
struct Signature {
    static constexpr UInt64 Key() noexcept {
        constexpr std::array letters{letterOf<Ts>...};
        return SignatureKey({letters.data(), letters.size()});
    }
};

/// What a shape yields for types that have no row.
struct NoSignature {};

template <class... TSignatures>
struct SignatureList {};

template <class TSignature>
struct AsList {
    using Type = SignatureList<TSignature>;
};
template <>
struct AsList<NoSignature> {
    using Type = SignatureList<>;
};

template <class... TLists>
struct Concatenation {
    using Type = SignatureList<>;
};
template <class... TFirst>
struct Concatenation<SignatureList<TFirst...>> {
    using Type = SignatureList<TFirst...>;
};
template <class... TFirst, class... TSecond, class... TLists>
struct Concatenation<SignatureList<TFirst...>, SignatureList<TSecond...>, TLists...>
    : Concatenation<SignatureList<TFirst..., TSecond...>, TLists...> {};
template <class... TLists>
using Concatenate = typename Concatenation<TLists...>::Type;

template <template <class> class TShape, class TTypes>
struct ForEachType;
template <template <class> class TShape, class... Ts>
struct ForEachType<TShape, TypeList<Ts...>> {
    using Type = SignatureList<TShape<Ts>...>;
};

/// The signature of a shape for each type of a list.
template <template <class> class TShape, class TTypes>
using ForEach = typename ForEachType<TShape, TTypes>::Type;

template <template <class, class> class TShape, class TFirsts, class TSeconds>
struct ForEachPairOfTypes;
template <template <class, class> class TShape, class... TFirsts, class... TSeconds>
struct ForEachPairOfTypes<TShape, TypeList<TFirsts...>, TypeList<TSeconds...>> {
    template <class TFirst>
    using WithFirst = Concatenate<typename AsList<TShape<TFirst, TSeconds>>::Type...>;
    using Type = Concatenate<WithFirst<TFirsts>...>;
};

/// The signature of a shape for each pair of a type of one list and a type of another, in that order.
template <template <class, class> class TShape, class TFirsts, class TSeconds>
using ForEachPair = typename ForEachPairOfTypes<TShape, TFirsts, TSeconds>::Type;

// Shapes that many topics use.

template <class T>
using ResultAlone = Signature<T>;
template <class T>
using TwoAlike = Signature<T, T>;
template <class T>
using ThreeAlike = Signature<T, T, T>;
template <class T>
using BooleanOfOne = Signature<Boolean, T>;
template <class T>
using BooleanOfTwo = Signature<Boolean, T, T>;
template <class TResult, class TOperand>
using ResultOfOne = Signature<TResult, TOperand>;

template <template <class...> class TPlain, template <class...> class TAware, class... Ts>
constexpr TypeRow RowOf(Signature<Ts...> /*types*/) noexcept {
    return {Signature<Ts...>::Key(), make<TPlain<Ts...>>, make<TAware<Ts...>>};
}

template <template <class...> class TPlain, template <class...> class TAware, class... TSignatures>
constexpr std::array<TypeRow, sizeof...(TSignatures)> RowsOf(SignatureList<TSignatures...> /*list*/) noexcept {
    return {RowOf<TPlain, TAware>(TSignatures{})...};
}

/// The rows of a family whose classes take the types of the signature as their parameters.
template <template <class...> class TPlain, template <class...> class TAware, class TSignatures>
inline constexpr auto rows = RowsOf<TPlain, TAware>(TSignatures{});

template <template <class> class TPlain, template <class> class TAware, class... Ts>
constexpr TypeRow RowOfOne(Signature<Ts...> /*types*/) noexcept {
    using Last = typename decltype((std::type_identity<Ts>{}, ...))::type;
    return {Signature<Ts...>::Key(), make<TPlain<Last>>, make<TAware<Last>>};
}

template <template <class> class TPlain, template <class> class TAware, class... TSignatures>
constexpr std::array<TypeRow, sizeof...(TSignatures)> RowsOfOne(SignatureList<TSignatures...> /*list*/) noexcept {
    return {RowOfOne<TPlain, TAware>(TSignatures{})...};
}

/// The rows of a family whose classes take one parameter, the last type of the signature.
template <template <class> class TPlain, template <class> class TAware, class TSignatures>
inline constexpr auto rowsOfOne = RowsOfOne<TPlain, TAware>(TSignatures{});

} // namespace Velmarosk::Operation
