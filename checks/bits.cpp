/// The bits of all results: runs every row over seeded samples, both forms side by side, and prints a line for each:
/// the row, then for each sample one character that hashes all results so far. Every compiler and every optimization
/// must print the same. `--check FILE` compares with the lines of a file instead, and shows the first sample of each
/// row whose result differs. One time in 64 the hash hides it by chance, and the next sample is shown.
///
/// `--samples` writes the lives of each row for hosts that shall show the same: a line of JSON with the parameters, the
/// operands and the results of both forms as their bits, and the answers.
///
/// The first line identifies the math library. If the file has another one, the operations whose last bits depend on it
/// are not compared.
#include "checks/FakePlatform.h"
#include "checks/Subject.h"

#include <cinttypes>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>

using namespace VelChecks;

namespace {

/// Fowler, Noll and Vo's hash, 64 bits wide.
class Hash {
public:
    void Add(std::uint64_t bits) {
        for (int byte = 0; byte < 8; ++byte)
            value = (value ^ (bits >> (8 * byte) & 0xFF)) * 0x100000001B3;
    }
    std::string Characters(int count) const {
        std::string text;
        for (int i = 0; i < count; ++i)
            text += "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+-"[value >> (6 * i + 16) & 63];
        return text;
    }

private:
    std::uint64_t value = 0xCBF29CE484222325;
};

/// Any NaN, with a payload. Whole numbers where the type has none.
SampleBits ChooseNaN(char letter, const Choose& choose) {
    return WithType(letter, [&]<class T>(T) -> SampleBits {
        if constexpr (std::is_floating_point_v<T>) {
            using Number = std::conditional_t<sizeof(T) == sizeof(std::uint32_t), std::uint32_t, std::uint64_t>;
            constexpr Number quiet = Number{1} << (std::numeric_limits<T>::digits - 2);
            constexpr T infinity = std::numeric_limits<T>::infinity();
            const auto sign = std::bit_cast<Number>(choose(2) == 0 ? infinity : -infinity);
            if (choose(8) == 0)
                return BitsOf(T{1});
            const auto payload = static_cast<Number>(1 + choose(99));
            return BitsOf(std::bit_cast<T>(static_cast<Number>(sign | payload | (choose(4) == 0 ? 0 : quiet))));
        } else {
            return BitsOf(static_cast<T>(choose(3)));
        }
    });
}

std::string Text(char letter, SampleBits sample) {
    std::ostringstream text;
    WithType(letter, [&]<class T>(T) {
        text.precision(std::numeric_limits<T>::max_digits10);
        text << +FromBits<T>(sample);
        if (IsNaN(letter, sample))
            text << std::hex << "(0x" << sample << ')';
    });
    return text.str();
}

/// A table of gears can be read only once, so each form needs its own parameters.
Vel::Engine::OrderedParameters ParametersOf(const Row& row, int life, bool areNaNs) {
    SeededChoice seeded(100 + static_cast<std::uint64_t>(life));
    auto parameters = ChooseParameters(row, std::ref(seeded));
    for (std::size_t i = 0; areNaNs && i < parameters.list.arguments.size(); ++i)
        if (i < row.operation->parameters.size() && !row.operation->traits.usesMathLibrary &&
            row.operation->parameters[i].kind == Vel::ParameterKind::Number)
            parameters.list.arguments[i] = FromBits<double>(ChooseNaN('D', std::ref(seeded)));
    return parameters;
}

constexpr int lives = 5, samplesInLife = 120;

/// The checks of a row. Prints one of the samples, unless its number is negative.
std::string ChecksOf(const Row& row, int shownSample = -1) {
    SeededChoice seeded(1);
    const Choose choose = std::ref(seeded);
    Subject plain(row, false), aware(row, true);
    Hash hash;
    std::string checks;
    for (int life = 0; life < lives; ++life) {
        const bool areNaNs = life == lives - 1;
        for (Subject* subject : {&plain, &aware})
            hash.Add(subject->Initialize(ParametersOf(row, life, areNaNs)));
        for (int sample = 0; sample < samplesInLife; ++sample) {
            plain.ChooseOperands(choose);
            for (std::size_t i = 0; areNaNs && i < plain.Operands().size(); ++i)
                plain.Operands()[i] = ChooseNaN(plain.Letter(i), choose);
            std::ranges::copy(plain.Operands(), aware.Operands().begin());
            FakePlatform::tickCount += static_cast<std::uint32_t>(choose(300));
            const bool isShown = life * samplesInLife + sample == shownSample;
            if (isShown) {
                std::printf("  sample %d:", shownSample);
                for (std::size_t i = 0; i < plain.Operands().size(); ++i)
                    std::printf(" %s", Text(plain.Letter(i), plain.Operands()[i]).c_str());
            }
            for (Subject* subject : {&plain, &aware}) {
                const bool answer = subject->Execute();
                hash.Add(answer);
                for (std::size_t i = 0; i < subject->Results().size(); ++i)
                    hash.Add(NumberOf(subject->Results()[i], SizeOfSample(row.signature[i])));
                if (isShown) {
                    std::printf("%s %s", subject == &plain ? "; plain" : ", aware", answer ? "true" : "false");
                    for (std::size_t i = 0; i < subject->Results().size(); ++i)
                        std::printf(" %s", Text(row.signature[i], subject->Results()[i]).c_str());
                }
            }
            if (isShown)
                std::puts("");
            checks += hash.Characters(1);
        }
        if (life % 2 == 0) {
            plain.Reset();
            aware.Reset();
        }
    }
    return checks;
}

/// Hashes all of its functions that operations use.
template <class T>
void AddMathLibrary(Hash& hash) {
    std::vector<T> samples = EdgeSamples<T>();
    for (int i = -2000; i < 2000; ++i)
        samples.push_back(static_cast<T>(i) / 700);
    for (const T x : samples)
        for (const T value : {std::sin(x), std::cos(x), std::tan(x), std::asin(x), std::acos(x), std::atan(x),
                              std::sinh(x), std::cosh(x), std::tanh(x), std::exp(x), std::log(x), std::log10(x),
                              std::pow(T{10}, x), std::pow(x, T{1.3f})})
            hash.Add(BitsOf(value));
}

std::string Json(const Vel::Engine::Value& value) {
    std::ostringstream text;
    text.precision(std::numeric_limits<double>::max_digits10);
    std::visit(
        [&text]<class T>(const T& held) {
            if constexpr (std::is_same_v<T, bool>) {
                text << (held ? "true" : "false");
            } else if constexpr (std::is_arithmetic_v<T>) {
                text << held;
            } else if constexpr (!std::is_same_v<T, Vel::Engine::Duration>) {
                for (const auto& [x, y] : held)
                    text << (text.tellp() == 0 ? "[[" : ",[") << x << ',' << y << ']';
                text << ']';
            }
        },
        value);
    return text.str();
}

/// Rows of samples as their bits.
class SampleRows {
public:
    void Add(std::span<SampleCell> samples, std::string_view letters) {
        text += text.empty() ? "[" : ",[";
        for (std::size_t i = 0; i < samples.size(); ++i)
            text += (i == 0 ? "" : ",") + std::to_string(NumberOf(samples[i], SizeOfSample(letters[i])));
        text += ']';
    }
    const std::string& Text() const { return text; }

private:
    std::string text;
};

/// A life of a row in operations of its own, with what a host needs to lead it, too.
std::string LifeInJson(const Row& row, int life, const Choose& choose) {
    SeededChoice seeded(100 + static_cast<std::uint64_t>(life));
    std::string parameters;
    for (const auto& [name, value] : ChooseParametersByName(row, std::ref(seeded)))
        parameters += (parameters.empty() ? "\"" : ",\"") + name + "\":" + Json(value);
    Subject plain(row, false), aware(row, true);
    SampleRows operands;
    SampleRows ofPlain;
    SampleRows ofAware;
    std::string answers;
    for (Subject* subject : {&plain, &aware})
        answers += subject->Initialize(ParametersOf(row, life, false)) ? '1' : '0';
    const std::string_view letters = row.signature;
    for (int sample = 0; sample < samplesInLife; ++sample) {
        plain.ChooseOperands(choose);
        for (std::size_t i = 0; life == lives - 1 && i < plain.Operands().size(); ++i)
            plain.Operands()[i] = ChooseNaN(plain.Letter(i), choose);
        operands.Add(plain.Operands(), letters.substr(row.operation->results));
        std::ranges::copy(plain.Operands(), aware.Operands().begin());
        FakePlatform::tickCount += static_cast<std::uint32_t>(choose(300));
        for (Subject* subject : {&plain, &aware}) {
            answers += subject->Execute() ? '1' : '0';
            (subject == &plain ? ofPlain : ofAware).Add(subject->Results(), letters);
        }
    }
    return "{\"parameters\":{" + parameters + "},\"operands\":[" + operands.Text() + "],\"answers\":\"" + answers +
           "\",\"plain\":[" + ofPlain.Text() + "],\"aware\":[" + ofAware.Text() + "]}";
}

/// Each life is one of operations of its own; the first one is that of ChecksOf. The last two give each parameter that
/// may be left out.
void WriteSamples(const std::vector<Row>& rows, const Hash& ofMathLibrary) {
    std::cout << "{\"math_library\":\"" << ofMathLibrary.Characters(8) << "\"}\n";
    const auto flag = [](bool isSet) { return isSet ? "true" : "false"; };
    for (const Row& row : rows) {
        SeededChoice seeded(1);
        std::cout << "{\"name\":\"" << row.operation->name << "\",\"signature\":\"" << row.signature
                  << "\",\"uses_math_library\":" << flag(row.operation->traits.usesMathLibrary)
                  << ",\"reads_clock\":" << flag(row.operation->traits.readsClock) << ",\"lives\":[";
        for (const int life : {0, 1, lives - 1, 5, 16})
            std::cout << (life == 0 ? "" : ",") << LifeInJson(row, life, std::ref(seeded));
        std::cout << "]}\n";
    }
}

/// Rows and their checks.
using Lines = std::map<std::string, std::string>;
constexpr const char* mathLibrary = "math library";

/// True if all lines that can be compared are the same.
bool Compare(const Lines& recorded, const Lines& now, const std::vector<Row>& rows) {
    bool areSame = true;
    const bool isMathLibrarySame = recorded.contains(mathLibrary) && recorded.at(mathLibrary) == now.at(mathLibrary);
    if (!isMathLibrarySame)
        std::puts("The math library is another one; rows that depend on it are not compared.");
    for (const auto& [title, checks] : recorded)
        if (!now.contains(title)) {
            std::printf("%s: recorded, but there is no such row\n", title.c_str());
            areSame = false;
        }
    for (const Row& row : rows) {
        const std::string title = std::string(row.operation->name) + ' ' + row.signature;
        const auto line = recorded.find(title);
        if (row.operation->traits.usesMathLibrary && !isMathLibrarySame)
            continue;
        if (line != recorded.end() && line->second == now.at(title))
            continue;
        std::printf("%s: %s\n", title.c_str(),
                    line == recorded.end() ? "not recorded; make records does that"
                                           : "other results than recorded, from here on:");
        if (line != recorded.end())
            ChecksOf(row,
                     static_cast<int>(std::ranges::mismatch(line->second, now.at(title)).in2 - now.at(title).begin()));
        areSame = false;
    }
    return areSame;
}

} // namespace

int main(int count, char** arguments) {
    FakePlatform::systemTime = {2024, 2, 4, 29, 23, 59, 58, 987};
    FakePlatform::localTime = {2024, 3, 5, 1, 0, 59, 58, 987};
    const std::vector<Row> rows = AllRows();
    Lines now;
    Hash hash;
    AddMathLibrary<float>(hash);
    AddMathLibrary<double>(hash);
    if (count == 2 && std::string_view(arguments[1]) == "--samples") {
        WriteSamples(rows, hash);
        return 0;
    }
    now[mathLibrary] = hash.Characters(8);
    for (const Row& row : rows)
        now[std::string(row.operation->name) + ' ' + row.signature] = ChecksOf(row);

    if (count != 3) {
        for (const auto& [title, checks] : now)
            std::cout << title << ' ' << checks << '\n';
        return 0;
    }
    Lines recorded;
    std::ifstream file(arguments[2]);
    for (std::string line; std::getline(file, line);)
        recorded.emplace(line.substr(0, line.rfind(' ')), line.substr(line.rfind(' ') + 1));
    return Compare(recorded, now, rows) ? 0 : 1;
}
