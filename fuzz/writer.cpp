/// The writer of results with any names, types, NoValues and samples: it writes a table of whole rows that reads back.

#include "fuzz/Finding.h"
#include "fuzz/Tables.h"
#include "recordings/CsvWriter.h"

#include <algorithm>
#include <vector>

using namespace VelFuzz;
using Vel::ChannelType;
using Vel::Status;

namespace {

/// Text in bytes of ASCII, without 0, which is no text.
std::string ChooseName(FuzzedDataProvider& bytes) {
    constexpr std::size_t longest = 20;
    std::string name = bytes.ConsumeRandomLengthString(longest);
    for (char& character : name) {
        character = static_cast<char>(character & 0x7F);
        if (character == 0)
            character = '0';
    }
    return name;
}

template <class T>
T ChooseSample(FuzzedDataProvider& bytes) {
    std::array<std::uint8_t, sizeof(T)> chosen{};
    bytes.ConsumeData(chosen.data(), chosen.size());
    T sample{};
    std::copy(chosen.begin(), chosen.end(), reinterpret_cast<std::uint8_t*>(&sample));
    return sample;
}

class Result {
public:
    explicit Result(FuzzedDataProvider& itsBytes) : bytes(itsBytes), choose(ChoicesFrom(itsBytes)) {
        constexpr std::string_view separators = ",;\t| :/#'\x01";
        format.decimalComma = choose(4) == 0;
        format.separator = separators[choose(separators.size())];
        if (format.decimalComma && format.separator == ',')
            format.separator = ';';
        rows = choose(5);
        for (std::size_t left = 1 + choose(3); left > 0; --left)
            AddChannel();
        for (std::size_t left = choose(3); left > 0; --left)
            AddStatuses();
    }

    void Run() const {
        const MemoryFile file;
        {
            Vel::Recordings::CsvWriter writer(file.Name(), format, AsResult(channels));
            writer.WriteHeader(statusNames);
            writer.WriteRows({rows, columns, statuses});
            writer.Keep();
        }
        // Text columns are read as those that nobody wants.
        const Table table = ReadTable(file, format, blockBytes, AsWanted(channels));
        if (!table.failure.empty())
            std::fprintf(stderr, "%s\n", table.failure.c_str());
        Require(table.failure.empty(), "a result that can be read");
        Require(table.rows == rows && table.samples == AsReadBack(channels, columns, rows), "the samples of a result");
    }

private:
    static constexpr std::size_t blockBytes = 4096;

    /// A name that no other channel has, and that does not look like the beginning of another kind of file.
    std::string ChooseFreeName() {
        std::string name = ChooseName(bytes);
        const auto isTaken = [&](const auto& known) { return known == name; };
        while (std::any_of(names.begin(), names.end(), isTaken) || name.starts_with("BZh"))
            name.insert(0, "x");
        return names.emplace_back(name);
    }
    void AddChannel() {
        const Vel::SampleType& type = Vel::sampleTypes[choose(Vel::sampleTypes.size())];
        Vel::AnySample noValue = Vel::DefaultNoValue(type.letter);
        std::visit(
            [&]<class T>(T& value) {
                if (bytes.ConsumeBool())
                    value = ChooseSample<T>(bytes);
                auto& memory = samples.emplace_back(rows * sizeof(T) + sizeof(T));
                for (std::size_t row = 0; row < rows; ++row)
                    reinterpret_cast<T*>(memory.data())[row] = ChooseSample<T>(bytes);
                columns.push_back({memory.data(), sizeof(T)});
            },
            noValue);
        channels.push_back({ChooseFreeName(), noValue});
    }
    void AddStatuses() {
        statusNames.push_back(ChooseFreeName());
        auto& column = statuses.emplace_back();
        for (std::size_t row = 0; row < rows; ++row)
            column.push_back(static_cast<Status>(choose(Vel::statusTexts.size())));
    }

    FuzzedDataProvider& bytes;
    VelChecks::Choose choose;
    Vel::Recordings::CsvFormat format;
    std::size_t rows = 0;
    std::vector<std::string> names;
    std::vector<ChannelType> channels;
    std::vector<Vel::Column> columns;
    std::vector<std::vector<std::byte>> samples;
    std::vector<std::string> statusNames;
    std::vector<std::vector<Status>> statuses;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* input, std::size_t size) {
    ForEachPart({input, size}, [](FuzzedDataProvider& bytes) { Result(bytes).Run(); });
    return 0;
}
