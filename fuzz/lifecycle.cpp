/// Random lives of random operations: valid and invalid parameters, samples, resets and clock jumps in any order, and
/// allocations that sometimes fail. The plain and the NoValue-aware form live side by side, and the second must match
/// what the first computes.

#include "checks/Allocations.h"
#include "checks/FakePlatform.h"
#include "checks/WindowModel.h"
#include "fuzz/Finding.h"

#include <algorithm>
#include <bit>
#include <cmath>

using namespace VelChecks;
using namespace VelFuzz;
using Vel::Twin;

namespace {

/// All rows but those of "Gangermittlung", which has its own target.
const std::vector<Row>& Rows() {
    static const std::vector<Row> rows = [] {
        std::vector<Row> all = AllRows();
        std::erase_if(all, [](const Row& row) { return row.operation->name == "Gangermittlung"; });
        return all;
    }();
    return rows;
}

/// A row; in every other life one with a window.
const Row& ChooseRow(FuzzedDataProvider& bytes) {
    static const std::vector<Row> withWindow = [] {
        std::vector<Row> chosen = Rows();
        std::erase_if(chosen, [](const Row& row) { return WindowModel::Of(row, false) == nullptr; });
        return chosen;
    }();
    return RowFrom(bytes.ConsumeBool() ? withWindow : Rows(), bytes);
}

class Lifecycle {
public:
    explicit Lifecycle(FuzzedDataProvider& itsBytes)
        : bytes(itsBytes),
          choose(ChoicesFrom(itsBytes)),
          row(ChooseRow(itsBytes)),
          twin(TwinOf(*row.operation, row.signature)),
          markers(ChooseMarkers()),
          plain(row, false, markers),
          aware(row, true, markers),
          model(WindowModel::Of(row, false)) {}

    void Run() {
        while (bytes.remaining_bytes() > 0)
            Step();
    }

private:
    void Step() {
        switch (choose(16)) {
        case 0:
            return Reset();
        case 1:
            return Initialize(ChooseParameters(row, choose).list);
        case 2:
            return Initialize(ChooseAgainstTheRules());
        case 3:
            return MoveClocks();
        case 4:
            Require(plain.Terminate() && aware.Terminate(), "Terminate");
            return;
        case 5:
            failing = 1 + choose(2);
            return;
        case 6:
            return ExecuteOften();
        case 7:
            return ExecuteRising();
        default:
            plain.ChooseOperands(choose);
            if (choose(4) == 0)
                ChooseBits();
            return Execute();
        }
    }

    void Require(bool holds, std::string_view what) const {
        if (!holds)
            VelFuzz::Require(false, row.Title(true) + ": " + std::string(what));
    }

    /// Usual markers, any others, and none at operands.
    std::vector<std::optional<SampleBits>> ChooseMarkers() {
        std::vector<std::optional<SampleBits>> chosen;
        const bool areUsual = choose(2) == 0;
        for (const char letter : row.signature)
            chosen.push_back(areUsual ? UsualNoValue(letter) : ChooseSample(letter, choose));
        for (std::size_t i = row.operation->results; i < chosen.size(); ++i)
            if (choose(8) == 7)
                chosen[i].reset();
        return chosen;
    }

    /// Any number of parameters with any values. Each that the operation may read has the right kind, since another one
    /// breaks the contract of Initialize.
    Vel::Engine::ArgumentList ChooseAgainstTheRules() {
        const auto parameters = row.operation->parameters;
        const bool isCurve = !parameters.empty() && parameters[0].kind == Vel::ParameterKind::Curve;
        Vel::Engine::ArgumentList list;
        for (std::uint64_t count = choose(isCurve ? 40 : parameters.size() + 3); count != 0; --count) {
            const std::size_t index = list.arguments.size();
            const char letter = choose(4) == 0 ? static_cast<char>(1 + choose(255)) : row.signature.back();
            list.Add(letter, isCurve || index >= parameters.size() ? Argument(Vel::ParameterKind::Number)
                                                                   : Argument(parameters[index].kind));
        }
        return list;
    }

