/// "Gangermittlung" with any pieces of a table and any samples, beside a plain reading of the same table.

#include "fuzz/Finding.h"
#include "logic/GearTable.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

using namespace VelFuzz;
using Velmarosk::Operation::GearEntry;

namespace {

constexpr std::size_t pieceLength = 80;
constexpr std::size_t mostPieces = 60;

/// The decimal number at the front of a text, but not the words and hexadecimal numbers that strtod knows.
double Number(const std::string& text) {
    const std::size_t start = std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size());
    const std::size_t sign = start < text.size() && (text[start] == '+' || text[start] == '-') ? 1 : 0;
    const std::size_t end = text.find_first_not_of("0123456789.eE+-", start + sign);
    return std::strtod(text.substr(start, end - start).c_str(), nullptr);
}

std::optional<GearEntry> Read(const std::string& text) {
    const std::size_t equals = text.find('=');
    if (equals == std::string::npos)
        return std::nullopt;
    const std::string ratio = equals == 0 ? std::string() : text.substr(0, equals - 1);
    const long gear = std::strtol(text.c_str() + equals + 1, nullptr, 10);
    const long clamped = std::clamp(gear, -2147483648L, 2147483647L);
    return GearEntry{.ratio = static_cast<float>(Number(ratio)), .gear = static_cast<std::int8_t>(clamped & 0xFF)};
}

/// The table as the reference describes it, read with C's functions.
class Model {
public:
    void Take(const std::string& piece) {
        std::memcpy(buffer.data(), piece.data(), piece.size());
        const auto entry = Read(buffer.data());
        const auto parsed = Velmarosk::Operation::ParseGearRecord(buffer.data());
        Require(entry.has_value() == parsed.has_value(), "whether there is an entry");
        if (!entry)
            return;
        Require(entry->ratio == parsed->ratio && entry->gear == parsed->gear, "an entry");
        entries.push_back(*entry);
    }
    void Begin() { buffer = {}; }

    /// Nothing if no entry matches.
    std::optional<std::int8_t> Gear(std::uint16_t divisor, std::uint16_t dividend, float tolerance) const {
        const float quotient = static_cast<float>(dividend) / static_cast<float>(divisor);
        for (const auto& [ratio, gear] : entries)
            if (quotient > ratio - tolerance && ratio + tolerance > quotient)
                return gear;
        return std::nullopt;
    }

private:
    std::array<char, pieceLength + 1> buffer{};
    std::vector<GearEntry> entries;
};

class Vehicle {
public:
    explicit Vehicle(FuzzedDataProvider& itsBytes)
        : bytes(itsBytes), choose(ChoicesFrom(itsBytes)), plain(gearRow, false), aware(gearRow, true) {}

    void Run() {
        while (bytes.remaining_bytes() > 0) {
            switch (choose(8)) {
            case 0:
                InitializeFromPipe();
                break;
            case 1:
                InitializeFromFile();
                break;
            case 2:
                Require(plain.Reset() && aware.Reset() && plain.Terminate() && aware.Terminate(), "Reset, Terminate");
                break;
            default:
                Execute();
            }
        }
    }

private:
    static inline const Vel::Operation* const operation = Vel::FindOperations("Gangermittlung").front();
    static inline const VelChecks::Row gearRow{operation, "bWWW"};

    /// What numbers and records are made of, and words that look like numbers.
    static char LikelyCharacter(char character) {
        constexpr std::string_view likely = "0123456789123=+-.e= E\tinfax";
        return likely[static_cast<unsigned char>(character) % likely.size()];
    }

    bool Initialize(VelChecks::Subject& subject, int file) {
        const std::string name = "/proc/self/fd/" + std::to_string(file);
        return ::Initialize(subject.Handle(), "DS", static_cast<double>(tolerance), name.c_str());
    }

