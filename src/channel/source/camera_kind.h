// The steps in which one make of camera differs from the others. For the channel's folders and their tests
// only.
#pragma once

#include <cstdint>
#include <span>

namespace kvmon {

class ByteSource;
class DecodeLoop;
class StreamSource;
struct StreamPass;
struct StreamSinks;
struct TargetSettings;
struct ThreadControl;

struct ImageSize {
    int cx = 0;
    int cy = 0;
};

// A kind has no state: all threads of all channels ask the same object.
class CameraKind {
public:
    virtual ~CameraKind() = default;

    // Pictures can come from the camera itself, past the recorder.
    virtual bool CanStreamFromCamera() const = 0;
    // The picture that the coordinates of a click are told in.
    virtual ImageSize GetDefaultImageSize() const = 0;
    // Writes the request for pictures and gives its length, as snprintf does.
    virtual int GetVideoCmd(const TargetSettings& settings, std::int32_t nStreamId,
                            std::span<char> request) const = 0;
    // The stream of the camera that the present view asks for.
    virtual std::int32_t GetCameraStreamId(const StreamSource& source) const = 0;
    // One connection to the camera, from the request to its end. Gives the number of frames. Reception
    // thread.
    virtual std::uint32_t GetCameraStream(const StreamPass& pass) const = 0;
    // The pictures of such a connection, from behind the status line.
    virtual std::uint32_t ParseImage(const StreamSinks& sinks, const ThreadControl& control,
                                     ByteSource& source) const = 0;
    // Decode thread; gives the number of pictures.
    virtual std::uint32_t DecodeCameraFrame(DecodeLoop& loop) const = 0;

    // The sound that a camera sends over a connection of its own. Audio connection thread.
    virtual bool CanGetAudio() const = 0;
    virtual std::uint32_t GetAudio(const StreamSource& source, ThreadControl& control) const = 0;
    // 0: there is no such request.
    virtual int GetAudioCmd(const TargetSettings& settings, std::span<char> request) const = 0;
    virtual std::uint32_t ParseAudio(const StreamSource& channel, const ThreadControl& control,
                                     ByteSource& source) const = 0;
};

}  // namespace kvmon
