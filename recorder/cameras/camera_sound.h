// The sound that comes with a camera's pictures.
#pragma once

#include <memory>
#include <vector>

#include "media/av_ptr.h"
#include "media/packet.h"

namespace kvrecorder {

// One session's sound. G.711 is passed on; all else becomes plain samples of one channel. One thread at a
// time.
class CameraSound {
public:
    // Null if it is of a kind that cannot be decoded here.
    static std::unique_ptr<CameraSound> Make(const AVCodecParameters& parameters);

    // Adds what comes of a packet, damaged ones give nothing. `timeMs` is that of its arrival.
    void Decode(const AVPacket& packet, std::int64_t timeMs, std::vector<PacketPtr>& sounds);

private:
    explicit CameraSound(AvPtr<AVCodecContext> codec);
    PacketPtr Convert(std::int64_t timeMs) const;

    const AvPtr<AVCodecContext> m_codec;
    const AvPtr<AVFrame> m_frame;
};

}  // namespace kvrecorder
