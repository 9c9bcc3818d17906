#include "state/kept_config.h"

#include <algorithm>

#include "media/utf8.h"

namespace kvrecorder {
namespace {

// True if it is to be kept.
bool Tell(Origin origin, const std::string& what, std::vector<std::string>& told) {
    if (origin == Origin::File) {
        told.push_back(what + " is not in the file any more; it stays until the file is read once again");
    } else if (origin == Origin::Vanished) {
        told.push_back(what + " is taken away");
    }
    return origin == Origin::File;
}

}  // namespace

std::vector<std::string> KeepVanished(const RecorderConfig& before, RecorderConfig& next) {
    std::vector<std::string> told;
    for (const User& user : before.users) {
        const bool there = std::any_of(next.users.begin(), next.users.end(),
                                       [&](const User& other) { return other.name == user.name; });
        if (!there && Tell(user.origin, "user " + PrintableUtf8(user.name, kMaxUserBytes), told)) {
            next.users.push_back(user);
            next.users.back().origin = Origin::Vanished;
        }
    }
    for (std::size_t i = next.channels.size(); i < before.channels.size(); ++i) {
        if (Tell(before.channels[i].origin, "channel " + std::to_string(i), told)) {
            next.channels.push_back(before.channels[i]);
            next.channels.back().origin = Origin::Vanished;
        }
    }
    return told;
}

}  // namespace kvrecorder
