// Formulas: the blocks that they become, the messages for invalid ones, and texts of any size, which must do no harm.
// Types are compared with the whole vocabulary.
#include "engine/Engine.h"
#include "vocabulary/Vocabulary.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace Vel::Engine;

std::string PlanWith(const std::string& compute) {
    std::string plan = "[settings]\ncorner = 5\nflag = true\npairs = [[0, 1], [2, 3]]\ntop = \"0xFFFFFFFFFFFFFFFF\"\n";
    for (const auto& [name, type] : std::vector<std::pair<std::string, std::string>>{{"a", "Float64"},
                                                                                     {"b", "Float64"},
                                                                                     {"f", "Float32"},
                                                                                     {"w", "UInt16"},
                                                                                     {"v", "UInt16"},
                                                                                     {"u", "UInt8"},
                                                                                     {"s", "SInt32"},
                                                                                     {"q", "UInt64"},
                                                                                     {"Temp [V]", "Float64"}})
        plan += "[[inputs]]\nname = \"" + name + "\"\ntype = \"" + type + "\"\n";
    return plan + "[compute]\n" + compute;
}

Plan Parsed(const std::string& formula) { return ParsePlan(PlanWith("z = '''" + formula + "'''"), "plan.toml"); }

std::string Text(const Vel::AnySample& sample) {
    return std::visit([](auto value) { return std::to_string(value); }, sample);
}

/// The computations in order, written as calls. Constants have a type and a value: "z#1 = D:Plus(a, D2.0); ...".
std::string Blocks(const Plan& plan) {
    const auto operand = [&](const std::string& name) {
        for (const ConstantPlan& constant : plan.constants)
            if (constant.channel.name == name)
                return constant.channel.Type().letter + Text(constant.value);
        return name;
    };
    std::string text;
    for (const ComputationPlan& computation : plan.computations) {
        text += (text.empty() ? "" : "; ") + computation.results.at(0).name + " = " +
                computation.results[0].Type().letter + ":" + computation.operation + "(";
        for (const std::string& name : computation.operands)
            text += (text.back() == '(' ? "" : ", ") + operand(name);
        for (const auto& [name, value] : computation.parameters)
            text += ", " + name;
        text += computation.noValueAware ? ")" : ") plain";
        EXPECT_EQ(computation.isInner, computation.results[0].name != "z");
    }
    return text;
}

