// Recording: blocks of a microphone's sound, one after the other.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <vector>

#include "audio/microphone.h"
#include "platform/worker.h"

namespace kvmon {

// The meter's value for a block: 0 at 40 dB below the greatest, 100 at the greatest. The mean runs on from
// sample to sample, so that it tells how the block ended; silence is far below 0.
int TalkLevel(std::span<const std::int16_t> samples);

// 16-bit mono sound at 8000 samples a second. The operations never wait for the sound that is recorded.
class CSoundIn {
public:
    // Runs on the recording's own thread, once for each block; may wait, the microphone keeps a little
    // meanwhile. False ends the recording.
    using Callback = std::function<bool(std::span<const std::int16_t> block)>;

    explicit CSoundIn(MicrophoneFactory factory = CreateMicrophone) : m_factory(std::move(factory)) {}
    // Stops; a thread that has not ended yet is let go, and owns what it touches.
    ~CSoundIn();

    void SetCallback(Callback callback) { m_callback = std::move(callback); }
    // Called by the recording's own thread when the microphone gives nothing any more, and nobody has asked
    // for the end.
    void SetFailed(std::function<void()> failed) { m_failed = std::move(failed); }
    void SetBufferSamples(std::uint32_t samples) { m_bufferSamples = samples; }
    void SetSampleBits(std::uint16_t bits) { m_format.sampleBits = bits; }

    // Opens the microphone, which may take as long as the sound service does, and begins. False without a
    // microphone or a callback, or if it runs.
    bool Start();
    // Asks the recording to end; a block in hand may still be handed on. It does not start again. Any thread.
    void Stop();
    // No thread of a recording is left. Any thread.
    bool IsEnded();

private:
    struct Recording;

    const MicrophoneFactory m_factory;
    Callback m_callback;
    std::function<void()> m_failed;
    PcmFormat m_format;
    std::uint32_t m_bufferSamples = 2000;
    std::mutex m_mutex;  // guards what follows
    bool m_stopped = false;
    std::shared_ptr<Recording> m_recording;
    Worker m_thread;
};

}  // namespace kvmon
