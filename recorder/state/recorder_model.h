// The recorder's present state, and all that changes it.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <vector>

#include "state/channel_maker.h"
#include "state/event_log.h"
#include "state/login_guard.h"
#include "state/presence.h"
#include "state/recorder_config.h"
#include "state/recordings.h"
#include "state/refusal_count.h"
#include "state/snapshot.h"
#include "state/state_causes.h"

namespace kvrecorder {

enum class Change { None, Status, Configuration };

// All operations may be called from any thread. Those that change something return "" or words for the
// user; the listener is called after a change, on the changing thread.
class RecorderModel {
public:
    // Without makers cameras are pictures alone.
    explicit RecorderModel(std::shared_ptr<MediaHub> hub, CameraControlMaker controls = nullptr,
                           CameraTalkMaker talks = nullptr);
    ~RecorderModel();
    RecorderModel(const RecorderModel&) = delete;
    RecorderModel& operator=(const RecorderModel&) = delete;

    SnapshotPtr Current() const;
    MediaHub& Hub() { return *m_hub; }
    EventLog& Events() { return m_events; }
    Presence& Users() { return m_users; }
    LoginGuard& Logins() { return m_logins; }
    // A login was refused; the log tells it, with others of a round in few words.
    void CountRefusal(const SourceAddress& from, std::string_view user);
    // Ends a round of them; gives a line for each address.
    std::vector<std::string> TellRefusals();
    // Returns when no call to the one before is under way; not from a listener.
    void SetListener(std::function<void(Change)> listener);

    // Takes over a configuration; watchers of a channel with another source go on with that. What could not
    // be done comes back as lines of text. At the start any failure is thrown as ConfigError.
    void Begin(const RecorderConfig& config);
    std::string Reload(const RecorderConfig& config);

    void SetCameraPlace(const CameraPlace& place);

    std::string Rename(int channel, const std::string& name);
    // The position stays, without a camera; its watchers lose their streams.
    std::string Remove(int channel);
    // Gives the first position without a camera its camera back, else adds a channel with a generated scene.
    // `added` gets its number.
    std::string Add(int& added);
    std::string SetFlag(int channel, const StatusFlag& flag, bool on);
    std::string SetDigit(int channel, std::size_t section, std::uint8_t value);
    // Makes all streams of a channel with a generated scene anew, of this codec.
    std::string SetCodec(int channel, Codec codec);
    // Starts or ends the recording of a channel to a file.
    std::string Record(int channel, bool on);
    std::string SetDiskFault(DiskFault fault);
    // Tells clients and the log when the disk has changed since the last call.
    void CheckDisk();
    std::string SetPtz(int channel, PtzReply reply, int delayMs);
    std::string SetRight(std::string_view user, int channel, Right right, bool on);

private:
    using Edit = std::function<std::string(Snapshot& state)>;
    using ChannelEdit = std::function<std::string(Snapshot& state, Channel& channel)>;

    // Runs `edit` on a copy and publishes it if the edit returns "".
    std::string Publish(Change change, const Edit& edit);
    void OnMedia(int channel, MediaEvent event, bool on);
    void OnNews(int channel, int source, const CameraNews& news);
    void StartTalks();
    void WarnOfCertificate(const Snapshot& state, int channel);
    void TakeOffer(int channel, int source, const CameraOffer& offer);
    void SetCause(int channel, Cause cause, bool on);
    void OnRecordingEnded(const Recordings::Notice& notice);
    std::string ShowRecording(int channel, bool on);
    // The same for a channel that must exist; `edit` gets it with the state that it belongs to.
    std::string PublishChannel(Change change, int channel, const ChannelEdit& edit);
    // Takes over what a configuration says of a channel; words for the user where it fails.
    std::string TakeChannel(Snapshot& state, int number, const ChannelConfig& wanted);
    void ShowWhatGoesOn(int channel, StatusDigits& status) const;
    std::string ChangeSource(const Snapshot& state, int number, Channel& channel,
                             const ChannelConfig& wanted);

    // What cameras tell, until the model's end.
    struct NewsGate {
        std::mutex mutex;
        RecorderModel* model = nullptr;
    };

    const std::shared_ptr<MediaHub> m_hub;
    const std::shared_ptr<NewsGate> m_gate = std::make_shared<NewsGate>();
    ChannelMaker m_maker;
    std::mutex m_editMutex;  // one change at a time
    StateCauses m_causes;    // within an edit
    mutable std::mutex m_mutex;
    SnapshotPtr m_current = std::make_shared<Snapshot>();
    std::shared_mutex m_listenerMutex;  // shared for the length of a call
    std::function<void(Change)> m_listener;
    EventLog m_events;
    Presence m_users;
    LoginGuard m_logins;
    RefusalCount m_refusals;
    std::mutex m_diskMutex;
    std::optional<DiskFigures> m_disk;         // as last reported
    std::unique_ptr<Recordings> m_recordings;  // last: its thread reports to the rest
};

}  // namespace kvrecorder
