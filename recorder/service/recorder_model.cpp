#include "service/recorder_model.h"

#include "service/text.h"

namespace kvrecorder {
namespace {

const char* const kNoChannel = "there is no such channel";

bool SameSource(const SourceConfig& a, const SourceConfig& b) {
    const auto same = [](const StreamConfig& x, const StreamConfig& y) {
        return x.codec == y.codec && x.width == y.width && x.height == y.height && x.fps == y.fps &&
               x.gop == y.gop;
    };
    return a.file == b.file && a.scene == b.scene &&
           std::equal(a.streams.begin(), a.streams.end(), b.streams.begin(), b.streams.end(), same);
}

Channel* At(Snapshot& state, int channel) {
    const auto index = static_cast<std::size_t>(channel);
    return channel >= 0 && index < state.channels.size() ? &state.channels[index] : nullptr;
}

}  // namespace

const User* Snapshot::Authorize(std::string_view name, std::string_view password) const {
    const User* found = nullptr;
    for (const User& user : users) {
        const bool sameName = ConstantTimeEqual(name, user.name);
        const bool samePassword = ConstantTimeEqual(password, user.password);
        if (sameName && samePassword) {
            found = &user;
        }
    }
    return found;
}

const User* Snapshot::FindUser(std::string_view name) const {
    for (const User& user : users) {
        if (user.name == name) {
            return &user;
        }
    }
    return nullptr;
}

const Channel* Snapshot::Configured(int channel) const {
    const auto index = static_cast<std::size_t>(channel);
    if (channel < 0 || index >= channels.size() || !channels[index].config.configured) {
        return nullptr;
    }
    return &channels[index];
}

RecorderModel::RecorderModel(std::shared_ptr<MediaHub> hub) : hub_(std::move(hub)) {}

SnapshotPtr RecorderModel::Current() const {
    const std::lock_guard lock(mutex_);
    return current_;
}

void RecorderModel::SetListener(std::function<void(Change)> listener) {
    const std::lock_guard lock(mutex_);
    listener_ = std::move(listener);
}

Channel RecorderModel::MakeChannel(const ChannelConfig& config) {
    const int number = hub_->AddChannel(config.name, config.source);
    return Channel{config, hub_->Streams(number)};
}

void RecorderModel::Begin(const RecorderConfig& config) {
    auto next = std::make_shared<Snapshot>();
    next->server = config.server;
    next->users = config.users;
    for (const ChannelConfig& channel : config.channels) {
        try {
            next->channels.push_back(MakeChannel(channel));
        } catch (const std::exception& failure) {
            throw ConfigError("channel " + std::to_string(next->channels.size()) + ": " + failure.what());
        }
    }
    const std::lock_guard lock(mutex_);
    current_ = std::move(next);
}

template <typename Edit>
std::string RecorderModel::Publish(Change change, Edit edit) {
    {
        const std::lock_guard editing(editMutex_);
        auto next = std::make_shared<Snapshot>(*Current());
        if (std::string problem = edit(*next); !problem.empty()) {
            return problem;
        }
        const std::lock_guard lock(mutex_);
        current_ = std::move(next);
    }
    std::function<void(Change)> listener;
    {
        const std::lock_guard lock(mutex_);
        listener = listener_;
    }
    if (listener) {
        listener(change);
    }
    return "";
}

std::string RecorderModel::Reload(const RecorderConfig& config) {
    std::string problems;
    const std::string failure = Publish(Change::Configuration, [&](Snapshot& state) -> std::string {
        state.server = config.server;
        state.users = config.users;
        for (std::size_t i = 0; i < config.channels.size(); ++i) {
            const ChannelConfig& wanted = config.channels[i];
            if (i >= state.channels.size()) {
                try {
                    state.channels.push_back(MakeChannel(wanted));
                } catch (const std::exception& error) {
                    // Later channels keep their numbers only if none is left out.
                    problems += "channel " + std::to_string(i) + ": " + error.what() +
                                "; it and those behind it are left out\n";
                    return "";
                }
                continue;
            }
            Channel& channel = state.channels[i];
            if (!SameSource(channel.config.source, wanted.source)) {
                problems += "channel " + std::to_string(i) +
                            ": another source or other streams take effect at the next start\n";
            }
            if (channel.config.name != wanted.name) {
                hub_->RenameChannel(static_cast<int>(i), wanted.name);
            }
            SourceConfig source = std::move(channel.config.source);
            channel.config = wanted;
            channel.config.source = std::move(source);
        }
        for (std::size_t i = config.channels.size(); i < state.channels.size(); ++i) {
            state.channels[i].config.configured = false;
        }
        return "";
    });
    return problems + failure;
}

std::string RecorderModel::Rename(int channel, const std::string& name) {
    return Publish(Change::Configuration, [&](Snapshot& state) -> std::string {
        Channel* found = At(state, channel);
        if (!found) {
            return kNoChannel;
        }
        if (std::string problem = CheckChannelName(name); !problem.empty()) {
            return problem;
        }
        found->config.name = name;
        hub_->RenameChannel(channel, name);
        return "";
    });
}

std::string RecorderModel::Remove(int channel) {
    return Publish(Change::Configuration, [&](Snapshot& state) -> std::string {
        Channel* found = At(state, channel);
        if (!found || !found->config.configured) {
            return found ? "the channel has no camera" : kNoChannel;
        }
        found->config.configured = false;
        return "";
    });
}

std::string RecorderModel::Add(int& added) {
    return Publish(Change::Configuration, [&](Snapshot& state) -> std::string {
        for (added = 0; added < static_cast<int>(state.channels.size()); ++added) {
            Channel& channel = *At(state, added);
            if (!channel.config.configured) {
                channel.config.configured = true;
                return "";
            }
        }
        if (added >= kMaxChannels) {
            return "there are as many channels as there can be";
        }
        try {
            state.channels.push_back(MakeChannel(DemoChannels(added + 1).back()));
        } catch (const std::exception& failure) {
            return failure.what();
        }
        return "";
    });
}

std::string RecorderModel::SetFlag(int channel, const StatusFlag& flag, bool on) {
    return Publish(Change::Status, [&](Snapshot& state) -> std::string {
        Channel* found = At(state, channel);
        if (!found) {
            return kNoChannel;
        }
        std::uint8_t& digit = found->config.status[flag.section];
        digit = static_cast<std::uint8_t>(on ? digit | flag.bit : digit & ~flag.bit);
        return "";
    });
}

std::string RecorderModel::SetDigit(int channel, std::size_t section, std::uint8_t value) {
    return Publish(Change::Status, [&](Snapshot& state) -> std::string {
        Channel* found = At(state, channel);
        if (!found || section >= found->config.status.size() || value > 15) {
            return found ? "there is no such state" : kNoChannel;
        }
        found->config.status[section] = value;
        return "";
    });
}

std::string RecorderModel::SetRight(std::string_view user, int channel, Right right, bool on) {
    return Publish(Change::Configuration, [&](Snapshot& state) -> std::string {
        if (!At(state, channel)) {
            return kNoChannel;
        }
        for (User& known : state.users) {
            if (known.name == user) {
                known.rights[static_cast<std::size_t>(right)].set(static_cast<std::size_t>(channel), on);
                return "";
            }
        }
        return "there is no such user";
    });
}

}  // namespace kvrecorder
