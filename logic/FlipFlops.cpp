#include "logic/FlipFlops.h"

namespace Velmarosk::Operation {

namespace {

/// A boolean channel clocks boolean data only.
template <class TData, class TClock>
using Clocked = std::conditional_t<std::same_as<TClock, Boolean> && !std::same_as<TData, Boolean>, NoSignature,
                                   Signature<TData, TClock, TData>>;

constexpr Family families[] = {
    {"DFF", rows<CDFF, CDFFNV, ForEachPair<Clocked, AllTypes, AllTypes>>},
    {"TFF", rows<CTFF, CTFFNV, ForEach<BooleanOfOne, AllTypes>>},
};

} // namespace

std::span<const Family> FlipFlopFamilies() noexcept { return families; }

} // namespace Velmarosk::Operation
