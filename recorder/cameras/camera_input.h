// What a camera's pictures come in by, whatever it speaks.
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

// Ends what is waited for: when its time is over, or when the one who waits is to end.
class InputLimit {
public:
    explicit InputLimit(std::function<bool()> ended) : m_ended(std::move(ended)) {}

    void AllowUntil(std::chrono::steady_clock::time_point until) { m_until = until; }
    std::chrono::steady_clock::time_point Until() const { return m_until; }
    bool IsOver() const { return std::chrono::steady_clock::now() >= m_until; }
    bool Ended() const { return m_ended(); }
    AVIOInterruptCB Callback() { return {&InputLimit::Ask, this}; }

private:
    static int Ask(void* self);

    const std::function<bool()> m_ended;
    std::chrono::steady_clock::time_point m_until{};
};

// One session. One thread; all calls end within the limit that it was opened with.
class CameraInput {
public:
    virtual ~CameraInput() = default;

    // One that PassedCodec knows.
    virtual AVCodecID Codec() const = 0;
    // What the camera told beforehand of its pictures.
    virtual std::span<const std::uint8_t> Headers() const { return {}; }
    // Null when the camera has none, or it is not wanted.
    virtual const AVCodecParameters* Sound() const { return nullptr; }
    // Each piece is a whole picture.
    virtual bool IsWhole() const = 0;
    // How long it takes from picture to picture where that is set here.
    virtual std::chrono::milliseconds Pause() const { return {}; }

    struct Piece {
        const AVPacket* packet = nullptr;     // of sound alone; valid until the next call
        std::span<const std::uint8_t> bytes;  // valid until the next call
        std::int64_t stampUs = INT64_MIN;
        bool isSound = false;
        bool isLast = false;  // of a picture, as the camera says
    };
    // Nothing for what is neither picture nor sound. Throws CameraError when the session has ended.
    virtual std::optional<Piece> Read() = 0;
    // Something for the log, each told once; empty: nothing.
    virtual std::string Word() { return {}; }

protected:
    CameraInput() = default;
    CameraInput(const CameraInput&) = delete;
    CameraInput& operator=(const CameraInput&) = delete;
};

// The protocol's codec for one of the library's; nothing when it cannot be passed on.
std::optional<kvrecorder::Codec> PassedCodec(AVCodecID id);
// For people.
const char* NameOf(kvrecorder::Codec codec);

}  // namespace kvrecorder
