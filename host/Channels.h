// All channels of a run by name, at addresses that stay.
#pragma once

#include "host/Channel.h"

#include <deque>
#include <string>
#include <vector>

namespace Velreplay {

class Channels {
public:
    /// Room for `rows` rows each. Refuses a name that is taken.
    Channel& Add(const std::string& place, Channel channel, std::size_t rows);

    /// Refuses a name that there is not.
    Channel& Find(const std::string& place, const std::string& name);
    std::vector<Channel*> FindAll(const std::string& place, const std::vector<std::string>& names);

    std::deque<Channel>& All() { return channels; }
    const std::deque<Channel>& All() const { return channels; }

private:
    Channel* Lookup(const std::string& name);

    std::deque<Channel> channels;
};

} // namespace Velreplay
