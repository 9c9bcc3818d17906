#include "audio/sound_card.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <vector>

#include "audio/sdl_sound.h"
#include "audio/sound_host.h"
#include "platform/diagnostics.h"

namespace kvmon {

namespace {

// So much may lie unplayed in the card before a block has to wait.
constexpr std::size_t kAheadPerSecond = 5;
// A card that could not be opened is left alone for so long: each try may cost the sound service's time.
constexpr std::chrono::seconds kNextTry{2};
using SteadyClock = std::chrono::steady_clock;

// One card at a time: that of a camera that has just been switched off is still being given back when the
// next camera's sound comes. One that hangs is not waited for.
class Turn {
public:
    void Take() {
        std::unique_lock lock(m_mutex);
        m_freed.wait_for(lock, kLongest, [this] { return m_taken == 0; });
        ++m_taken;
    }
    void Give() {
        const std::lock_guard lock(m_mutex);
        --m_taken;
        m_freed.notify_all();
    }

private:
    static constexpr std::chrono::milliseconds kLongest{150};

    std::mutex m_mutex;
    std::condition_variable m_freed;
    int m_taken = 0;
};

Turn& CardTurn() {
    static Turn turn;
    return turn;
}

class SdlSoundCard final : public SoundCard {
public:
    explicit SdlSoundCard(const SoundFlag& audible) : m_audible(audible) {}
    ~SdlSoundCard() override { Close(); }

    bool Open(const PcmFormat& format) override {
        Close();
        m_library = SteadyClock::now() < m_nextTry ? nullptr : InitSound();
        if (m_library == nullptr || (format.sampleBits != 16 && format.sampleBits != 8)) {
            return false;
        }
        SDL_AudioSpec wanted{};
        wanted.freq = static_cast<int>(format.samplesPerSecond);
        wanted.format = format.sampleBits == 16 ? AUDIO_S16LSB : AUDIO_U8;
        wanted.channels = static_cast<std::uint8_t>(format.channels);
        wanted.samples = 512;
        wanted.callback = [](void* self, std::uint8_t* out, int length) {
            static_cast<SdlSoundCard*>(self)->Fill({out, static_cast<std::size_t>(length)});
        };
        wanted.userdata = this;
        m_silence = format.sampleBits == 16 ? 0 : 0x80;
        m_ahead = format.BytesPerSecond() / kAheadPerSecond;
        const SoundErrors errors;
        CardTurn().Take();
        m_device = m_library->openAudioDevice(nullptr, 0, &wanted, nullptr, 0);
        if (m_device == 0) {
            CardTurn().Give();
            if (m_nextTry == SteadyClock::time_point{}) {
                Diagnose("SoundCard: the output cannot be opened: %s\n", m_library->getError());
            }
            m_nextTry = SteadyClock::now() + kNextTry;
            return false;
        }
        m_library->pauseAudioDevice(m_device, 0);
        return true;
    }

    bool Play(std::span<const std::uint8_t> block) override {
        std::unique_lock lock(m_mutex);
        m_roomMade.wait(lock, [this] { return m_cancelled || Unplayed() < m_ahead; });
        if (m_cancelled) {
            return false;
        }
        m_waiting.erase(m_waiting.begin(), m_waiting.begin() + static_cast<std::ptrdiff_t>(m_played));
        m_played = 0;
        m_waiting.insert(m_waiting.end(), block.begin(), block.end());
        return true;
    }

    void Close() override {
        if (m_device != 0) {
            m_library->closeAudioDevice(m_device);  // waits for the callback under way
            m_device = 0;
            CardTurn().Give();
        }
        const std::lock_guard lock(m_mutex);
        m_waiting.clear();
        m_played = 0;
    }

    void Cancel() override {
        const std::lock_guard lock(m_mutex);
        m_cancelled = true;
        m_roomMade.notify_all();
    }

private:
    std::size_t Unplayed() const { return m_waiting.size() - m_played; }

    // The sound service's thread asks for what comes next.
    void Fill(std::span<std::uint8_t> out) {
        const std::lock_guard lock(m_mutex);
        if (!m_audible) {
            m_played = m_waiting.size();
        }
        const std::size_t count = std::min(out.size(), Unplayed());
        const auto from = m_waiting.begin() + static_cast<std::ptrdiff_t>(m_played);
        std::copy_n(from, count, out.begin());
        std::fill(out.begin() + static_cast<std::ptrdiff_t>(count), out.end(), m_silence);
        m_played += count;
        m_roomMade.notify_all();
    }

    const SoundFlag m_audible;
    SteadyClock::time_point m_nextTry{};
    const SoundLibrary* m_library = nullptr;
    SDL_AudioDeviceID m_device = 0;
    std::uint8_t m_silence = 0;
    std::size_t m_ahead = 0;
    std::mutex m_mutex;
    std::condition_variable m_roomMade;
    std::vector<std::uint8_t> m_waiting;
    std::size_t m_played = 0;
    bool m_cancelled = false;
};

}  // namespace

std::unique_ptr<SoundCard> CreateSoundCard(const SoundFlag& audible) {
    const SoundHost* const host = GetSoundHost();
    return host != nullptr ? host->output(audible) : std::make_unique<SdlSoundCard>(audible);
}

bool HasSoundOutput() {
    if (GetSoundHost() != nullptr) {
        return true;
    }
    const SoundErrors errors;
    const SoundLibrary* const library = InitSound();
    return library != nullptr && library->getNumAudioDevices(0) != 0;
}

}  // namespace kvmon