TEST(Formulas, StandForBlocks) {
    const std::vector<std::pair<std::string, std::string>> cases{
        // precedence and grouping
        {"a + b * a", "z#1 = D:Multiply(b, a); z = D:Plus(a, z#1)"},
        {"a - b - a", "z#1 = D:Minus(a, b); z = D:Minus(z#1, a)"},
        {"a - (b - a)", "z#1 = D:Minus(b, a); z = D:Minus(a, z#1)"},
        {"a / b % a", "z#1 = D:Divide(a, b); z = D:Modulo(z#1, a)"},
        {"-a * b", "z#1 = D:Negate(a); z = D:Multiply(z#1, b)"},
        {"w + v << v", "z#1 = W:Plus(w, v); z = W:BitwiseShiftLeft(z#1, v)"},
        {"w | v & w", "z#1 = W:BitwiseAnd(v, w); z = W:BitwiseOr(w, z#1)"},
        {"a < b || w >= v && !v", "z#1 = W:LessThan(a, b); z#2 = W:GreaterThanOrEqual(w, v); z#3 = W:LogicalNot(v); "
                                  "z#4 = W:LogicalAnd(z#2, z#3); z = W:LogicalOr(z#1, z#4)"},
        {"(w & v) == v", "z#1 = W:BitwiseAnd(w, v); z = W:Equal(z#1, v)"},
        {"Max(Min(a, b), window = 3)", "z#1 = D:Min(a, b); z = D:Max(z#1, window)"},
        // numbers take the type of the other operand
        {"w % 0x10 + 1", "z#2 = W:Modulo(w, W16); z = W:Plus(z#2, W1)"},
        {"4.0 - u", "z = B:Minus(B4, u)"},
        {"u == 255", "z = W:Equal(u, B255)"},
        {"s > -2147483648", "z = W:GreaterThan(s, l-2147483648)"},
        {"q & 18446744073709551615", "z = Q:BitwiseAnd(q, Q18446744073709551615)"},
        {"q & top", "z = Q:BitwiseAnd(q, Q18446744073709551615)"},
        {"f * 0.5", "z = F:Multiply(f, F0.500000)"},
        {"-corner + a", "z = D:Plus(D-5.000000, a)"},
        {"- -2e0 * `Temp [V]`", "z = D:Multiply(D2.000000, Temp [V])"},
        {"Timeout(w, 5, a)", "z = W:Timeout(w, D5.000000, a)"},
        {"Count(w, 0)", "z = D:Count(w, W0)"},
        // types of results: open and requested ones
        {"a", "z = D:Assignment(a)"},
        {"Cast(w)", "z = D:Cast(w)"},
        {"Cast(w) as Float32 * f", "z#1 = F:Cast(w); z = F:Multiply(z#1, f)"},
        {"If(w, 1, 2)", "z = D:If(w, D1.000000, D2.000000)"},
        {"If(w, 1, 2) as UInt8", "z = B:If(w, B1, B2)"},
        {"MaskAndShift(w, mask = 0xF0)", "z = W:MaskAndShift(w, mask)"},
        {"MaskAndShift(w, mask = 0xF0) as UInt8", "z = B:MaskAndShift(w, mask)"},
        {"SystemTime()", "z = D:SystemTime()"},
        {"SystemTime() as UInt64", "z = Q:SystemTime()"},
        {"DFF(w, v)", "z = W:DFF(w, v)"},
        {"DFF(u, a)", "z = D:DFF(u, a)"},
        {"Divide(w, v)", "z = W:Divide(w, v)"},
        // named arguments
        {"Linea(a, points = pairs, no_value_aware = false)", "z = D:Linea(a, points) plain"},
        {"FilterButterworthLowPass(a, order = 2, sample_rate = 1e2, corner1 = corner)",
         "z = D:FilterButterworthLowPass(a, corner1, order, sample_rate)"},
    };
    for (const auto& [formula, blocks] : cases)
        EXPECT_EQ(Blocks(Parsed(formula)), blocks) << formula;
    const Plan plan = Parsed("Max(u, no_value = 7) + 255");
    EXPECT_EQ(Text(plan.computations.at(0).results.at(0).noValue), "7");
    EXPECT_EQ(Text(plan.constants.at(0).channel.noValue), "0"); // since 255 is a sample here
}

