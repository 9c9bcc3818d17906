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

    void AllowUntil(std::chrono::steady_clock::time_point until) { m_until = until; }
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
    RtspInput(const NetworkCamera& camera, const std::string& url, bool withSound, InputLimit& limit);

    AVCodecID Codec() const { return m_pictures->codecpar->codec_id; }
    // What the camera told beforehand of its pictures.
    std::span<const std::uint8_t> Headers() const;
    // Null when the camera has none, or it is not wanted.
    const AVCodecParameters* Sound() const { return m_sound ? m_sound->codecpar : nullptr; }

    struct Piece {
        const AVPacket* packet = nullptr;     // valid until the next call
        std::span<const std::uint8_t> bytes;  // of it
        std::int64_t stampUs = INT64_MIN;
        bool isSound = false;
    };
    // Nothing for what is neither picture nor sound. Throws CameraError when the session has ended.
    std::optional<Piece> Read();

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

// The protocol's codec for one of the library's; nothing when it cannot be passed on.
std::optional<kvrecorder::Codec> PassedCodec(AVCodecID id);

}  // namespace kvrecorder
