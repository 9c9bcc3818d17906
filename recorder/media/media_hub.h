// Encoded pictures of the recorder's channels, made once and shared by all who watch.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace kvrecorder {

// One access unit or JPEG picture, immutable and shared.
struct Packet {
    std::uint32_t fourcc = 0;  // a code of wire/frame_header.h
    bool key = false;
    int width = 0;
    int height = 0;
    std::int64_t timeMs = 0;  // since the source's start
    std::vector<std::uint8_t> data;
};
using PacketPtr = std::shared_ptr<const Packet>;

enum class Codec { H264, Mpeg4, Mjpeg };

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
    std::string file;    // empty: a generated scene
    std::string scene;   // name of a scene; empty: one by the channel's number
    std::vector<StreamConfig> streams;  // of a generated scene, at least one
};

struct StreamDescription {
    Codec codec = Codec::H264;
    int width = 0;
    int height = 0;
    int fps = 0;
};

// Takes packets of one stream. The callback runs on a source thread and must not wait; it first gets
// the packets since the last key picture, so that a new watcher sees a picture at once.
class Subscription {
public:
    virtual ~Subscription() = default;  // ends the callbacks; returns when none is under way
};

class MediaHub {
public:
    virtual ~MediaHub() = default;
    // Adds a channel; its position is the channel number. The name is drawn into generated scenes. Throws
    // std::runtime_error with words for the user if a file cannot be read.
    virtual int AddChannel(const std::string& name, const SourceConfig& source) = 0;
    virtual void RenameChannel(int channel, const std::string& name) = 0;
    virtual std::vector<StreamDescription> Streams(int channel) const = 0;
    // A stream number out of range takes stream 0; null for a channel out of range. A stream that nobody
    // watches costs no encoding.
    virtual std::unique_ptr<Subscription> Subscribe(int channel, int stream,
                                                    std::function<void(const PacketPtr&)> sink) = 0;
};

std::unique_ptr<MediaHub> CreateMediaHub();

}  // namespace kvrecorder
