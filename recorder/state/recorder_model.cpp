#include "state/recorder_model.h"

#include <algorithm>
#include <filesystem>

#include "state/disk_figures.h"
#include "state/text.h"

namespace kvrecorder {
namespace {

constexpr int kNearlyFull = 95;  // percent

const char* const kNoChannel = "there is no such channel";

bool SameSource(const SourceConfig& a, const SourceConfig& b) {
    const auto same = [](const StreamConfig& x, const StreamConfig& y) {
        return x.codec == y.codec && x.width == y.width && x.height == y.height && x.fps == y.fps &&
               x.gop == y.gop;
    };
    return a.file == b.file && a.scene == b.scene && a.watchMotion == b.watchMotion &&
           std::equal(a.streams.begin(), a.streams.end(), b.streams.begin(), b.streams.end(), same);
}

bool SameSource(const ChannelConfig& a, const ChannelConfig& b) {
    return SameSource(a.source, b.source) && a.ptz.steerable == b.ptz.steerable;
}

void MakeFolder(const std::string& folder) {
    std::error_code error;
    if (!folder.empty() && !std::filesystem::create_directories(folder, error) && error) {
        throw ConfigError("cannot make the folder " + folder + ": " + error.message());
    }
}

std::string PresetFile(const ServerConfig& server, int channel) {
    return server.stateFolder.empty() ? "" : server.stateFolder + "/presets-" + std::to_string(channel);
}

// The unit that a steerable channel's source is to look through; null for others.
std::shared_ptr<PtzUnit> MakeUnit(const ServerConfig& server, int number, const ChannelConfig& config) {
    if (!config.ptz.steerable) {
        return nullptr;
    }
    const std::vector<StreamConfig> streams =
        config.source.streams.empty() ? DefaultStreams(number) : config.source.streams;
    const bool wide = streams[0].width * 10 > streams[0].height * 16;
    return std::make_shared<PtzUnit>(wide, PresetFile(server, number), config.presets);
}

SourceConfig WithCamera(SourceConfig source, const std::shared_ptr<PtzUnit>& unit) {
    source.camera = unit ? unit->camera : nullptr;
    return source;
}

std::string CameraName(const Snapshot& state, int channel) {
    const std::string& name = state.channels[static_cast<std::size_t>(channel)].config.name;
    return name.empty() ? "Channel " + std::to_string(channel + 1) : name;
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

RecorderModel::RecorderModel(std::shared_ptr<MediaHub> hub) : m_hub(std::move(hub)) {
    m_hub->SetListener([this](int channel, MediaEvent event, bool on) { OnMedia(channel, event, on); });
}

RecorderModel::~RecorderModel() {
    m_hub->SetListener(nullptr);
}

SnapshotPtr RecorderModel::Current() const {
    const std::lock_guard lock(m_mutex);
    return m_current;
}

void RecorderModel::SetListener(std::function<void(Change)> listener) {
    const std::lock_guard lock(m_mutex);
    m_listener = std::move(listener);
}

Channel RecorderModel::MakeChannel(const ServerConfig& server, int number, const ChannelConfig& config) {
    Channel channel;
    channel.config = config;
    channel.ptz = MakeUnit(server, number, config);
    m_hub->AddChannel(config.name, WithCamera(config.source, channel.ptz));
    channel.streams = m_hub->Streams(number);
    return channel;
}

std::string RecorderModel::ChangeSource(const ServerConfig& server, int number, Channel& channel,
                                        const ChannelConfig& wanted) {
    std::shared_ptr<PtzUnit> unit =
        wanted.ptz.steerable && channel.ptz ? channel.ptz : MakeUnit(server, number, wanted);
    try {
        m_hub->ReplaceSource(number, wanted.name, WithCamera(wanted.source, unit));
    } catch (const std::exception& error) {
        return error.what();
    }
    if (m_recordings) {
        m_recordings->Follow(number);
    }
    channel.ptz = std::move(unit);
    channel.streams = m_hub->Streams(number);
    ++channel.sourceNumber;
    return "";
}

void RecorderModel::Begin(const RecorderConfig& config) {
    MakeFolder(config.server.stateFolder);
    auto next = std::make_shared<Snapshot>();
    next->server = config.server;
    next->users = config.users;
    for (const ChannelConfig& channel : config.channels) {
        try {
            const int number = static_cast<int>(next->channels.size());
            next->channels.push_back(MakeChannel(next->server, number, channel));
        } catch (const std::exception& failure) {
            throw ConfigError("channel " + std::to_string(next->channels.size()) + ": " + failure.what());
        }
    }
    {
        const std::lock_guard lock(m_mutex);
        m_current = std::move(next);
    }
    m_recordings =
        std::make_unique<Recordings>(*m_hub, config.server.recording,
                                     [this](const Recordings::Notice& notice) { OnRecordingEnded(notice); });
    m_events.Add(EventLevel::Information, config.server.name + " started");
    CheckDisk();
}

template <typename Edit>
std::string RecorderModel::Publish(Change change, Edit edit) {
    {
        const std::lock_guard editing(m_editMutex);
        auto next = std::make_shared<Snapshot>(*Current());
        if (std::string problem = edit(*next); !problem.empty()) {
            return problem;
        }
        const std::lock_guard lock(m_mutex);
        m_current = std::move(next);
    }
    std::function<void(Change)> listener;
    {
        const std::lock_guard lock(m_mutex);
        listener = m_listener;
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
                    state.channels.push_back(MakeChannel(state.server, static_cast<int>(i), wanted));
                } catch (const std::exception& error) {
                    // Later channels keep their numbers only if none is left out.
                    problems += "channel " + std::to_string(i) + ": " + error.what() +
                                "; it and those behind it are left out\n";
                    return "";
                }
                continue;
            }
            Channel& channel = state.channels[i];
            const int number = static_cast<int>(i);
            ChannelConfig taken = wanted;
            if (!SameSource(channel.config, wanted)) {
                if (const auto words = ChangeSource(state.server, number, channel, wanted); !words.empty()) {
                    problems += "channel " + std::to_string(i) + ": " + words + "; it keeps its source\n";
                    taken.source = channel.config.source;
                    taken.ptz.steerable = channel.config.ptz.steerable;
                }
            }
            if (channel.config.name != wanted.name) {
                m_hub->RenameChannel(number, wanted.name);
            }
            channel.config = std::move(taken);
        }
        for (std::size_t i = config.channels.size(); i < state.channels.size(); ++i) {
            state.channels[i].config.configured = false;
            m_recordings->Stop(static_cast<int>(i));
        }
        return "";
    });
    m_events.Add(EventLevel::Information, "The configuration was read again");
    CheckDisk();
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
        m_hub->RenameChannel(channel, name);
        return "";
    });
}

