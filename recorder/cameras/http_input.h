// A camera that sends JPEG pictures by HTTP.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cameras/camera_input.h"
#include "cameras/multipart_reader.h"

namespace kvrecorder {

// The reply's type tells what the camera has: pictures without end in one reply, or one picture, which is
// then asked for again and again.
class HttpInput final : public CameraInput {
public:
    // Throws CameraError.
    HttpInput(const NetworkCamera& camera, const std::string& url, InputLimit& limit);
    ~HttpInput() override;

    AVCodecID Codec() const override { return AV_CODEC_ID_MJPEG; }
    bool IsWhole() const override { return true; }
    std::chrono::milliseconds Pause() const override;
    std::optional<Piece> Read() override;

private:
    class Transfer;
    std::optional<Piece> ReadPart();
    std::optional<Piece> ReadSingle();

    const std::chrono::milliseconds m_interval;
    std::unique_ptr<Transfer> m_transfer;
    std::chrono::steady_clock::time_point m_begun;  // of the request under way
    std::optional<MultipartReader> m_parts;         // nothing of a camera that is asked for each picture
    bool m_given = false;                           // the picture of the request under way
    std::vector<std::uint8_t> m_picture;
};

}  // namespace kvrecorder
