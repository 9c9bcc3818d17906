// Encoded pictures of the recorder's channels, made once and shared by all who watch.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace kvrecorder {

class MediaClock;
class PtzCamera;

// One access unit, JPEG picture or block of sound, immutable and shared.
struct Packet {
    std::uint32_t fourcc = 0;  // a code of wire/frame_header.h
    bool key = false;
    int width = 0;
    int height = 0;
    std::int64_t timeMs = 0;  // since the source's start; packets follow each other in this order
    // How much later the picture is to be seen, where pictures are coded out of their order.
    std::int64_t delayMs = 0;
    // Of sound alone.
    std::uint32_t soundRate = 0;
    std::uint16_t soundBits = 0;
    std::uint16_t soundChannels = 0;
    std::vector<std::uint8_t> data;

    bool IsSound() const { return soundRate != 0; }
};
using PacketPtr = std::shared_ptr<const Packet>;

// The last three: MPEG-4 of two fields one above the other, the MPEG-4 of a Vivotek camera, and MxPEG.
enum class Codec { H264, Mpeg4, Mjpeg, Mpeg4Fields, Vivotek, Mxpeg };

// One of the streams that a channel offers, in the order of stream_id.
struct StreamConfig {
    Codec codec = Codec::H264;
    int width = 640;
    int height = 480;
    int fps = 15;
    int gop = 30;  // pictures from key to key
};

// Where a channel's pictures come from: a generated scene, or a file that is looped and passed on
// without re-encoding when its codec is one of the protocol's (H.264, MPEG-4 part 2, MJPEG); else its
// pictures are decoded and encoded anew.
struct SourceConfig {
    std::string file;   // empty: a generated scene
    std::string scene;  // its name; empty: one by the channel's number
    // Of a generated scene: its streams; none: DefaultStreams(channel). Of a file: entry 0 stands for the
    // file's own pictures and its values are not used, the others are encoded from them on demand; none:
    // the file's own and one of 352x240. Sizes are 16 to 4096 and even, 1 to 60 pictures a second, 1 to
    // 600 pictures from key to key.
    std::vector<StreamConfig> streams;
    // What steers the view of a generated scene; null: it stays at home.
    std::shared_ptr<PtzCamera> camera;
    // A generated scene is looked at all the time, cheaply, and what moves in it is told.
    bool watchMotion = false;
};

// What a hub tells of itself.
enum class MediaEvent {
    Motion,  // something moves in the scene, or no more
    Lost,    // the source gives nothing, or again; known only while somebody watches
};
using MediaListener = std::function<void(int channel, MediaEvent event, bool on)>;

struct StreamDescription {
    Codec codec = Codec::H264;
    int width = 0;
    int height = 0;
    int fps = 0;
};

// Of one stream since the hub began.
struct StreamCounters {
    std::uint64_t packets = 0;  // given to watchers and to the store for new ones
    std::uint64_t encoded = 0;  // of these, encoded here
    std::uint64_t skipped = 0;  // pictures left out because the machine was late
    int watchers = 0;           // now
};

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
    // A stream number out of range takes stream 0; null for a channel out of range. A stream that nobody
    // watches costs no encoding.
    virtual std::unique_ptr<Subscription> Subscribe(int channel, int stream,
                                                    std::function<void(const PacketPtr&)> sink) = 0;
    // Zeros for what does not exist.
    virtual StreamCounters Counters(int channel, int stream) const {
        static_cast<void>(channel);
        static_cast<void>(stream);
        return {};
    }
};

// What a generated channel offers when nothing is told: at least two sizes, and each codec in turn.
std::vector<StreamConfig> DefaultStreams(int channel);

// All operations of a hub may be called from any thread. Pictures are made by `threads` threads for all
// channels together; 0: as many as there are processors, at most four. The clock is for tests.
std::unique_ptr<MediaHub> CreateMediaHub(std::shared_ptr<MediaClock> clock = nullptr, int threads = 0);

}  // namespace kvrecorder
