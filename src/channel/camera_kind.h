// The steps in which one make of camera differs from the others. Inside this folder and its tests only.
#pragma once

#include <cstdint>
#include <span>

#include "platform/worker.h"

namespace kvmon {

class ByteSource;
class DecodeLoop;
class LiveAudio;
struct CameraSettings;
struct ChannelCore;
struct TargetSettings;
struct ThreadControl;

struct ImageSize {
    int cx = 0;
    int cy = 0;
};

// The base answers for a channel that has everything from its recorder. A kind has no state: all threads of
// all channels ask the same object.
class CameraKind {
public:
    virtual ~CameraKind() = default;

    // Pictures can come from the camera itself, past the recorder.
    virtual bool CanStreamFromCamera() const { return false; }
    // The picture that the coordinates of a click are told in.
    virtual ImageSize GetDefaultImageSize() const { return {640, 480}; }
    // Writes the request for pictures and gives its length, as snprintf does.
    virtual int GetVideoCmd(const TargetSettings& settings, std::int32_t nStreamId,
                            std::span<char> request) const;
    // The stream of the camera that the present view asks for.
    virtual std::int32_t GetCameraStreamId(const ChannelCore& core) const;
    // One connection to the camera, from the request to its end. Gives the number of frames. Reception
    // thread.
    virtual std::uint32_t GetCameraStream(ChannelCore& core, ThreadControl& control, LiveAudio& audio) const;
    // The pictures of such a connection, from behind the status line.
    virtual std::uint32_t ParseImage(ChannelCore& core, const ThreadControl& control, ThreadControl& decode,
                                     ByteSource& source) const;
    // Decode thread; gives the number of pictures.
    virtual std::uint32_t DecodeCameraFrame(DecodeLoop& loop) const;

    // The sound that a camera sends over a connection of its own. Audio connection thread.
    virtual bool CanGetAudio() const { return true; }
    virtual std::uint32_t GetAudio(ChannelCore& core, ThreadControl& control) const;
    // 0: there is no such request.
    virtual int GetAudioCmd(const TargetSettings& /*settings*/, std::span<char> /*request*/) const {
        return 0;
    }
    virtual std::uint32_t ParseAudio(ChannelCore& /*core*/, const ThreadControl& /*control*/,
                                     ByteSource& /*source*/) const {
        return 0;
    }
};

// A channel that has everything from its recorder.
const CameraKind& BaseKind();
// The kind that a recorder's record of a channel asks for.
const CameraKind& KindFor(const CameraSettings& settings);

}  // namespace kvmon