    /// Packets of up to 79 bytes and one of 80 that ends the table, without which the library would wait for more.
    void InitializeFromPipe() {
        tolerance = ChooseTolerance();
        std::vector<std::string> pieces(choose(mostPieces));
        for (std::string& piece : pieces) {
            piece = bytes.ConsumeRandomLengthString(pieceLength - 1);
            if (choose(2) == 0)
                std::ranges::transform(piece, piece.begin(), LikelyCharacter);
            if (choose(4) != 0 && piece.size() < pieceLength - 1)
                piece += '\0';
        }
        std::erase(pieces, std::string()); // an empty packet cannot be sent
        pieces.push_back(std::string(pieceLength, '='));

        model.Begin();
        for (std::size_t i = 0; i + 1 < pieces.size(); ++i)
            model.Take(pieces[i]);
        for (VelChecks::Subject* subject : {&plain, &aware}) {
            int ends[2];
            Require(pipe2(ends, O_DIRECT | O_CLOEXEC) == 0, "a pipe");
            fcntl(ends[1], F_SETPIPE_SZ, static_cast<int>((mostPieces + 1) * static_cast<unsigned>(getpagesize())));
            for (const std::string& piece : pieces)
                Require(write(ends[1], piece.data(), piece.size()) == static_cast<ssize_t>(piece.size()), "a piece");
            Require(Initialize(*subject, ends[0]), "a table from a pipe is refused");
            close(ends[0]);
            close(ends[1]);
        }
    }

    /// A regular file whose first piece has 80 bytes ends the table; a short file would be read for ever. A directory
    /// cannot be read.
    void InitializeFromFile() {
        tolerance = ChooseTolerance();
        const bool isDirectory = choose(2) == 0;
        const int file = isDirectory ? open("/", O_RDONLY | O_CLOEXEC) : memfd_create("gear table", MFD_CLOEXEC);
        const std::string text = std::string(pieceLength, '=') + bytes.ConsumeRandomLengthString();
        if (!isDirectory)
            Require(write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size()), "a file");
        Require(Initialize(plain, file) == !isDirectory && Initialize(aware, file) == !isDirectory, "a file as table");
        close(file);
    }

    float ChooseTolerance() {
        constexpr std::array usual{0.0f, 0.05f, 0.5f, 10.0f, -1.0f, INFINITY, NAN, 1e38f};
        const std::uint64_t chosen = choose(usual.size() + 1);
        return chosen < usual.size() ? usual[chosen] : bytes.ConsumeFloatingPoint<float>();
    }

    void Execute() {
        for (VelChecks::SampleCell& operand : plain.Operands())
            operand = choose(4) != 0 ? choose(16) : bytes.ConsumeIntegral<std::uint16_t>();
        if (choose(8) == 0)
            plain.Operands()[0] = VelChecks::UsualNoValue('W');
        std::ranges::copy(plain.Operands(), aware.Operands().begin());
        constexpr VelChecks::SampleBits untouched = 99;
        plain.Results()[0] = aware.Results()[0] = untouched;

        const auto divisor = static_cast<std::uint16_t>(plain.Operands()[1]);
        const auto dividend = static_cast<std::uint16_t>(plain.Operands()[2]);
        std::optional<std::int8_t> gear;
        if (plain.Operands()[0] != 0 && divisor != 0)
            gear = model.Gear(divisor, dividend, tolerance);
        const VelChecks::SampleBits expected = gear ? static_cast<std::uint8_t>(*gear) : untouched;
        Require(plain.Execute() == gear.has_value() && plain.Results()[0] == expected, "the gear");

        if (aware.Operands()[0] == VelChecks::UsualNoValue('W'))
            Require(!aware.Execute() && aware.Results()[0] == VelChecks::UsualNoValue('b'), "the gear without a gate");
        else
            Require(aware.Execute() == gear.has_value() && aware.Results()[0] == expected, "the gear of the twin");
    }

    FuzzedDataProvider& bytes;
    const VelChecks::Choose choose;
    VelChecks::Subject plain;
    VelChecks::Subject aware;
    Model model;
    float tolerance = 0;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ForEachPart({data, size}, [](FuzzedDataProvider& bytes) { Vehicle(bytes).Run(); });
    return 0;
}
