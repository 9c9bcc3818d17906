#include "cameras/camera_talk.h"

#include <atomic>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <system_error>
#include <utility>
#include <vector>

#include "cameras/back_channel.h"
#include "cameras/camera_error.h"
#include "cameras/camera_threads.h"
#include "cameras/camera_url.h"
#include "media/sound_coder.h"

namespace kvrecorder {
namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kPacket = 160;  // samples
constexpr milliseconds kPacketTime{20};
constexpr int kSamplesMs = 8;
// What is said is never later than this: older sound is dropped, with that which a connection holds.
constexpr std::size_t kMostWaiting = 4000;
// Clients send some in one go; so much is waited for those that are late.
constexpr milliseconds kAhead{60};
// In silence the session's end is looked for so often.
constexpr milliseconds kTalkLook{500};
// The same trouble is told again after this.
constexpr std::chrono::seconds kQuiet{60};

bool IsRtsp(const std::string& url) {
    return url.starts_with("rtsp://") || url.starts_with("rtsps://");
}

// Shared with the threads, which may outlive it.
class Talked {
public:
    Talked(const NetworkCamera& camera, const TalkTiming& timing, TalkListener listener, StreamFinder finder)
        : m_camera(camera),
          m_timing(timing),
          m_listener(std::move(listener)),
          m_finder(std::move(finder)),
          m_pauses(timing.camera) {}

    bool BeginAsking() {
        const std::lock_guard lock(m_mutex);
        m_askAgain = true;
        m_changed.notify_all();
        return !m_ended && !std::exchange(m_asking, true);
    }
    void Ask();

    struct Heard {
        bool fine = true;
        bool start = false;  // a thread
    };
    Heard Hear(std::span<const std::int16_t> samples);
    void Speak();
    void NoThread() {
        const std::lock_guard lock(m_mutex);
        m_asking = m_speaking = false;
    }

    void End() {
        const std::lock_guard lock(m_mutex);
        m_ended = true;
        m_changed.notify_all();
    }
    bool Ended() const {
        const std::lock_guard lock(m_mutex);
        return m_ended;
    }

private:
    std::string Find() const {
        if (!IsDeviceUrl(m_camera.url)) {
            return m_camera.url;
        }
        return m_finder ? m_finder(m_camera, 0, [this] { return Ended(); }).url : "";
    }
    void SpeakOn(BackChannel& channel);
    std::optional<std::vector<std::int16_t>> Next(std::size_t outstanding);
    bool WaitForSound(Clock::time_point until);
    void Fail(const std::string& words);

