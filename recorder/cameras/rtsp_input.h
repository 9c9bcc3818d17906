// A camera's RTSP session.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>

#include "cameras/camera_error.h"
#include "media/av_ptr.h"
#include "media/stream_config.h"

namespace kvrecorder {

// Ends what the library waits for: when its time is over, or when the one who waits is to end.
class InputLimit {
public:
    explicit InputLimit(std::function<bool()> ended) : m_ended(std::move(ended)) {}

    void Allow(std::chrono::milliseconds time);
    bool IsOver() const { return std::chrono::steady_clock::now() >= m_until; }
    bool Ended() const { return m_ended(); }
    AVIOInterruptCB Callback() { return {&InputLimit::Ask, this}; }

private:
    static int Ask(void* self);

    const std::function<bool()> m_ended;
    std::chrono::steady_clock::time_point m_until{};
};

// One thread. All calls end within the limit, but for the look-up of a host's name.
class RtspInput {
public:
    // Throws CameraError: the camera cannot be reached, refuses, or has no pictures that can be passed on.
    RtspInput(const NetworkCamera& camera, const std::string& url, InputLimit& limit);

    AVCodecID Codec() const { return m_pictures->codecpar->codec_id; }
    // What the camera told beforehand of its pictures.
    std::span<const std::uint8_t> Headers() const;
    // A packet is a whole picture; else it is a piece of one.
    bool GivesWholePictures() const { return m_whole; }

    struct Piece {
        std::span<const std::uint8_t> bytes;  // valid until the next call
        std::int64_t stampUs = INT64_MIN;
    };
    // Nothing for what is no picture. Throws CameraError when the session has ended.
    std::optional<Piece> Read();

private:
    AvPtr<AVFormatContext> Open(const NetworkCamera& camera, const std::string& url);
    [[noreturn]] void Fail(int error) const;

    InputLimit& m_limit;
    const std::string m_url;
    AvPtr<AVPacket> m_packet;
    AvPtr<AVFormatContext> m_session;
    AVStream* m_pictures = nullptr;
    bool m_whole = false;
};

// The protocol's codec for one of the library's; nothing when it cannot be passed on.
std::optional<kvrecorder::Codec> PassedCodec(AVCodecID id);

}  // namespace kvrecorder
