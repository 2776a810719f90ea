#include "page/Bins.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <type_traits>
#include <utility>

namespace Vel::Page {

namespace {

template <class T>
class Typed final : public BinnedChannel {
public:
    explicit Typed(T itsNoValue) : noValue(itsNoValue) {}

    void Open() override {
        marks.push_back(0);
        least.push_back(0);
        greatest.push_back(0);
    }

    void Add(const Column& samples, std::span<const Status> statuses, std::span<const std::uint32_t> rows) override {
        std::uint8_t mark = marks.back();
        T smallest = (mark & hasSample) != 0 ? least.back() : std::numeric_limits<T>::max();
        T largest = (mark & hasSample) != 0 ? greatest.back() : std::numeric_limits<T>::lowest();
        for (const std::uint32_t row : rows) {
            const T sample = samples.At<T>(row);
            if (IsMissing(sample)) {
                mark |= isMissing;
            } else if (!IsFinite(sample)) {
                mark |= isInfinite;
            } else {
                mark |= hasSample;
                smallest = std::min(smallest, sample);
                largest = std::max(largest, sample);
            }
        }
        if (!statuses.empty() &&
            std::any_of(rows.begin(), rows.end(), [&](std::uint32_t row) { return statuses[row] == Status::Refused; }))
            mark |= isRefused;
        marks.back() = mark;
        if ((mark & hasSample) != 0) {
            least.back() = smallest;
            greatest.back() = largest;
        }
    }

    void Halve() override {
        const std::size_t bins = (marks.size() + 1) / 2;
        for (std::size_t i = 0; i < bins; ++i) {
            const std::size_t a = 2 * i;
            const std::size_t b = std::min(a + 1, marks.size() - 1); // the last bin may stand alone
            const bool isOnlyB = (marks[a] & hasSample) == 0;
            const bool isOnlyA = (marks[b] & hasSample) == 0;
            least[i] = isOnlyA ? least[a] : isOnlyB ? least[b] : std::min(least[a], least[b]);
            greatest[i] = isOnlyA ? greatest[a] : isOnlyB ? greatest[b] : std::max(greatest[a], greatest[b]);
            marks[i] = marks[a] | marks[b];
        }
        marks.resize(bins);
        least.resize(bins);
        greatest.resize(bins);
    }

    std::span<const std::byte> Least() const override { return std::as_bytes(std::span(least)); }
    std::span<const std::byte> Greatest() const override { return std::as_bytes(std::span(greatest)); }

    bool IsBoolean() const override {
        if constexpr (std::is_floating_point_v<T>)
            return false;
        for (std::size_t i = 0; i < marks.size(); ++i)
            if ((marks[i] & hasSample) != 0 && (least[i] < T(0) || greatest[i] > T(1)))
                return false;
        return true;
    }

private:
    bool IsMissing(T sample) const {
        if constexpr (std::is_floating_point_v<T>)
            if (std::isnan(sample))
                return true;
        return IsNoValue(sample, noValue);
    }
    static bool IsFinite(T sample) {
        if constexpr (std::is_floating_point_v<T>)
            return std::isfinite(sample);
        else
            return true;
    }

    T noValue;
    std::vector<T> least;
    std::vector<T> greatest;
};

/// Where the list of computations has the one that makes the channel. Statuses are those of computations.
std::optional<std::size_t> ComputationOf(const Engine::Run& run, std::size_t channel) {
    for (std::size_t i = 0; i < run.Computations(); ++i)
        if (const auto [begin, count] = run.ResultsOf(i); channel >= begin && channel < begin + count)
            return i;
    return std::nullopt;
}

} // namespace

Bins::Bins(const Engine::Run& itsRun, std::optional<std::size_t> itsX, std::vector<std::size_t> itsChannels,
           const Extent& itsExtent, std::size_t itsMostBins)
    : run(itsRun), x(itsX), channels(std::move(itsChannels)), extent(itsExtent), mostBins(itsMostBins) {
    for (const std::size_t channel : channels) {
        computations.push_back(ComputationOf(run, channel));
        std::visit([this]<class T>(T noValue) { binned.push_back(std::make_unique<Typed<T>>(noValue)); },
                   run.Channels()[channel].noValue);
    }
}

/// Finds the rows of the block to take, and their x.
void Bins::Choose() {
    chosen.clear();
    chosenX.clear();
    const auto choose = [this](std::uint32_t row, double at) {
        if (!std::isfinite(at)) {
            ++rowsWithoutX;
        } else if (at >= extent.from && at <= extent.to) {
            chosen.push_back(row);
            chosenX.push_back(at);
        } else {
            ++rowsOutside;
        }
    };
    const auto count = static_cast<std::uint32_t>(run.Rows());
    if (!x) {
        for (std::uint32_t row = 0; row < count; ++row)
            choose(row, static_cast<double>(rowsSeen + row + 1));
    } else {
        std::visit(
            [&]<class T>(T noValue) {
                const Column samples = run.ColumnOf(*x);
                for (std::uint32_t row = 0; row < count; ++row) {
                    const T sample = samples.At<T>(row);
                    choose(row, IsNoValue(sample, noValue) ? NAN : static_cast<double>(sample));
                }
            },
            run.Channels()[*x].noValue);
    }
    rowsSeen += count;
}

void Bins::Take() {
    Choose();
    for (std::size_t done = 0; done < chosen.size();) {
        if (rowsInLast == rowsPerBin) {
            if (first.size() == mostBins)
                Halve();
            rowsInLast = 0;
            first.push_back(chosenX[done]);
            last.push_back(chosenX[done]);
            for (const auto& channel : binned)
                channel->Open();
        }
        const auto count =
            static_cast<std::size_t>(std::min<std::uint64_t>(rowsPerBin - rowsInLast, chosen.size() - done));
        for (std::size_t i = 0; i < channels.size(); ++i)
            binned[i]->Add(run.ColumnOf(channels[i]),
                           computations[i] ? run.StatusesOf(*computations[i]) : std::span<const Status>(),
                           std::span(chosen).subspan(done, count));
        for (std::size_t i = done; i < done + count; ++i) {
            isSorted = isSorted && chosenX[i] >= latest;
            latest = chosenX[i];
        }
        last.back() = latest;
        rowsInLast += count;
        rows += count;
        done += count;
    }
}

void Bins::Halve() {
    const std::size_t bins = (first.size() + 1) / 2;
    const bool isLastAlone = first.size() % 2 != 0;
    for (std::size_t i = 0; i < bins; ++i) {
        first[i] = first[2 * i];
        last[i] = last[std::min(2 * i + 1, last.size() - 1)];
    }
    first.resize(bins);
    last.resize(bins);
    for (const auto& channel : binned)
        channel->Halve();
    rowsInLast += isLastAlone ? 0 : rowsPerBin;
    rowsPerBin *= 2;
}

std::size_t Bins::BytesPerBin(const Engine::Run& run, const std::vector<std::size_t>& channels) {
    std::size_t bytes = 2 * sizeof(double);
    for (const std::size_t channel : channels)
        bytes += 2 * run.Channels()[channel].Type().size + 1;
    return bytes;
}

} // namespace Vel::Page
