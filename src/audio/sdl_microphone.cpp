#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <deque>
#include <mutex>

#include "audio/microphone.h"
#include "audio/sdl_sound.h"
#include "audio/sound_host.h"
#include "platform/diagnostics.h"

namespace kvmon {

namespace {

// An input that says nothing for so long has failed.
constexpr std::chrono::seconds kSilentInput{3};

class SdlMicrophone final : public Microphone {
public:
    ~SdlMicrophone() override { Close(); }

    bool Open(const PcmFormat& format) override {
        Close();
        m_library = InitSound();
        if (m_library == nullptr || format.sampleBits != 16) {
            return false;
        }
        m_most = format.BytesPerSecond() / sizeof(std::int16_t) * 3 / 4;
        SDL_AudioSpec wanted{};
        wanted.freq = static_cast<int>(format.samplesPerSecond);
        wanted.format = AUDIO_S16SYS;
        wanted.channels = static_cast<std::uint8_t>(format.channels);
        wanted.samples = 512;
        wanted.callback = [](void* self, std::uint8_t* in, int length) {
            // The library hands its samples out as bytes, aligned for them.
            static_cast<SdlMicrophone*>(self)->Take(
                {static_cast<const std::int16_t*>(static_cast<const void*>(in)),
                 static_cast<std::size_t>(length) / sizeof(std::int16_t)});
        };
        wanted.userdata = this;
        const SoundErrors errors;
        m_device = m_library->openAudioDevice(nullptr, 1, &wanted, nullptr, 0);
        if (m_device == 0) {
            Diagnose("Microphone: the input cannot be opened: %s\n", m_library->getError());
            return false;
        }
        m_library->pauseAudioDevice(m_device, 0);
        return true;
    }

    bool Read(std::span<std::int16_t> block) override {
        std::unique_lock lock(m_mutex);
        std::size_t seen = m_heard.size();
        while (!m_cancelled && m_heard.size() < block.size()) {
            m_changed.wait_for(lock, kSilentInput, [&] { return m_cancelled || m_heard.size() != seen; });
            if (m_heard.size() == seen) {
                return false;
            }
            seen = m_heard.size();
        }
        if (m_cancelled) {
            return false;
        }
        const auto end = m_heard.begin() + static_cast<std::ptrdiff_t>(block.size());
        std::copy(m_heard.begin(), end, block.begin());
        m_heard.erase(m_heard.begin(), end);
        return true;
    }

    void Close() override {
        if (m_device != 0) {
            m_library->closeAudioDevice(m_device);  // waits for the callback under way
            m_device = 0;
        }
        const std::lock_guard lock(m_mutex);
        m_heard.clear();
    }

    void Cancel() override {
        const std::lock_guard lock(m_mutex);
        m_cancelled = true;
        m_changed.notify_all();
    }

private:
    // On the sound service's thread.
    void Take(std::span<const std::int16_t> samples) {
        const std::lock_guard lock(m_mutex);
        const std::size_t count = std::min(samples.size(), m_most - std::min(m_heard.size(), m_most));
        m_heard.insert(m_heard.end(), samples.begin(), samples.begin() + static_cast<std::ptrdiff_t>(count));
        m_changed.notify_all();
    }

    const SoundLibrary* m_library = nullptr;
    SDL_AudioDeviceID m_device = 0;
    std::size_t m_most = 0;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<std::int16_t> m_heard;
    bool m_cancelled = false;
};

}  // namespace

std::unique_ptr<Microphone> CreateMicrophone() {
    const char* const file = std::getenv("KVMON_MICROPHONE");
    if (file != nullptr && *file != '\0') {
        return CreateFileMicrophone(file);
    }
    const SoundHost* const host = GetSoundHost();
    return host != nullptr ? host->input() : std::make_unique<SdlMicrophone>();
}

}  // namespace kvmon
