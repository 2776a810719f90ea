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
/// so on. A name may stand in several entries, with other operand counts or other classes for some of the types.
#pragma once

#include "core/Operation.h"

#include <array>
#include <span>
#include <string_view>
#include <type_traits>

namespace Velmarosk::Operation {

using Maker = COperation* (*)(const References& references);

/// Stands in a row's letters where any letter is accepted.
inline constexpr char anyLetter = '?';

/// One accepted combination of types.
struct TypeRow {
    std::string_view letters; ///< result first, as in the type signature
    Maker plain;
    Maker noValueAware;
};

struct Family {
    std::string_view name;
    std::span<const TypeRow> rows;
};

/// A topic's families, and the list of the topics.
using Topic = std::span<const Family> (*)() noexcept;
using OperationTable = std::span<const Topic>;

/// Compiled for size: there is one for each operation and row, and none is on the sample path.
template <class TOperation>
[[gnu::cold]] COperation* Make(const References& references) {
    return new TOperation(references);
}

/// A row for classes that are not templates.
template <class TPlain, class TAware>
constexpr TypeRow Row(std::string_view letters) noexcept {
    return {letters, &Make<TPlain>, &Make<TAware>};
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
    static constexpr std::array<char, sizeof...(Ts)> storage{letterOf<Ts>...};
    static constexpr std::string_view letters{storage.data(), storage.size()};
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
    return {Signature<Ts...>::letters, &Make<TPlain<Ts...>>, &Make<TAware<Ts...>>};
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
    return {Signature<Ts...>::letters, &Make<TPlain<Last>>, &Make<TAware<Last>>};
}

template <template <class> class TPlain, template <class> class TAware, class... TSignatures>
constexpr std::array<TypeRow, sizeof...(TSignatures)> RowsOfOne(SignatureList<TSignatures...> /*list*/) noexcept {
    return {RowOfOne<TPlain, TAware>(TSignatures{})...};
}

/// The rows of a family whose classes take one parameter, the last type of the signature.
template <template <class> class TPlain, template <class> class TAware, class TSignatures>
inline constexpr auto rowsOfOne = RowsOfOne<TPlain, TAware>(TSignatures{});

} // namespace Velmarosk::Operation
