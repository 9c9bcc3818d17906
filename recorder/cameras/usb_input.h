// A camera of this computer, by Video4Linux.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "cameras/camera_input.h"
#include "media/cost_meter.h"
#include "media/file_decoder.h"

namespace kvrecorder {

// H.264 and JPEG of the device are passed on; if it has neither, its pictures are encoded here.
class UsbInput final : public CameraInput {
public:
    // Of "usb:/dev/video0". Throws CameraError.
    UsbInput(const std::string& url, InputLimit& limit);

    AVCodecID Codec() const override;
    bool IsWhole() const override { return true; }
    std::optional<Piece> Read() override;
    std::string Word() override;

private:
    void Open(const std::string& path, const char* format);
    void MakeEncoder();
    std::optional<Piece> Encode(std::int64_t stampUs);

    InputLimit& m_limit;
    AvPtr<AVPacket> m_packet;
    AvPtr<AVFormatContext> m_device;
    std::vector<std::uint8_t> m_picture;
    // Of a device that gives neither H.264 nor JPEG.
    std::unique_ptr<FileDecoder> m_decoder;
    std::unique_ptr<FileTranscoder> m_encoder;
    CostMeter m_cost;
};

}  // namespace kvrecorder
