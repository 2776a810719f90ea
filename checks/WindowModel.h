/// A plain model of what delay lines and sliding windows hold, on standard containers.
#pragma once

#include "checks/Subject.h"

#include <array>
#include <memory>
#include <optional>

namespace VelChecks {

/// "GetOldValueN", "Min" and "Max" with one operand, "Average" or "Statistics": when it may take memory, and what it
/// returns.
class WindowModel {
public:
    struct Answer {
        bool returned;
        std::array<std::optional<SampleBits>, 3> results{}; ///< nothing where none is written
    };

    /// Null for the operations that have no window. All markers are the usual ones.
    static std::unique_ptr<WindowModel> Of(const Row& row, bool noValueAware);
    virtual ~WindowModel() = default;

    virtual void Initialize(const Vel::Engine::ArgumentList& parameters) = 0;
    virtual void Reset() = 0;
    /// Whether a sample may need memory: if more samples are held with it than ever before.
    virtual bool MayAllocate(SampleBits sample, bool isNoValue) const = 0;
    virtual Answer Execute(SampleBits sample, bool isNoValue) = 0;
};

} // namespace VelChecks
