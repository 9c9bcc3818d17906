// The page as a sound card and as a microphone.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <vector>

#include "audio/sound_host.h"

namespace kvmon {

// Shared by the session and the threads that play and record, which may outlive it.
class PageSound : public std::enable_shared_from_this<PageSound> {
public:
    // 16-bit mono sound that comes from the page.
    static constexpr std::uint32_t kMicrophoneRate = 8000;

    // Called on the playing and recording threads. `send` takes a block for the page, or drops it; it does
    // not wait. `record` says whether somebody wants to hear the page's microphone.
    struct Session {
        std::function<void(const PcmFormat& format, std::span<const std::uint8_t> block)> send;
        std::function<void(bool bOn)> record;
    };

    // A page that gives nothing for so long does not let us hear: before the first sound its user may have to
    // be asked, and a refusal is told.
    struct Patience {
        std::chrono::milliseconds asked = std::chrono::seconds(60);
        std::chrono::milliseconds silent = std::chrono::seconds(3);
    };

    PageSound() = default;
    explicit PageSound(const Patience& patience) : m_patience(patience) {}

    void SetSession(Session session);
    // No more calls after it.
    void EndSession() { SetSession({}); }
    SoundHost MakeHost();

    // What the page recorded; what nobody reads is kept for three quarters of a second.
    void Take(std::span<const std::int16_t> samples);
    // The page has no microphone to hear: its user refused it, or it is gone. Who listens hears so at once.
    void LoseMicrophone();

    // --- for the cards and microphones
    void Send(const PcmFormat& format, std::span<const std::uint8_t> block);
    void Record(bool bOn);
    bool ReadMicrophone(std::span<std::int16_t> block, const std::atomic<bool>& cancelled);
    void Wake();

private:
    const Patience m_patience{};
    std::mutex m_sessionMutex;  // held during the session's functions
    Session m_session;
    std::mutex m_heardMutex;
    std::condition_variable m_changed;
    std::deque<std::int16_t> m_heard;
    bool m_bHears = false;  // something came since the recording began
    bool m_bLost = false;
};

}  // namespace kvmon
