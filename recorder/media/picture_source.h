// Where a channel's packets come from.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "media/fault.h"
#include "media/media_clock.h"
#include "media/packet.h"
#include "media/stream_config.h"

namespace kvrecorder {

// What a source is run with.
struct SourceRound {
    MediaTime now{};
    std::chrono::system_clock::time_point wall;
    std::string name;          // the channel's, now
    std::vector<bool> wanted;  // by stream: somebody watches; at least one is true, or
    bool soundWanted = false;
};

// Takes what a source makes.
class SourceOutput {
public:
    virtual void Give(int stream, PacketPtr packet, PacketOrigin origin) = 0;
    virtual void Skipped(int stream, std::int64_t pictures) = 0;
    virtual void GiveSound(PacketPtr packet) = 0;
    // What Streams() tells is another than before.
    virtual void StreamsChanged() = 0;
    // For the log.
    virtual void Tell(std::string words) = 0;

protected:
    ~SourceOutput() = default;
};

// One thread at a time. The first packet of a stream that was not wanted in the round before is a key
// picture, and no packet comes for one that is not wanted.
class PictureSource {
public:
    virtual ~PictureSource() = default;
    virtual std::vector<StreamDescription> Streams() const = 0;
    // Gives the packets that are due; the result is when to run again. Throws std::runtime_error if it
    // cannot go on now; it may be run again later.
    virtual MediaTime Run(const SourceRound& round, SourceOutput& output) = 0;
    // Nobody watches: gives back what is costly. The next Run begins anew.
    virtual void Sleep() = 0;
    // The one that is cheapest to look at all the time.
    virtual int MotionStream() const { return 0; }
    // Any thread: no pictures are wanted any more, and nothing is waited for.
    virtual void End() {}
    // Why no pictures come, after a Run; empty when they do, or may yet.
    virtual Fault Trouble() const { return {}; }
};

// Makes the source of a channel that has a camera. `wake` has the source run again, maybe in the
// call, and is called on any thread. Throws std::runtime_error for an address that is none.
using CameraSourceMaker =
    std::function<std::unique_ptr<PictureSource>(const NetworkCamera& camera, std::function<void()> wake)>;

// A generated scene. Throws std::runtime_error for a scene or stream that cannot be.
std::unique_ptr<PictureSource> CreateSceneSource(int channel, const SourceConfig& config);
// A looped file. Throws std::runtime_error if it cannot be read or has no pictures.
std::unique_ptr<PictureSource> CreateFileSource(const SourceConfig& config);

}  // namespace kvrecorder
