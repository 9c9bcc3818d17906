// A camera's RTSP session.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "cameras/camera_input.h"

namespace kvrecorder {

// The camera answers, but has nothing that is understood here.
class OddSession : public CameraError {
    using CameraError::CameraError;
};

class RtspInput final : public CameraInput {
public:
    // Throws CameraError.
    RtspInput(const NetworkCamera& camera, const std::string& url, bool withSound, InputLimit& limit);

    AVCodecID Codec() const override { return m_pictures->codecpar->codec_id; }
    std::span<const std::uint8_t> Headers() const override;
    const AVCodecParameters* Sound() const override { return m_sound ? m_sound->codecpar : nullptr; }
    // The library puts JPEG pictures together, as it has to make their heads.
    bool IsWhole() const override { return Codec() == AV_CODEC_ID_MJPEG; }
    std::optional<Piece> Read() override;

private:
    void Open(const NetworkCamera& camera, const std::string& url, bool withSound);
    [[noreturn]] void Fail(int error) const;

    InputLimit& m_limit;
    const bool m_hasUser;
    AvPtr<AVPacket> m_packet;
    AvPtr<AVFormatContext> m_session;
    AVStream* m_pictures = nullptr;
    AVStream* m_sound = nullptr;
};

}  // namespace kvrecorder
