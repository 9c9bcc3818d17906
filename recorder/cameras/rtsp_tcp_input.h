// The usual camera's session: H.264, H.265, MPEG-4 or JPEG by RTSP within one TCP connection.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "cameras/camera_input.h"
#include "cameras/rtp_jpeg.h"
#include "cameras/rtp_packets.h"
#include "cameras/rtsp_connection.h"
#include "cameras/rtsp_description.h"

namespace kvrecorder {

// libavformat reads such a session with six system calls for each packet, of which a picture has a dozen, and
// does not tell where a picture ends. This reads what has come at once.
class RtspTcpInput final : public CameraInput {
public:
    // Throws CameraError, and StrangeRtsp for a camera that another has to read.
    RtspTcpInput(const NetworkCamera& camera, const std::string& url, bool withSound, InputLimit& limit);
    ~RtspTcpInput() override;

    AVCodecID Codec() const override { return m_codec; }
    std::span<const std::uint8_t> Headers() const override { return m_headers; }
    const AVCodecParameters* Sound() const override { return m_soundParameters.get(); }
    bool IsWhole() const override { return m_jpeg.has_value(); }
    std::optional<Piece> Read() override;
    std::string Word() override { return std::exchange(m_word, {}); }

private:
    struct FreeParameters {
        void operator()(AVCodecParameters* parameters) const { avcodec_parameters_free(&parameters); }
    };
    // Stamps of 32 bits that go on.
    struct Times {
        std::optional<std::uint32_t> last;
        std::int64_t ticks = 0;
        std::int64_t Next(std::uint32_t stamp);
    };

    void TakePictures(const RtspMedia& media);
    void TakeSound(const RtspFormat& format);
    int SetUp(const RtspMedia& media, int wanted);
    void KeepAlive();
    void OnReply(const RtspHead& head);
    bool BeginsAnother(const RtpPacket& packet) const;
    void AddPicture(const RtpPacket& packet);
    void AddSound(const RtpPacket& packet);
    std::optional<Piece> GivePicture(bool isLast);
    std::optional<Piece> GiveSound();

    RtspConnection m_connection;
    std::string m_base;
    std::string m_session;
    std::string m_sessionUrl;
    const char* m_aliveMethod = "OPTIONS";
    std::chrono::seconds m_alivePause{30};
    std::chrono::steady_clock::time_point m_aliveAt;

    std::string m_word;
    AVCodecID m_codec = AV_CODEC_ID_NONE;
    int m_pictureClock = 0;
    std::vector<std::uint8_t> m_headers;
    int m_picturesChannel = -1;
    // Neither where packets hold pieces of pictures as they are.
    std::optional<RtpUnits> m_units;
    std::optional<RtpJpeg> m_jpeg;
    Times m_pictureTimes;
    std::vector<std::uint8_t> m_bytes;  // of the picture that comes in
    std::int64_t m_stampUs = 0;         // of the bytes
    bool m_isGiven = false;             // the bytes were given
    bool m_marks = false;               // the camera says which packet is a picture's last
    bool m_anyPicture = false;

    int m_soundChannel = -1;
    std::unique_ptr<AVCodecParameters, FreeParameters> m_soundParameters;
    bool m_isAac = false;
    RtpAac m_aac;
    std::deque<std::vector<std::uint8_t>> m_blocks;
    AvPtr<AVPacket> m_soundPacket;
};

// As above; null for a camera that another has to read.
std::unique_ptr<CameraInput> OpenRtspTcp(const NetworkCamera& camera, const std::string& url, bool withSound,
                                         InputLimit& limit);

}  // namespace kvrecorder
