/// Create with any name, any signature and any form: null or a working operation, and a message in its form.

#include "fuzz/Finding.h"

#include <algorithm>
#include <array>
#include <map>
#include <utility>

using namespace VelChecks;
using namespace VelFuzz;

namespace {

constexpr std::size_t mostLetters = 17;
constexpr std::string_view gear = "Gangermittlung";

const std::vector<Row>& Rows() {
    static const std::vector<Row> rows = AllRows();
    return rows;
}

/// The row for a request: the letters of the floating types are case insensitive, and the first operand of the gear
/// determination takes any letter.
const Row* FindRow(const std::string& name, std::string signature) {
    static const auto index = [] {
        std::map<std::pair<std::string, std::string>, const Row*> all;
        for (const Row& row : Rows())
            all.emplace(std::pair(std::string(row.operation->name), row.signature), &row);
        return all;
    }();
    if (name == gear && signature.size() > 1)
        signature[1] = 'W';
    std::ranges::replace(signature, 'f', 'F');
    std::ranges::replace(signature, 'd', 'D');
    const auto found = index.find({name, signature});
    return found == index.end() ? nullptr : found->second;
}

class Request {
public:
    explicit Request(FuzzedDataProvider& itsBytes) : bytes(itsBytes), choose(ChoicesFrom(itsBytes)) {
        name = RowFrom(Rows(), bytes).operation->name;
        signature = RowFrom(Rows(), bytes).signature;
        ChangeName();
        ChangeSignature();
        row = FindRow(name, signature);
        for (std::size_t i = 0; i < mostLetters; ++i)
            pointers.emplace_back(row != nullptr && i < row->signature.size() ? row->signature[i] : 'B')
                .Aim(samples[i].Address());
        if (row != nullptr)
            ChooseChannels();
    }

    void Run() {
        const MessageCheck messages;
        const VelHandle handle = Create();
        Require((handle != nullptr) == (row != nullptr), name + ' ' + signature + " is not as in the vocabulary");
        if (handle == nullptr) {
            const bool maySilently = name == "If" || signature.size() > 4;
            Require(messages.Count() == 1 || (maySilently && messages.Count() == 0), "a refusal without one message");
            return;
        }
        Require(messages.Count() == 0, "a message beside an operation");
        for (std::size_t i = 0; i < mostLetters; ++i)
            pointers[i].Aim(samples[i].Address());
        Live(handle);
        Require(Dispose(handle), "Dispose");
    }

private:
    void ChangeName() {
        switch (choose(8)) {
        case 0:
            name = bytes.ConsumeRandomLengthString().c_str(); // up to its first NUL
            break;
        case 1:
            name[choose(name.size())] = static_cast<char>(1 + choose(255));
            break;
        case 2:
            name += bytes.ConsumeRandomLengthString(200).c_str();
            break;
        default:
            break;
        }
    }

    void ChangeSignature() {
        constexpr std::string_view letters = "BWLQbwlqFDfdSs?T";
        switch (choose(8)) {
        case 0:
            signature = bytes.ConsumeRandomLengthString().c_str();
            break;
        case 1:
            signature.clear();
            for (std::uint64_t left = choose(mostLetters + 3); left != 0; --left)
                signature += letters[choose(letters.size())];
            break;
        case 2:
            signature[choose(signature.size())] = letters[choose(letters.size())];
            break;
        case 3: // a row of this very name: the first that is not before the signature
            if (const auto same = Vel::FindOperations(name); !same.empty()) {
                std::vector<std::string> signatures = SignaturesOf(*same[choose(same.size())]);
                std::ranges::sort(signatures);
                const auto found = std::ranges::lower_bound(signatures, signature);
                signature = found == signatures.end() ? signatures.front() : *found;
            }
            break;
        default:
            break;
        }
    }

    /// What the channels hold at creation. An operand may have no sample.
    void ChooseChannels() {
        for (std::size_t i = 0; i < row->signature.size(); ++i) {
            samples[i] = ChooseSample(row->signature[i], choose);
            if (i >= row->operation->results && choose(8) == 7)
                pointers[i].Aim(nullptr);
        }
    }

    VelHandle Create() {
        const auto at = [this](std::size_t index) { return pointers[index].Reference(); };
        return ::Create(choose(2) == 1, name.c_str(), signature.c_str(), at(0), at(1), at(2), at(3), at(4), at(5),
                        at(6), at(7), at(8), at(9), at(10), at(11), at(12), at(13), at(14), at(15), at(16));
    }

    void Live(VelHandle handle) {
        for (std::uint64_t steps = choose(8); steps != 0; --steps) {
            for (std::size_t i = row->operation->results; i < row->signature.size(); ++i)
                samples[i] = ChooseSample(row->signature[i], choose);
            if (row->operation->name == "Divide" || row->operation->name == "Modulo")
                samples[2] = 1; // no host divides the lowest integer by -1
            Execute(handle);
        }
        Require(Reset(handle) && Terminate(handle), "Reset, Terminate");
    }

    FuzzedDataProvider& bytes;
    const Choose choose;
    std::string name;
    std::string signature;
    const Row* row = nullptr;
    std::array<SampleCell, mostLetters> samples{};
    std::vector<Vel::Engine::SamplePointer> pointers;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ForEachPart({data, size}, [](FuzzedDataProvider& bytes) { Request(bytes).Run(); });
    return 0;
}
