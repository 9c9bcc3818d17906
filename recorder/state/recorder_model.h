// The recorder's present state: who may do what, which channels there are and how they are.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "state/event_log.h"
#include "state/presence.h"
#include "state/ptz_unit.h"
#include "state/recorder_config.h"
#include "state/recordings.h"

namespace kvrecorder {

enum class Change { None, Status, Configuration };

struct Channel {
    ChannelConfig config;
    std::vector<StreamDescription> streams;
    std::shared_ptr<PtzUnit> ptz;  // null: the camera cannot be steered
    int sourceNumber = 0;          // another one with each new source
};

// Where clients find the cameras that are to be had directly.
struct CameraPlace {
    std::string address;
    int port = 0;  // 0: nowhere
};

// Never changed once it was given out.
struct Snapshot {
    ServerConfig server;
    std::vector<User> users;
    std::vector<Channel> channels;
    CameraPlace cameras;

    // Takes as long for a wrong name as for a wrong password. Null if there is no such user.
    const User* Authorize(std::string_view name, std::string_view password) const;
    const User* FindUser(std::string_view name) const;
    // Null if out of range or without a camera.
    const Channel* Configured(int channel) const;
};
using SnapshotPtr = std::shared_ptr<const Snapshot>;

// All operations may be called from any thread. Those that change something return "" or words for the
// user; the listener is called after a change, on the changing thread.
class RecorderModel {
public:
    explicit RecorderModel(std::shared_ptr<MediaHub> hub);
    ~RecorderModel();
    RecorderModel(const RecorderModel&) = delete;
    RecorderModel& operator=(const RecorderModel&) = delete;

    SnapshotPtr Current() const;
    MediaHub& Hub() { return *m_hub; }
    EventLog& Events() { return m_events; }
    Presence& Users() { return m_users; }
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
    // Runs `edit` on a copy and publishes it if the edit returns "".
    template <typename Edit>
    std::string Publish(Change change, Edit edit);
    void OnMedia(int channel, MediaEvent event, bool on);
    void OnRecordingEnded(const Recordings::Notice& notice);
    std::string ShowRecording(int channel, bool on);
    Channel MakeChannel(const ServerConfig& server, int number, const ChannelConfig& config);
    // Gives a channel that exists another source; "" or words for the user, the channel being as before.
    std::string ChangeSource(const ServerConfig& server, int number, Channel& channel,
                             const ChannelConfig& wanted);

    const std::shared_ptr<MediaHub> m_hub;
    std::mutex m_editMutex;  // one change at a time
    mutable std::mutex m_mutex;
    SnapshotPtr m_current = std::make_shared<Snapshot>();
    std::function<void(Change)> m_listener;
    EventLog m_events;
    Presence m_users;
    std::mutex m_diskMutex;
    std::optional<DiskFigures> m_disk;         // as told last
    std::unique_ptr<Recordings> m_recordings;  // last: its thread reports to the rest
};

}  // namespace kvrecorder
