#include "host/Channels.h"

#include "host/Failure.h"
#include "host/Vocabulary.h"

#include <algorithm>

namespace Velreplay {

Channel* Channels::Lookup(const std::string& name) {
    const auto found = std::find_if(channels.begin(), channels.end(), [&](const Channel& c) { return c.name == name; });
    return found == channels.end() ? nullptr : &*found;
}

Channel& Channels::Add(const std::string& place, Channel channel, std::size_t rows) {
    if (Lookup(channel.name) != nullptr)
        throw Failure(place, "the name \"" + channel.name + "\" is taken by a channel above", "choose another one");
    channels.push_back(std::move(channel));
    Prepare(channels.back(), rows);
    return channels.back();
}

Channel& Channels::Find(const std::string& place, const std::string& name) {
    if (Channel* const channel = Lookup(name))
        return *channel;
    std::vector<std::string_view> names;
    for (const Channel& channel : channels)
        names.push_back(channel.name);
    const std::string_view similar = SimilarName(name, names);
    throw Failure(place, "unknown channel \"" + name + "\"",
                  similar.empty() ? "name an input or a computed channel above"
                                  : "did you mean \"" + std::string(similar) + "\"?");
}

std::vector<Channel*> Channels::FindAll(const std::string& place, const std::vector<std::string>& names) {
    std::vector<Channel*> found;
    found.reserve(names.size());
    for (const std::string& name : names)
        found.push_back(&Find(place, name));
    return found;
}

} // namespace Velreplay
