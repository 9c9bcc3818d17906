#include "state/snapshot.h"

#include "state/text.h"

namespace kvrecorder {

bool Channel::HasSound() const {
    const bool camera = !config.source.network.url.empty();
    return camera && offer ? offer->sound && config.audio.value_or(true) : config.audio.value_or(false);
}

bool Channel::TakesTalk() const {
    return config.talk.value_or(offer && offer->talk);
}

bool Channel::MayHaveSound() const {
    const bool camera = !config.source.network.url.empty();
    return camera && !offer ? config.audio.value_or(true) : HasSound();
}

const User* Snapshot::Authorize(std::string_view name, std::string_view password) const {
    const User* found = nullptr;
    for (const User& user : users) {
        const bool sameName = ConstantTimeEqual(name, user.name);
        const bool samePassword = ConstantTimeEqual(password, user.password.View());
        if (sameName && samePassword) {
            found = &user;
        }
    }
    return found;
}

const Channel* Snapshot::Configured(int channel) const {
    const auto index = static_cast<std::size_t>(channel);
    if (channel < 0 || index >= channels.size() || !channels[index].config.configured) {
        return nullptr;
    }
    return &channels[index];
}

Channel* Snapshot::Find(int channel) {
    const auto index = static_cast<std::size_t>(channel);
    return channel >= 0 && index < channels.size() ? &channels[index] : nullptr;
}

std::string Snapshot::NameOf(int channel) const {
    const std::string& name = channels[static_cast<std::size_t>(channel)].config.name;
    return name.empty() ? "Channel " + std::to_string(channel + 1) : name;
}

}  // namespace kvrecorder
