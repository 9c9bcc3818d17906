#include "state/recorder_model.h"

#include <algorithm>
#include <utility>

#include "state/disk_figures.h"

namespace kvrecorder {
namespace {

constexpr int kNearlyFull = 95;  // percent

const char* const kNoChannel = "there is no such channel";
const char* const kNoCamera = "the channel has no camera";

void MakeFolder(const std::string& folder, FileGroup group) {
    try {
        if (!folder.empty()) {
            MakePrivateFolder(folder, group);
        }
    } catch (const std::runtime_error& failure) {
        throw ConfigError(failure.what());
    }
}

}  // namespace

RecorderModel::RecorderModel(std::shared_ptr<MediaHub> hub, CameraControlMaker controls,
                             CameraTalkMaker talks)
    : m_hub(std::move(hub)),
      m_maker(*m_hub, std::move(controls), std::move(talks),
              [gate = m_gate](int channel, int source, const CameraNews& news) {
                  const std::lock_guard lock(gate->mutex);
                  if (gate->model) {
                      gate->model->OnNews(channel, source, news);
                  }
              }) {
    m_gate->model = this;
    m_hub->SetListener([this](int channel, MediaEvent event, bool on) { OnMedia(channel, event, on); });
}

RecorderModel::~RecorderModel() {
    {
        const std::lock_guard lock(m_gate->mutex);
        m_gate->model = nullptr;
    }
    m_hub->SetListener(nullptr);
}

SnapshotPtr RecorderModel::Current() const {
    const std::lock_guard lock(m_mutex);
    return m_current;
}

void RecorderModel::SetListener(std::function<void(Change)> listener) {
    const std::unique_lock lock(m_listenerMutex);
    m_listener = std::move(listener);
}

void RecorderModel::CountRefusal(const SourceAddress& from, std::string_view user) {
    if (const std::string words = m_refusals.Add(from, user); !words.empty()) {
        m_events.AddRefusal(words);
    }
}

std::vector<std::string> RecorderModel::TellRefusals() {
    std::vector<std::string> lines;
    for (RefusalCount::Sum& sum : m_refusals.EndRound()) {
        if (!sum.told) {
            m_events.AddRefusal(sum.text);
        }
        lines.push_back(std::move(sum.text));
    }
    return lines;
}

void RecorderModel::Begin(const RecorderConfig& config) {
    MakeFolder(config.server.stateFolder, config.server.group);
    MakeFolder(config.server.talkFolder, config.server.group);
    auto next = std::make_shared<Snapshot>();
    next->server = config.server;
    next->users = config.users;
    for (const ChannelConfig& channel : config.channels) {
        try {
            const int number = static_cast<int>(next->channels.size());
            next->channels.push_back(m_maker.Make(next->server, number, channel));
            WarnOfCertificate(*next, number);
        } catch (const std::exception& failure) {
            throw ConfigError("channel " + std::to_string(next->channels.size()) + ": " + failure.what());
        }
    }
    {
        const std::lock_guard lock(m_mutex);
        m_current = std::move(next);
    }
    StartTalks();
    m_recordings =
        std::make_unique<Recordings>(*m_hub, config.server.recording,
                                     [this](const Recordings::Notice& notice) { OnRecordingEnded(notice); });
    m_events.Add(EventLevel::Information, config.server.name + " started");
    CheckDisk();
}

std::string RecorderModel::Publish(Change change, const Edit& edit) {
    {
        const std::lock_guard editing(m_editMutex);
        auto next = std::make_shared<Snapshot>(*Current());
        if (std::string problem = edit(*next); !problem.empty()) {
            return problem;
        }
        const std::lock_guard lock(m_mutex);
        m_current = std::move(next);
    }
    {
        const std::shared_lock lock(m_listenerMutex);
        if (m_listener) {
            m_listener(change);
        }
    }
    if (change == Change::Configuration) {
        StartTalks();
    }
    return "";
}

std::string RecorderModel::PublishChannel(Change change, int channel, const ChannelEdit& edit) {
    return Publish(change, [&](Snapshot& state) -> std::string {
        Channel* const found = state.Find(channel);
        return found ? edit(state, *found) : kNoChannel;
    });
}

// Recordings go on with the new source.
std::string RecorderModel::ChangeSource(const Snapshot& state, int number, Channel& channel,
                                        const ChannelConfig& wanted) {
    try {
        m_maker.ChangeSource(state.server, number, channel, wanted);
    } catch (const std::exception& error) {
        return error.what();
    }
    m_causes.Forget(number);
    channel.trouble = {};
    if (m_recordings) {
        m_recordings->Follow(number);
    }
    return "";
}

std::string RecorderModel::TakeChannel(Snapshot& state, int number, const ChannelConfig& wanted) {
    Channel& channel = *state.Find(number);
    ChannelConfig taken = wanted;
    std::string problem;
    const bool isOther = !SameSource(channel.config, wanted);
    if (isOther) {
        problem = ChangeSource(state, number, channel, wanted);
        if (!problem.empty()) {
            taken.source = channel.config.source;
            taken.ptz.steerable = channel.config.ptz.steerable;
        }
    }
    if (channel.config.name != wanted.name) {
        m_hub->RenameChannel(number, wanted.name);
    }
    channel.config = std::move(taken);
    if (isOther && problem.empty()) {
        WarnOfCertificate(state, number);
    }
    ShowWhatGoesOn(number, channel.config.status);
    return problem;
}

// What goes on is told on, whatever a configuration says of the states.
void RecorderModel::ShowWhatGoesOn(int channel, StatusDigits& status) const {
    m_causes.Show(channel, status);
    if (m_recordings && m_recordings->Runs(channel)) {
        for (const char* name : {"record", "manual"}) {
            Mark(status, *FindStatusFlag(name), true);
        }
    }
}

std::string RecorderModel::Reload(const RecorderConfig& config) {
    std::string problems;
    const auto tell = [&](int number, const std::string& problem, const char* outcome) {
        problems += "channel " + std::to_string(number) + ": " + problem + outcome;
    };
    const std::string failure = Publish(Change::Configuration, [&](Snapshot& state) -> std::string {
        state.server = config.server;
        state.users = config.users;
        for (std::size_t i = 0; i < config.channels.size(); ++i) {
            const int number = static_cast<int>(i);
            if (i < state.channels.size()) {
                const std::string problem = TakeChannel(state, number, config.channels[i]);
                if (!problem.empty()) {
                    tell(number, problem, "; it keeps its source\n");
                }
                continue;
            }
            try {
                state.channels.push_back(m_maker.Make(state.server, number, config.channels[i]));
                WarnOfCertificate(state, number);
            } catch (const std::exception& error) {
                // Later channels keep their numbers only if none is left out.
                tell(number, error.what(), "; it and those behind it are left out\n");
                return "";
            }
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
    return PublishChannel(Change::Configuration, channel, [&](Snapshot&, Channel& found) -> std::string {
        if (std::string problem = CheckChannelName(name); !problem.empty()) {
            return problem;
        }
        found.config.name = name;
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
    return PublishChannel(
        Change::Configuration, channel, [&](Snapshot& state, Channel& found) -> std::string {
            if (!found.config.configured) {
                return kNoCamera;
            }
            if (!found.config.source.file.empty() || !found.config.source.network.url.empty()) {
                return "only a generated scene can be coded in another way";
            }
            ChannelConfig wanted = found.config;
            if (wanted.source.streams.empty()) {
                wanted.source.streams = DefaultStreams(channel);
            }
            for (StreamConfig& stream : wanted.source.streams) {
                stream.codec = codec;
            }
            if (std::string problem = ChangeSource(state, channel, found, wanted); !problem.empty()) {
                return problem;
            }
            found.config = std::move(wanted);
            return "";
        });
}

std::string RecorderModel::Remove(int channel) {
    return PublishChannel(Change::Configuration, channel, [&](Snapshot&, Channel& found) -> std::string {
        if (!found.config.configured) {
            return kNoCamera;
        }
        found.config.configured = false;
        if (m_recordings) {
            m_recordings->Stop(channel);
        }
        return "";
    });
}

std::string RecorderModel::Add(int& added) {
    return Publish(Change::Configuration, [&](Snapshot& state) -> std::string {
        for (added = 0; added < static_cast<int>(state.channels.size()); ++added) {
            Channel& channel = *state.Find(added);
            if (!channel.config.configured) {
                channel.config.configured = true;
                return "";
            }
        }
        if (added >= kMaxChannels) {
            return "there are as many channels as there can be";
        }
        try {
            state.channels.push_back(m_maker.Make(state.server, added, DemoChannels(added + 1).back()));
        } catch (const std::exception& failure) {
            return failure.what();
        }
        return "";
    });
}

std::string RecorderModel::SetFlag(int channel, const StatusFlag& flag, bool on) {
    return PublishChannel(Change::Status, channel, [&](Snapshot&, Channel& found) -> std::string {
        Mark(found.config.status, flag, on);
        return "";
    });
}

std::string RecorderModel::SetDigit(int channel, std::size_t section, std::uint8_t value) {
    return PublishChannel(Change::Status, channel, [&](Snapshot&, Channel& found) -> std::string {
        if (section >= found.config.status.size() || value > 15) {
            return "there is no such state";
        }
        found.config.status[section] = value;
        return "";
    });
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
        m_events.Add(EventLevel::Error, "The disk cannot be read", {}, {"disk-failed", -1, "", ""});
    } else if (now.usedPercent >= kNearlyFull && (!before || before->usedPercent < kNearlyFull)) {
        m_events.Add(EventLevel::Warning, "The disk is " + std::to_string(now.usedPercent) + " % full", {},
                     {"disk-full", -1, "", ""});
    } else if (before && before->status != 0) {
        m_events.Add(EventLevel::Information, "The disk is good again");
    }
    if (before) {
        Publish(Change::Status, [](Snapshot&) -> std::string { return ""; });
    }
}

std::string RecorderModel::ShowRecording(int channel, bool on) {
    return PublishChannel(Change::Status, channel, [&](Snapshot&, Channel& found) -> std::string {
        for (const char* name : {"record", "manual"}) {
            Mark(found.config.status, *FindStatusFlag(name), on);
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
    const std::string name = state->NameOf(channel);
    if (std::string problem = m_recordings->Start(channel); !problem.empty()) {
        m_events.Add(EventLevel::Error, name + ": recording cannot begin, " + problem,
                     std::chrono::seconds(10), {"recording-failed", channel, "", ""});
        return problem;
    }
    if (!ran) {
        m_events.Add(EventLevel::Information, name + ": recording began", {},
                     {"recording-began", channel, "", ""});
    }
    ShowRecording(channel, true);
    // It may have failed before it was shown.
    return m_recordings->Runs(channel) ? "" : ShowRecording(channel, false);
}

void RecorderModel::OnRecordingEnded(const Recordings::Notice& notice) {
    const std::string name = Current()->NameOf(notice.channel);
    if (notice.problem.empty()) {
        m_events.Add(EventLevel::Information,
                     name + ": recording ended after " + std::to_string(notice.milliseconds / 1000) + " s",
                     {}, {"recording-ended", notice.channel, "", ""});
        return;
    }
    // First what may be done twice: where this fails it is called again.
    ShowRecording(notice.channel, m_recordings->Runs(notice.channel));
    m_events.Add(EventLevel::Error, name + ": recording failed, " + notice.problem, {},
                 {"recording-failed", notice.channel, "", ""});
}

std::string RecorderModel::SetPtz(int channel, PtzReply reply, int delayMs) {
    return PublishChannel(Change::None, channel, [&](Snapshot&, Channel& found) -> std::string {
        if (!found.ptz) {
            return "the channel's camera cannot be steered";
        }
        found.config.ptz.reply = reply;
        found.config.ptz.delayMs = delayMs;
        return "";
    });
}

std::string RecorderModel::SetRight(std::string_view user, int channel, Right right, bool on) {
    return PublishChannel(Change::Configuration, channel, [&](Snapshot& state, Channel&) -> std::string {
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
