#include "web/session/page_sound.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace kvmon {

namespace {

using SteadyClock = std::chrono::steady_clock;

// So much may be ahead of the time it is heard before a block has to wait.
constexpr std::chrono::milliseconds kAhead{200};
constexpr std::size_t kMostHeard = PageSound::kMicrophoneRate * 3 / 4;

class PageSoundCard final : public SoundCard {
public:
    PageSoundCard(std::shared_ptr<PageSound> page, const SoundFlag& audible)
        : m_page(std::move(page)), m_audible(audible) {}

    bool Open(const PcmFormat& format) override {
        m_format = format;
        m_until = {};
        return format.BytesPerSecond() > 0 && (format.sampleBits == 16 || format.sampleBits == 8);
    }

    // At the pace of what is heard, as any card.
    bool Play(std::span<const std::uint8_t> block) override {
        std::unique_lock lock(m_mutex);
        m_wake.wait_until(lock, m_until - kAhead, [this] { return m_cancelled; });
        if (m_cancelled) {
            return false;
        }
        const std::chrono::microseconds length(block.size() * 1000000 / m_format.BytesPerSecond());
        m_until = std::max(m_until, SteadyClock::now()) + length;
        if (m_audible) {
            m_page->Send(m_format, block);
        }
        return true;
    }

    void Close() override { m_until = {}; }

    void Cancel() override {
        const std::lock_guard lock(m_mutex);
        m_cancelled = true;
        m_wake.notify_all();
    }

private:
    const std::shared_ptr<PageSound> m_page;
    const SoundFlag m_audible;
    PcmFormat m_format;
    SteadyClock::time_point m_until{};
    std::mutex m_mutex;
    std::condition_variable m_wake;
    bool m_cancelled = false;
};

class PageMicrophone final : public Microphone {
public:
    explicit PageMicrophone(std::shared_ptr<PageSound> page) : m_page(std::move(page)) {}
    ~PageMicrophone() override { Close(); }

    bool Open(const PcmFormat& format) override {
        Close();
        if (format.sampleBits != 16 || format.channels != 1 ||
            format.samplesPerSecond != PageSound::kMicrophoneRate) {
            return false;
        }
        m_bOpen = true;
        m_page->Record(true);
        return true;
    }
    bool Read(std::span<std::int16_t> block) override { return m_page->ReadMicrophone(block, m_cancelled); }
    void Close() override {
        if (std::exchange(m_bOpen, false)) {
            m_page->Record(false);
        }
    }
    void Cancel() override {
        m_cancelled = true;
        m_page->Wake();
    }

private:
    const std::shared_ptr<PageSound> m_page;
    bool m_bOpen = false;
    std::atomic<bool> m_cancelled = false;
};

}  // namespace

void PageSound::SetSession(Session session) {
    const std::lock_guard lock(m_sessionMutex);
    m_session = std::move(session);
}

SoundHost PageSound::MakeHost() {
    const auto self = shared_from_this();
    return {[self](const SoundFlag& audible) { return std::make_unique<PageSoundCard>(self, audible); },
            [self] { return std::make_unique<PageMicrophone>(self); }};
}

void PageSound::Send(const PcmFormat& format, std::span<const std::uint8_t> block) {
    const std::lock_guard lock(m_sessionMutex);
    if (m_session.send) {
        m_session.send(format, block);
    }
}

void PageSound::Record(bool bOn) {
    {
        const std::lock_guard lock(m_heardMutex);
        m_heard.clear();
        m_bHears = m_bLost = false;
    }
    const std::lock_guard lock(m_sessionMutex);
    if (m_session.record) {
        m_session.record(bOn);
    }
}

void PageSound::Take(std::span<const std::int16_t> samples) {
    const std::lock_guard lock(m_heardMutex);
    m_bHears = true;
    const std::size_t count = std::min(samples.size(), kMostHeard - std::min(m_heard.size(), kMostHeard));
    m_heard.insert(m_heard.end(), samples.begin(), samples.begin() + static_cast<std::ptrdiff_t>(count));
    m_changed.notify_all();
}

void PageSound::LoseMicrophone() {
    const std::lock_guard lock(m_heardMutex);
    m_bLost = true;
    m_changed.notify_all();
}

bool PageSound::ReadMicrophone(std::span<std::int16_t> block, const std::atomic<bool>& cancelled) {
    std::unique_lock lock(m_heardMutex);
    std::size_t seen = m_heard.size();
    while (!cancelled && m_heard.size() < block.size()) {
        const auto patience = m_bHears ? m_patience.silent : m_patience.asked;
        m_changed.wait_for(lock, patience, [&] { return cancelled || m_bLost || m_heard.size() != seen; });
        if (m_bLost || m_heard.size() == seen) {
            return false;
        }
        seen = m_heard.size();
    }
    if (cancelled) {
        return false;
    }
    const auto end = m_heard.begin() + static_cast<std::ptrdiff_t>(block.size());
    std::copy(m_heard.begin(), end, block.begin());
    m_heard.erase(m_heard.begin(), end);
    return true;
}

void PageSound::Wake() {
    const std::lock_guard lock(m_heardMutex);
    m_changed.notify_all();
}

}  // namespace kvmon
