// A channel that has everything from its recorder, and what most cameras do like it. For the channel's
// folders and their tests only.
#pragma once

#include "channel/source/camera_kind.h"

namespace kvmon {

class RecorderKind : public CameraKind {
public:
    bool CanStreamFromCamera() const override { return false; }
    ImageSize GetDefaultImageSize() const override { return {640, 480}; }
    int GetVideoCmd(const TargetSettings& settings, std::int32_t nStreamId,
                    std::span<char> request) const override;
    std::int32_t GetCameraStreamId(const StreamSource& source) const override;
    std::uint32_t GetCameraStream(const StreamPass& pass) const override;
    std::uint32_t ParseImage(const StreamSinks& sinks, const ThreadControl& control,
                             ByteSource& source) const override;
    std::uint32_t DecodeCameraFrame(DecodeLoop& loop) const override;
    bool CanGetAudio() const override { return true; }
    std::uint32_t GetAudio(const StreamSource& source, ThreadControl& control) const override;
    int GetAudioCmd(const TargetSettings& /*settings*/, std::span<char> /*request*/) const override {
        return 0;
    }
    std::uint32_t ParseAudio(const StreamSource& /*channel*/, const ThreadControl& /*control*/,
                             ByteSource& /*source*/) const override {
        return 0;
    }
};

// A channel that has everything from its recorder.
const CameraKind& BaseKind();

}  // namespace kvmon
