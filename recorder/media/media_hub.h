// Encoded pictures of the recorder's channels, made once and shared by all who watch.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "media/fault.h"
#include "media/media_event.h"
#include "media/packet.h"
#include "media/picture_source.h"
#include "media/stream_config.h"

namespace kvrecorder {

class MediaClock;

// Takes packets of one stream. The callback runs on a source thread and must not wait; it first gets
// the packets since the last key picture, so that a new watcher sees a picture at once. It must not throw.
class Subscription {
public:
    // Ends the callbacks; returns when none is under way, but for the one that it is called from.
    virtual ~Subscription() = default;
};

class MediaHub {
public:
    virtual ~MediaHub() = default;
    // Called on the source threads, which it holds up; returns when no call to the one before is under way.
    virtual void SetListener(MediaListener listener) = 0;
    // Adds a channel; its position is the channel number. The name is drawn into generated scenes. Throws
    // std::runtime_error with words for the user if a file cannot be read, a scene has no such name or a
    // stream cannot be made.
    virtual int AddChannel(const std::string& name, const SourceConfig& source) = 0;
    // Puts another source in a channel's place, as AddChannel does; on failure all stays as it is. Who
    // watches gets nothing more and has to subscribe anew.
    virtual void ReplaceSource(int channel, const std::string& name, const SourceConfig& source) = 0;
    virtual void RenameChannel(int channel, const std::string& name) = 0;
    virtual std::vector<StreamDescription> Streams(int channel) const = 0;
    // What there is to say of the event that is just being told; may be empty.
    virtual std::string Words(int channel) const {
        static_cast<void>(channel);
        return {};
    }
    // The same of pictures that are lost, with its code.
    virtual Fault Trouble(int channel) const { return Words(channel); }
    // A stream number out of range takes stream 0; null for a channel out of range. A stream that nobody
    // watches costs no encoding.
    virtual std::unique_ptr<Subscription> Subscribe(int channel, int stream,
                                                    std::function<void(const PacketPtr&)> sink) = 0;
    // The sound that comes with a camera's pictures; null for a channel out of range.
    virtual std::unique_ptr<Subscription> SubscribeSound(int channel,
                                                         std::function<void(const PacketPtr&)> sink) = 0;
    // What looking for motion in a camera's or file's pictures takes of a processor, in percent; nothing for
    // others, and until it was measured.
    virtual std::optional<double> MotionShare(int /*channel*/) const { return std::nullopt; }
    // Zeros for what does not exist.
    virtual StreamCounters Counters(int channel, int stream) const {
        static_cast<void>(channel);
        static_cast<void>(stream);
        return {};
    }
};

// All operations of a hub may be called from any thread. Pictures are made by `threads` threads for all
// channels together; 0: as many as there are processors, at most four. The clock is for tests. Without a
// maker no channel can have a camera.
std::unique_ptr<MediaHub> CreateMediaHub(std::shared_ptr<MediaClock> clock = nullptr, int threads = 0,
                                         CameraSourceMaker cameras = nullptr);

}  // namespace kvrecorder