    const NetworkCamera m_camera;
    const TalkTiming m_timing;
    const TalkListener m_listener;
    const StreamFinder m_finder;
    CameraPauses m_pauses;  // of the thread that asks

    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_ended = false;
    bool m_asking = false;  // a thread is at it
    bool m_askAgain = false;
    bool m_speaking = false;  // as well
    bool m_failed = false;    // and nobody was told yet
    std::deque<std::int16_t> m_waiting;
    std::string m_told;  // the last trouble, and when
    Clock::time_point m_toldAt;
};

// The thread that asks, until there is an answer.
void Talked::Ask() {
    while (true) {
        {
            const std::lock_guard lock(m_mutex);
            m_askAgain = false;
        }
        bool known = false;
        try {
            const std::string url = Find();
            CameraOffer offer;
            if (IsRtsp(url)) {
                offer = AskOffer(
                    m_camera, url, [this] { return Ended(); }, Clock::now() + m_timing.open);
            }
            known = true;
            if (!Ended()) {
                m_listener.offers(offer);
            }
        } catch (const CameraError&) {
            // Whoever watches it is told what is wrong with it.
        } catch (const std::bad_alloc&) {
            // Later, then.
        }
        std::unique_lock lock(m_mutex);
        if (!known) {
            m_changed.wait_for(lock, m_pauses.Next({}), [this] { return m_ended || m_askAgain; });
        }
        if (m_ended || (known && !m_askAgain)) {
            m_pauses.Restart();
            m_asking = false;
            return;
        }
    }
}

Talked::Heard Talked::Hear(std::span<const std::int16_t> samples) {
    const std::lock_guard lock(m_mutex);
    if (m_ended || std::exchange(m_failed, false)) {
        return {false, false};
    }
    m_waiting.insert(m_waiting.end(), samples.begin(), samples.end());
    if (m_waiting.size() > kMostWaiting) {
        m_waiting.erase(m_waiting.begin(), m_waiting.end() - static_cast<std::ptrdiff_t>(kMostWaiting));
    }
    m_changed.notify_all();
    return {true, !std::exchange(m_speaking, true)};
}

// The thread that speaks, until there is nothing more to say.
void Talked::Speak() {
    while (true) {
        try {
            const std::string url = Find();
            if (!IsRtsp(url)) {
                throw CameraError(kPlaysNothing);
            }
            BackChannel channel(
                m_camera, url, [this] { return Ended(); }, Clock::now() + m_timing.open);
            SpeakOn(channel);
        } catch (const CameraError& failure) {
            Fail(failure.what());
            return;
        } catch (const std::exception&) {
            Fail(Fault(FaultCode::OutOfMemory).words);
            return;
        }
        // Something may have been said while the session was closed.
        const std::lock_guard lock(m_mutex);
        if (m_ended || m_waiting.size() < kPacket) {
            m_speaking = false;
            m_waiting.clear();
            return;
        }
    }
}

void Talked::Fail(const std::string& words) {
    {
        const std::lock_guard lock(m_mutex);
        m_speaking = false;
        m_waiting.clear();
        if (m_ended) {
            return;
        }
        m_failed = true;
        const auto now = Clock::now();
        if (m_told == words && now - m_toldAt < kQuiet) {
            return;
        }
        m_told = words;
        m_toldAt = now;
    }
    m_listener.fails(words);
}

// True when a packet can be had; false at the end and when nothing was said for the time.
bool Talked::WaitForSound(Clock::time_point until) {
    std::unique_lock lock(m_mutex);
    m_changed.wait_until(lock, until, [this] { return m_ended || m_waiting.size() >= kPacket; });
    return !m_ended && m_waiting.size() >= kPacket;
}

std::optional<std::vector<std::int16_t>> Talked::Next(std::size_t outstanding) {
    const std::lock_guard lock(m_mutex);
    while (m_waiting.size() >= kPacket && m_waiting.size() + outstanding > kMostWaiting) {
        m_waiting.erase(m_waiting.begin(), m_waiting.begin() + kPacket);
    }
    if (m_waiting.size() < kPacket) {
        return std::nullopt;
    }
    std::vector<std::int16_t> packet(m_waiting.begin(), m_waiting.begin() + kPacket);
    m_waiting.erase(m_waiting.begin(), m_waiting.begin() + kPacket);
    return packet;
}

void Talked::SpeakOn(BackChannel& channel) {
    SoundConfig form;
    form.format = channel.Format();
    const auto encoder = CreateSoundEncoder(form);
    const Clock::time_point begun = Clock::now();
    Clock::time_point taken = begun;  // the last packet, or when there was one to send
    bool goesOn = false;              // without a silence before it
    Clock::time_point due = begun;
    while (true) {
        channel.Keep();
        if (!goesOn) {
            const auto now = Clock::now();
            const bool sound = WaitForSound(std::min(now + kTalkLook, taken + m_timing.rest));
            if (!sound) {
                if (Ended() || Clock::now() >= taken + m_timing.rest) {
                    return;
                }
                continue;
            }
            taken = Clock::now();
            due = taken + kAhead;
        }
        {
            std::unique_lock lock(m_mutex);
            m_changed.wait_until(lock, due, [this] { return m_ended; });
        }
        const auto packet = Next(channel.Outstanding());
        if (!packet) {
            goesOn = false;
            continue;
        }
        const auto stamp = std::chrono::duration_cast<milliseconds>(due - begun).count() * kSamplesMs;
        if (channel.Send(encoder->Encode(*packet), static_cast<std::uint32_t>(stamp), !goesOn)) {
            taken = Clock::now();
        } else if (Clock::now() - taken > m_timing.stall) {
            throw CameraError("the camera takes nothing of what is said to it");
        }
        goesOn = true;
        due += kPacketTime;
    }
}

class RtspTalk final : public CameraTalk {
public:
    RtspTalk(std::shared_ptr<Talked> talked, std::shared_ptr<CameraThreads> threads)
        : m_talked(std::move(talked)), m_threads(std::move(threads)) {}
    ~RtspTalk() override { m_talked->End(); }
    RtspTalk(const RtspTalk&) = delete;
    RtspTalk& operator=(const RtspTalk&) = delete;

    void Start() override {
        if (!m_started.exchange(true)) {
            AskAgain();
        }
    }
    bool Say(std::span<const std::int16_t> samples) override {
        const Talked::Heard heard = m_talked->Hear(samples);
        return heard.fine && (!heard.start || Run([talked = m_talked] { talked->Speak(); }));
    }
    void AskAgain() override {
        if (m_talked->BeginAsking()) {
            Run([talked = m_talked] { talked->Ask(); });
        }
    }

private:
    bool Run(std::function<void()> work) {
        try {
            m_threads->Start(std::move(work));
            return true;
        } catch (const std::system_error&) {
            m_talked->NoThread();
            return false;
        }
    }

    std::atomic<bool> m_started{false};
    const std::shared_ptr<Talked> m_talked;
    const std::shared_ptr<CameraThreads> m_threads;
};

}  // namespace

CameraTalkMaker CreateCameraTalkMaker(const TalkTiming& timing, StreamFinder finder) {
    return [timing, finder = std::move(finder), threads = std::make_shared<CameraThreads>()](
               const NetworkCamera& camera, TalkListener listener) -> std::shared_ptr<CameraTalk> {
        if (!IsRtsp(camera.url) && !IsDeviceUrl(camera.url)) {
            return nullptr;
        }
        return std::make_shared<RtspTalk>(
            std::make_shared<Talked>(camera, timing, std::move(listener), finder), threads);
    };
}

}  // namespace kvrecorder
