#include "value/UnaryMathematics.h"

namespace Velmarosk::Operation {

namespace {

using EveryFloat = ForEach<TwoAlike, FloatTypes>;

constexpr Family families[] = {
    {"Negate", rows<CNegate, CNegateNV, EveryFloat>},
    {"Abs", rows<CAbs, CAbsNV, EveryFloat>},
    {"Sin", rows<CSin, CSinNV, EveryFloat>},
    {"Cos", rows<CCos, CCosNV, EveryFloat>},
    {"Tan", rows<CTan, CTanNV, EveryFloat>},
    {"ArcSin", rows<CArcSin, CArcSinNV, EveryFloat>},
    {"ArcCos", rows<CArcCos, CArcCosNV, EveryFloat>},
    {"ArcTan", rows<CArcTan, CArcTanNV, EveryFloat>},
    {"Sinh", rows<CSinh, CSinhNV, EveryFloat>},
    {"Cosh", rows<CCosh, CCoshNV, EveryFloat>},
    {"Tanh", rows<CTanh, CTanhNV, EveryFloat>},
    {"Exp", rows<CExp, CExpNV, EveryFloat>},
    {"Ln", rows<CLn, CLnNV, EveryFloat>},
    {"Log", rows<CLog, CLogNV, EveryFloat>},
    {"Sqrt", rows<CSqrt, CSqrtNV, EveryFloat>},
    {"Power10", rowsOfOne<CPower10, CPower10NV, EveryFloat>},
    {"Floor", rows<CFloor, CFloorNV, EveryFloat>},
    {"Ceil", rows<CCeil, CCeilNV, EveryFloat>},
    {"Sign", rows<CSign, CSignNV, EveryFloat>},
    {"Round", rowsOfOne<CRound, CRoundNV, EveryFloat>},
};

} // namespace

std::span<const Family> UnaryMathematicsFamilies() noexcept { return families; }

} // namespace Velmarosk::Operation