/// Checks the fault, the position of the caret and part of the remedy.
TEST(Formulas, SayWhereAndWhatAndWhatWouldHelp) {
    struct Case {
        std::string formula;
        std::string fault;
        std::size_t caret;
        std::string help;
    };
    const std::vector<Case> cases{
        {"w + a", "+ (Plus) does not exist on these types", 2,
         "found: w is UInt16, a is Float64\n  nearest: Float64, Float64 -> Float64; UInt16, UInt16 -> UInt16; "
         "Float32, Float32 -> Float32\n  write Cast(w) as Float64"},
        {"1 + Sqrt(w)", "Sqrt does not exist on these types", 4, "write Cast(w) as Float64"},
        {"a && w", "&& (LogicalAnd) does not exist on these types", 2, "write (a != 0)"},
        {"-s", "- (Negate) does not exist on these types", 0, "or 0 - s"},
        {"Plus(w, v) as Float64", "Plus does not exist on these types", 0, "write Cast(Plus(w, v)) as Float64"},
        {"b + Cast(a) as Float64", "Cast does not exist on these types", 4, "a is Float64 already"},
        {"7 / (w + 1)", "/ between integers (UInt16) would lose the fraction", 2,
         "write Cast(w + 1) as Float64 to keep it, or Divide(7, w + 1)"},
        {"w > 0.5", "0.5 is no number of the type UInt16, which w has", 4, "Cast(w) as Float64"},
        {"u + 300", "300 is no number of the type UInt8, which u has", 4, "Cast(u) as UInt16"},
        {"w == -1", "-1 is no number of the type UInt16, which w has", 5, "Cast(w) as SInt32"},
        {"f * 16777217", "16777217 is no number of the type Float32, which f has", 4, "Cast(f) as Float64"},
        {"a * 9007199254740993", "9007199254740993 is no number of the type Float64", 4, "holds exactly"},
        {"f * 1e39", "1e39 is no number of the type Float32", 4, "Cast(f) as Float64"},
        {"a * 36893488147419103233", "no type holds this number exactly", 4, "exponent"},
        {"a * 1e400", "this number is too large or too small", 4, ""},
        {"Power(2, 3)", "there are only numbers here", 0, ""},
        {"corner", "there is only a number here", 0, "[settings]"},
        {"pairs * a", "the setting \"pairs\" is no number", 0, ""},
        {"a < b < 1", "comparisons do not chain", 6, "a < b && b < c"},
        {"a == b != w", "comparisons do not chain", 7, ""},
        {"w & v == 1", "== and & need brackets between them", 2, "(a & b) == c"},
        {"w == v | w", "== and | need brackets between them", 7, ""},
        {"w << 1 == v", "<< and == need brackets between them", 7, ""},
        {"a ^ b", "a formula has no ^", 2, "Power(a, b)"},
        {"a ** b", "a formula has no **", 2, "Power(a, b)"},
        {"a \xE2\x89\xA4 b", "a formula has no \xE2\x89\xA4", 2, "write <="},
        {"a = b", "an operator is missing before this", 2, "write =="},
        {"w and v", "an operator is missing before this", 2, "write &&"},
        {"2a", "this is no number", 0, "2 * a"},
        {"Temp [V]", "an operator is missing before this", 5, "backticks"},
        {"\xC3\xA4 + `\xC3\xA4`", "a formula has no \xC3\xA4", 0, "backticks"},
        {"`\xC3\xA4\xC3\xA4` + c", "unknown channel \"\xC3\xA4\xC3\xA4\"", 0, ""},
        {"`Temp [V]` + c", "unknown channel \"c\"", 13, "did you mean"},
        {"a +", "the formula ends where an operand should follow", 3, ""},
        {"(a + b", "this bracket is not closed", 0, ""},
        {"a + b)", "this bracket closes nothing", 5, ""},
        {"Max(a, b", "the brackets of this call are not closed", 0, ""},
        {"Max(a,)", "an operand is missing before this", 6, ""},
        {"`a", "this backtick has no partner", 0, ""},
        {"(a) as Float32", "\"as\" stands behind a call alone", 4, "Cast(...) as Float64"},
        {"Cast(a) as float", "a type is missing behind \"as\"", 11, "Float32"},
        {"sqrt(a)", "unknown operation \"sqrt\"", 0, "did you mean \"Sqrt\"?"},
        {"Sqrt + a", "Sqrt is an operation, not a channel", 0, "Sqrt(...)"},
        {"a == NoValue", "\"NoValue\" is no operand", 5, "Valid"},
        {"Statistics(a)", "Statistics has 3 results", 0, "[[channels]]"},
        {"FilterButterworthLowPass(a, 4, 5)", "FilterButterworthLowPass takes 1 operand, here are 3", 0, "corner1"},
        {"Max(a, windw = 5)", "Max has no parameter \"windw\"", 7, "did you mean \"window\"?"},
        {"Max(a, window = w)", "there is no setting \"w\"", 16, ""},
        {"Max(a, window = 5, window = 6)", "\"window\" is given twice", 19, ""},
        {"Max(window = 5, a)", "this operand stands behind a parameter", 16, ""},
        {"b + Max(a, window = 1.5)", "parameter \"window\" is no whole number within its type", 11, "[samples]"},
        {"Max(window = 5 (a))", "a comma is missing before this", 15, ""},
        {"FilterButterworthLowPass(a, order = 2, corner1 = 5, sample_rate = 10)",
         "parameter \"corner1\" is not below half of \"sample_rate\"", 39, ""},
        {"Linea(a)", "parameter \"points\" is missing", 0, ""},
        {"Linea(a, [[0, 1]])", "an operand is missing before this", 9, "points = [[0, 1]"},
        {"Linea(a, points = [0, 1])", "\"[\" is missing here", 19, "[[0.0, 1.0]"},
        {"Max(a, no_value_aware = 1)", "\"no_value_aware\" is not true or false", 7, ""},
        {"Max(w, no_value = -1)", "\"no_value\" is no number of the type UInt16", 7, ""},
    };
    for (const auto& [formula, fault, caret, help] : cases) {
        try {
            ADD_FAILURE() << formula << " stands for " << Blocks(Parsed(formula));
        } catch (const Vel::Error& error) {
            EXPECT_EQ(error.Place(), "plan.toml:34: channel \"z\"") << formula;
            EXPECT_EQ(error.Fault().substr(0, fault.size()), fault) << formula;
            const std::string pointer = "  " + formula + "\n    " + std::string(caret, ' ') + "^";
            EXPECT_EQ(error.Remedy().substr(0, pointer.size()), pointer) << formula;
            EXPECT_NE(error.Remedy().find(help, pointer.size()), std::string::npos) << error.what();
        }
    }
}

