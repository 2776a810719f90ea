#include "engine/Order.h"

#include <algorithm>
#include <cstdint>

namespace Vel::Engine {

Order OrderOf(const std::vector<std::vector<std::size_t>>& needs) {
    enum class State : std::uint8_t { New, Open, Done };
    struct Step {
        std::size_t thing;
        std::size_t next; ///< index into its needs
    };
    Order order;
    std::vector<State> states(needs.size(), State::New);
    std::vector<Step> path; // recursion could overflow the stack
    for (std::size_t first = 0; first < needs.size(); ++first) {
        if (states[first] == State::New)
            path.push_back({first, 0});
        while (!path.empty()) {
            Step& step = path.back();
            states[step.thing] = State::Open;
            if (step.next == needs[step.thing].size()) {
                states[step.thing] = State::Done;
                order.sequence.push_back(step.thing);
                path.pop_back();
                continue;
            }
            const std::size_t needed = needs[step.thing][step.next++];
            if (states[needed] == State::Open) {
                auto begin = std::find_if(path.begin(), path.end(),
                                          [needed](const Step& candidate) { return candidate.thing == needed; });
                for (; begin != path.end(); ++begin)
                    order.circle.push_back(begin->thing);
                return order;
            }
            if (states[needed] == State::New)
                path.push_back({needed, 0});
        }
    }
    return order;
}

} // namespace Vel::Engine
