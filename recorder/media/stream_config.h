// What a channel's source and its streams are to be, and what they are.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "media/secret.h"

namespace kvrecorder {

class PtzCamera;

// MPEG-4 of two fields one above the other, the MPEG-4 of a Vivotek camera, and MxPEG; H.265 is never made
// here, only passed on.
enum class Codec { H264, Mpeg4, Mjpeg, Mpeg4Fields, Vivotek, Mxpeg, H265 };

// One of the streams that a channel offers, in the order of stream_id.
struct StreamConfig {
    Codec codec = Codec::H264;
    int width = 640;
    int height = 480;
    int fps = 15;
    int gop = 30;  // pictures from key to key
};

// A camera on the network. Its addresses hold no login.
struct NetworkCamera {
    std::string url;     // of stream 0; empty: there is no such camera
    std::string subUrl;  // of stream 1; empty: that is made of stream 0 when somebody wants it
    std::string user;
    Secret password;
    std::string subUser;  // of the sub stream; empty: as above
    Secret subPassword;
    // Of a camera of ONVIF, which tells the addresses of its streams itself.
    std::string profile;     // of stream 0; empty: the one with the largest picture
    std::string subProfile;  // of stream 1; empty: one with a small picture
    // Which certificate is taken where it is spoken to encrypted: see certificate_word.h. Empty: one that
    // an authority of this computer has signed for its host.
    std::string certificate;
    bool overUdp = false;
    // From picture to picture of a camera that gives them one by one.
    std::chrono::milliseconds interval{1000};
    std::chrono::seconds linger{10};  // how long it is kept when nobody watches

    bool operator==(const NetworkCamera& other) const {
        return url == other.url && subUrl == other.subUrl && profile == other.profile &&
               subProfile == other.subProfile && user == other.user && password == other.password.View() &&
               subUser == other.subUser && subPassword == other.subPassword.View() &&
               certificate == other.certificate && overUdp == other.overUdp && interval == other.interval &&
               linger == other.linger;
    }
};

// A part of the picture, in percent of its sides.
struct MotionZone {
    int left = 0;
    int top = 0;
    int width = 100;
    int height = 100;

    bool operator==(const MotionZone&) const = default;
};

struct MotionSetup {
    int sensitivity = 50;           // 1 to 100
    std::vector<MotionZone> zones;  // what is looked at; none: all of the picture

    bool operator==(const MotionSetup&) const = default;
};

// Where a channel's pictures come from: a generated scene, a camera, or a file that is looped and passed on
// without re-encoding when its codec is one of the protocol's (H.264, MPEG-4 part 2, MJPEG); else its
// pictures are decoded and encoded anew.
struct SourceConfig {
    std::string file;  // empty: a camera or a generated scene
    NetworkCamera network;
    std::string scene;  // its name; empty: one by the channel's number
    // Of a generated scene: its streams; none: DefaultStreams(channel). Of a camera none. Of a file: entry 0
    // stands for the file's own pictures and its values are not used, the others are encoded from them on
    // demand; none: the file's own and one of 352x240. Sizes are 16 to 4096 and even, 1 to 60 pictures a
    // second, 1 to 600 pictures from key to key.
    std::vector<StreamConfig> streams;
    // What steers the view of a generated scene; null: it stays at home.
    std::shared_ptr<PtzCamera> camera;
    // The channel is looked at all the time, cheaply, and what moves in it is told.
    bool watchMotion = false;
    MotionSetup motion;
};

struct StreamDescription {
    Codec codec = Codec::H264;
    int width = 0;
    int height = 0;
    int fps = 0;
};

// Counts of one stream since the hub began.
struct StreamCounters {
    std::uint64_t packets = 0;  // given to watchers and kept for new ones
    std::uint64_t encoded = 0;  // of these, encoded here
    std::uint64_t skipped = 0;  // pictures left out because the machine was late
    int watchers = 0;           // now
};

// What a generated channel offers when no streams are configured: at least two sizes, and each codec in turn.
std::vector<StreamConfig> DefaultStreams(int channel);

}  // namespace kvrecorder