TEST(Formulas, OfAnySizeDoNoHarm) {
    const auto repeated = [](const std::string& text, std::size_t count) {
        std::string whole;
        for (std::size_t i = 0; i < count; ++i)
            whole += text;
        return whole;
    };
    for (const std::string& formula :
         {repeated("(", 100000), repeated("(", 30000) + "a" + repeated(")", 30000), repeated("-", 60000) + "a",
          repeated("!(", 30000), repeated("Max(", 10000), repeated("a+", 500000) + "a", repeated("a<", 30000),
          "Linea(a, points = " + repeated("[", 60000), repeated("9", 60000) + "* a", repeated("x", 60000),
          std::string(), repeated("a - -", 10000), repeated(" ", 60000)})
        EXPECT_THROW(Parsed(formula), Vel::Error) << formula.substr(0, 20);
    EXPECT_EQ(Parsed(repeated("a + ", 16000) + "a").computations.size(), 16000U);
    std::string chain; // each channel needs the one below
    for (int i = 0; i < 20000; ++i)
        chain += "c" + std::to_string(i) + " = \"-c" + std::to_string(i + 1) + "\"\n";
    EXPECT_EQ(Vel::Engine::Run(ParsePlan(PlanWith(chain + "c20000 = \"a\""), "plan"), 1).Computations(), 20001U);
    EXPECT_THROW(ParsePlan(PlanWith(chain + "c20000 = \"c0\""), "plan"), Vel::Error);
}

/// Every row of the vocabulary is found from its types. If the type of the result is left open, it is the only one
/// possible, or Float64, or the type of the operand. Otherwise the call needs a type.
TEST(Formulas, FindEveryRow) {
    for (const Vel::Operation& operation : Vel::AllOperations())
        for (const std::string& row : SignaturesOf(operation)) {
            if (operation.results != 1)
                continue;
            const std::string operands = row.substr(1);
            EXPECT_EQ(FitRow(operation, row[0], operands), row) << operation.name;
            std::string results;
            for (const Vel::SampleType& type : Vel::sampleTypes)
                if (Accepts(operation, type.letter + operands))
                    results += type.letter;
            const bool hasFloat64 = results.find('D') != std::string::npos;
            const std::string expected = results.size() == 1                ? row
                                         : hasFloat64                       ? "D" + operands
                                         : operation.name == "MaskAndShift" ? operands + operands
                                                                            : "";
            EXPECT_EQ(FitRow(operation, Vel::openType, operands), expected) << operation.name << ' ' << row;
            EXPECT_TRUE(!expected.empty() || operands == "D") << operation.name;
        }
}

} // namespace