    Vel::Engine::Argument Argument(Vel::ParameterKind kind) {
        using enum Vel::ParameterKind;
        const char letter = row.signature.back();
        const bool isSample = kind == Sample;
        if (kind == Number || kind == PackedSeconds || (isSample && (letter == 'F' || letter == 'D')))
            return AnyDouble();
        if (kind == Mask || (isSample && SizeOfSample(letter) == sizeof(std::uint64_t)))
            return bytes.ConsumeIntegral<std::uint64_t>();
        return choose(2) == 0 ? bytes.ConsumeIntegral<std::uint8_t>() : bytes.ConsumeIntegral<std::uint32_t>();
    }

    double AnyDouble() {
        constexpr std::array<double, 11> special{0.0,    -0.0,   1.0,          -1.0,     0.5, 1e308,
                                                 -1e308, 5e-324, 4294967296.0, INFINITY, NAN};
        const std::uint64_t chosen = choose(special.size() + 2);
        return chosen < special.size() ? special[chosen] : std::bit_cast<double>(bytes.ConsumeIntegral<SampleBits>());
    }

    void Initialize(const Vel::Engine::ArgumentList& parameters) {
        const std::size_t lost = choose(8) == 0 ? 1 + choose(12) : 0; // or one of the call's own
        const Outcome first = Watch(lost, [&] { return CallInitialize(plain.Handle(), parameters); });
        const Outcome second = Watch(lost, [&] { return CallInitialize(aware.Handle(), parameters); });
        Require(first.answer == second.answer && first.isOutOfMemory == second.isOutOfMemory,
                "Initialize of the two forms");
        if (model && !first.isOutOfMemory)
            model->Initialize(parameters);
    }

    void Reset() {
        for (Subject* subject : {&plain, &aware}) {
            const Outcome outcome = Watch(0, [&] { return subject->Reset(); });
            Require(outcome.answer && outcome.allocations == 0, "Reset");
        }
        if (model)
            model->Reset();
    }

    void MoveClocks() {
        FakePlatform::tickCount +=
            choose(4) == 0 ? bytes.ConsumeIntegral<std::uint32_t>() : static_cast<std::uint32_t>(choose(5000));
        FakePlatform::systemTime = FakePlatform::localTime = {
            .wYear = static_cast<std::uint16_t>(1600 + choose(30000)),
            .wMonth = static_cast<std::uint16_t>(choose(14)),
            .wDayOfWeek = 0,
            .wDay = static_cast<std::uint16_t>(choose(33)),
            .wHour = static_cast<std::uint16_t>(choose(25)),
            .wMinute = 59,
            .wSecond = 30,
            .wMilliseconds = static_cast<std::uint16_t>(choose(1001)),
        };
    }

    void ChooseBits() {
        for (std::size_t i = 0; i < plain.Operands().size(); ++i) {
            const std::size_t size = SizeOfSample(plain.Letter(i));
            plain.Operands()[i] = bytes.ConsumeIntegral<SampleBits>() >> (64 - 8 * size);
        }
        plain.KeepFromFaults();
    }

    /// Sometimes about as many as one block of a window or a line holds, or as a few blocks.
    std::uint64_t ChooseCount() {
        const std::uint64_t count = choose(3) == 0 ? (std::uint64_t{64} << choose(3)) - 2 + choose(5) : choose(100);
        return std::min(count, samplesLeft);
    }

    void ExecuteOften() {
        SeededChoice seeded(choose(256));
        for (std::uint64_t left = ChooseCount(); left != 0; --left) {
            plain.ChooseOperands(std::ref(seeded));
            Execute();
        }
    }

    /// Rising or falling samples all stay in the window of an extreme.
    void ExecuteRising() {
        const bool isFalling = choose(2) == 1;
        const auto start = static_cast<std::int64_t>(choose(256));
        const auto count = static_cast<std::int64_t>(ChooseCount());
        for (std::int64_t i = 0; i < count; ++i) {
            for (std::size_t operand = 0; operand < plain.Operands().size(); ++operand)
                plain.Operands()[operand] = SampleOf(plain.Letter(operand), isFalling ? start - i : start + i);
            plain.KeepFromFaults();
            Execute();
        }
    }