void RecorderModel::SetCameraPlace(const CameraPlace& place) {
    Publish(Change::None, [&](Snapshot& state) -> std::string {
        state.cameras = place;
        return "";
    });
}

std::string RecorderModel::SetCodec(int channel, Codec codec) {
    return Publish(Change::Configuration, [&](Snapshot& state) -> std::string {
        Channel* found = At(state, channel);
        if (!found || !found->config.configured) {
            return found ? "the channel has no camera" : kNoChannel;
        }
        if (!found->config.source.file.empty()) {
            return "only a generated scene can be coded in another way";
        }
        ChannelConfig wanted = found->config;
        if (wanted.source.streams.empty()) {
            wanted.source.streams = DefaultStreams(channel);
        }
        for (StreamConfig& stream : wanted.source.streams) {
            stream.codec = codec;
        }
        if (std::string problem = ChangeSource(state.server, channel, *found, wanted); !problem.empty()) {
            return problem;
        }
        found->config = std::move(wanted);
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
        if (m_recordings) {
            m_recordings->Stop(channel);
        }
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
            state.channels.push_back(MakeChannel(state.server, added, DemoChannels(added + 1).back()));
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

void RecorderModel::OnMedia(int channel, MediaEvent event, bool on) {
    const SnapshotPtr state = Current();
    const Channel* found = state->Configured(channel);
    if (!found) {
        return;
    }
    const bool motion = event == MediaEvent::Motion;
    const std::string name = CameraName(*state, channel);
    if (motion && on) {
        m_events.Add(EventLevel::Information, name + ": motion");
    } else if (!motion) {
        m_events.Add(on ? EventLevel::Warning : EventLevel::Information,
                     name + (on ? ": the stream is lost" : ": the stream is back"));
    }
    SetFlag(channel, *FindStatusFlag(motion ? "motion" : "loss"), on);
}

std::string RecorderModel::SetDiskFault(DiskFault fault) {
    Publish(Change::None, [&](Snapshot& state) -> std::string {
        state.server.diskFault = fault;
        return "";
    });
    CheckDisk();
    return "";
}

void RecorderModel::CheckDisk() {
    const SnapshotPtr state = Current();
    const DiskFigures now = ReadDiskFigures(state->server);
    if (m_recordings) {
        m_recordings->PretendFull(state->server.diskFault == DiskFault::Full);
    }
    std::optional<DiskFigures> before;
    {
        const std::lock_guard lock(m_diskMutex);
        before = std::exchange(m_disk, now);
    }
    if (before && before->status == now.status && before->usedPercent == now.usedPercent) {
        return;
    }
    if (now.status != 0) {
        m_events.Add(EventLevel::Error, "The disk cannot be read");
    } else if (now.usedPercent >= kNearlyFull && (!before || before->usedPercent < kNearlyFull)) {
        m_events.Add(EventLevel::Warning, "The disk is " + std::to_string(now.usedPercent) + " % full");
    } else if (before && before->status != 0) {
        m_events.Add(EventLevel::Information, "The disk is good again");
    }
    if (before) {
        Publish(Change::Status, [](Snapshot&) -> std::string { return ""; });
    }
}

std::string RecorderModel::ShowRecording(int channel, bool on) {
    return Publish(Change::Status, [&](Snapshot& state) -> std::string {
        Channel* found = At(state, channel);
        if (!found) {
            return kNoChannel;
        }
        StatusDigits& digits = found->config.status;
        for (const char* name : {"record", "manual"}) {
            const StatusFlag& flag = *FindStatusFlag(name);
            std::uint8_t& digit = digits[flag.section];
            digit = static_cast<std::uint8_t>(on ? digit | flag.bit : digit & ~flag.bit);
        }
        return "";
    });
}

std::string RecorderModel::Record(int channel, bool on) {
    const SnapshotPtr state = Current();
    if (!m_recordings || !state->Configured(channel)) {
        return kNoChannel;
    }
    const bool ran = m_recordings->Runs(channel);
    if (!on) {
        m_recordings->Stop(channel);
        return ShowRecording(channel, false);
    }
    const std::string name = CameraName(*state, channel);
    if (std::string problem = m_recordings->Start(channel); !problem.empty()) {
        m_events.Add(EventLevel::Error, name + ": recording cannot begin, " + problem,
                     std::chrono::seconds(10));
        return problem;
    }
    if (!ran) {
        m_events.Add(EventLevel::Information, name + ": recording began");
    }
    ShowRecording(channel, true);
    // It may have failed before it was shown.
    return m_recordings->Runs(channel) ? "" : ShowRecording(channel, false);
}

void RecorderModel::OnRecordingEnded(const Recordings::Notice& notice) {
    const std::string name = CameraName(*Current(), notice.channel);
    if (notice.problem.empty()) {
        m_events.Add(EventLevel::Information,
                     name + ": recording ended after " + std::to_string(notice.milliseconds / 1000) + " s");
        return;
    }
    m_events.Add(EventLevel::Error, name + ": recording failed, " + notice.problem);
    ShowRecording(notice.channel, m_recordings->Runs(notice.channel));
}

std::string RecorderModel::SetPtz(int channel, PtzReply reply, int delayMs) {
    return Publish(Change::None, [&](Snapshot& state) -> std::string {
        Channel* found = At(state, channel);
        if (!found || !found->ptz) {
            return found ? "the channel's camera cannot be steered" : kNoChannel;
        }
        found->config.ptz.reply = reply;
        found->config.ptz.delayMs = delayMs;
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
