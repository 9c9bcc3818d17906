#include "audio/sound_in.h"

#include <cmath>
#include <cstdlib>

#include "platform/caught.h"

namespace kvmon {

namespace {

constexpr double kFloorDb = 40;
constexpr double kSilenceDb = -1000000;

}  // namespace

int TalkLevel(std::span<const std::int16_t> samples) {
    float mean = 0;
    for (const std::int16_t sample : samples) {
        mean = (static_cast<float>(std::abs(int{sample})) + mean) / 2;
    }
    const double dB = mean > 0 ? 20 * std::log10(static_cast<double>(mean) / 32768) : kSilenceDb;
    return static_cast<int>((dB + kFloorDb) * 100 / kFloorDb);
}

// What the thread works on; it goes on with this alone when nobody waits for it.
struct CSoundIn::Recording {
    void Run() {
        bool bHeard = false;
        const bool bDone = TryStep("CSoundIn::Run", [&] {
            std::vector<std::int16_t> block(bufferSamples);
            bHeard = microphone->Read(block);
            while (bHeard && !stop && callback(block)) {
                bHeard = microphone->Read(block);
            }
        });
        microphone->Close();
        if ((!bDone || !bHeard) && !stop && failed) {
            failed();
        }
    }

    std::unique_ptr<Microphone> microphone;
    Callback callback;
    std::function<void()> failed;
    std::size_t bufferSamples = 0;
    std::atomic<bool> stop{false};
};

CSoundIn::~CSoundIn() {
    Stop();
}

bool CSoundIn::Start() {
    {
        const std::lock_guard lock(m_mutex);
        if (m_stopped || m_recording || !m_callback || m_bufferSamples == 0) {
            return false;
        }
    }
    auto recording = std::make_shared<Recording>();
    recording->microphone = m_factory();
    recording->callback = m_callback;
    recording->failed = m_failed;
    recording->bufferSamples = m_bufferSamples;
    if (!recording->microphone || !recording->microphone->Open(m_format)) {
        return false;
    }
    const std::lock_guard lock(m_mutex);
    if (m_stopped) {
        return true;  // told to stop meanwhile: nothing begins
    }
    m_recording = recording;
    return m_thread.Start("sound-in", [recording] { recording->Run(); });
}

bool CSoundIn::IsEnded() {
    const std::lock_guard lock(m_mutex);
    return m_thread.Wait(Milliseconds(0));
}

void CSoundIn::Stop() {
    const std::lock_guard lock(m_mutex);
    m_stopped = true;
    if (m_recording) {
        m_recording->stop = true;
        m_recording->microphone->Cancel();
    }
}

}  // namespace kvmon