    /// Executes both forms on the plain form's operands.
    void Execute() {
        if (samplesLeft == 0)
            return;
        --samplesLeft;
        std::ranges::copy(plain.Operands(), aware.Operands().begin());
        if (twin != Twin::Repeats) {
            for (std::size_t i = 0; i < plain.Results().size(); ++i)
                plain.Results()[i] = aware.Results()[i] = SampleOf(row.signature[i], 77);
        }
        const bool isNoValue = aware.HasNoValue();
        if (isNoValue && twin == Twin::TakesForZero)
            plain.Operands()[0] = 0;
        if (twin == Twin::OnlyAware || twin == Twin::OnlyPlain)
            ExecuteAlone();
        else if (!isNoValue || twin == Twin::Ignores || twin == Twin::TakesForZero)
            ExecuteAlike();
        else if (twin == Twin::Decides)
            Decide();
        else
            ExecuteAwareOfNoValue();
    }

    Outcome Execute(Subject& subject, bool mayAllocate) {
        const Outcome outcome = Watch(failing, [&] { return subject.Execute(); });
        Require(mayAllocate || outcome.allocations == 0, "an allocation in steady state");
        return outcome;
    }

    void ExecuteAlike() {
        const SampleBits operand = plain.Operands().empty() ? SampleBits{0} : SampleBits{plain.Operands()[0]};
        const bool mayAllocate = model && model->MayAllocate(operand, false);
        const Outcome first = Execute(plain, mayAllocate);
        const Outcome second = Execute(aware, mayAllocate);
        Require(first.isOutOfMemory == second.isOutOfMemory, "memory of the two forms");
        Require(first.answer == second.answer && ShowsTheSame(), "results of the two forms");
        if (first.isOutOfMemory) {
            failing = 0;
            return;
        }
        if (!model)
            return;
        const WindowModel::Answer expected = model->Execute(operand, false);
        Require(first.answer == expected.returned, "answer");
        for (std::size_t i = 0; i < plain.Results().size(); ++i)
            Require(!expected.results[i] || AreSame(row.signature[i], *expected.results[i], plain.Results()[i]),
                    "result");
    }

    /// The form that does not compute does nothing.
    void ExecuteAlone() {
        const bool isPlainIdle = twin == Twin::OnlyAware;
        Subject& idle = isPlainIdle ? plain : aware;
        const std::vector<SampleBits> before(idle.Results().begin(), idle.Results().end());
        Require(!Execute(idle, false).answer && std::ranges::equal(idle.Results(), before), "is not idle");
        Execute(isPlainIdle ? aware : plain, false);
    }

    void Decide() {
        const Outcome first = Execute(plain, false);
        const Outcome second = Execute(aware, false);
        Require(second.answer ? first.answer && ShowsTheSame() : ShowsMarkers(), "decision");
    }

    void ExecuteAwareOfNoValue() {
        const Outcome outcome = Execute(aware, false);
        switch (twin) {
        case Twin::Restarts:
            plain.Reset();
            [[fallthrough]];
        case Twin::Refuses:
            Require(!outcome.answer && ShowsMarkers(), "NoValue");
            break;
        case Twin::Repeats:
            for (std::size_t i = 0; i < aware.Results().size(); ++i)
                Require(ShowsTheSame(i) || ShowsMarker(i), "repetition");
            break;
        default:
            break;
        }
    }

    bool ShowsTheSame(std::size_t result) {
        return AreSame(row.signature[result], plain.Results()[result], aware.Results()[result]);
    }
    bool ShowsMarker(std::size_t result) {
        return AreSame(row.signature[result], aware.Results()[result], *aware.ResultMarkers()[result]);
    }
    bool ShowsTheSame() {
        for (std::size_t i = 0; i < aware.Results().size(); ++i)
            if (!ShowsTheSame(i))
                return false;
        return true;
    }
    bool ShowsMarkers() {
        for (std::size_t i = 0; i < aware.Results().size(); ++i)
            if (!ShowsMarker(i))
                return false;
        return true;
    }

    FuzzedDataProvider& bytes;
    const Choose choose;
    const Row& row;
    const Twin twin;
    const std::vector<std::optional<SampleBits>> markers;
    Subject plain;
    Subject aware;
    const std::unique_ptr<WindowModel> model; ///< of the plain form; null without a window
    std::uint64_t samplesLeft = 1000;         ///< so that no input takes long
    std::size_t failing = 0;                  ///< which allocation fails in the next sample that has this many
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const MessageCheck messages;
    FakePlatform::tickCount = 0;
    FakePlatform::systemTime = FakePlatform::localTime = {};
    ForEachPart({data, size}, [](FuzzedDataProvider& bytes) { Lifecycle(bytes).Run(); });
    return 0;
}
