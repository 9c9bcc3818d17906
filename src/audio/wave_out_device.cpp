#include "audio/wave_out_device.h"

#include <deque>
#include <mutex>
#include <new>

#include "audio/g711.h"
#include "platform/caught.h"

namespace kvmon {

namespace {

constexpr Milliseconds kStopTime{1000};

bool IsG726(std::uint16_t waveType) {
    return waveType == WAVE_FORMAT_G726_ADPCM || waveType == kWaveFormatZ726;
}

}  // namespace

// What the service thread works on. It outlives the device when the card does not let the thread go.
struct CWaveOutDevice::Service {
    Service(std::unique_ptr<SoundCard> soundCard, const SoundFlag& flag, const PcmFormat& pcm, Clock& waits)
        : card(std::move(soundCard)),
          audible(flag),
          format(pcm),
          maxWaiting(pcm.BytesPerSecond() * static_cast<std::size_t>(kMaxWaiting.count()) / 1000),
          maxBurst(pcm.BytesPerSecond() * static_cast<std::size_t>(kMaxBurst.count()) / 1000),
          clock(waits) {}

    using Block = std::vector<std::uint8_t>;

    void Add(Block block) {
        const std::lock_guard lock(mutex);
        if (requests.empty()) {
            late = false;
            emptyTick = clock.TickMs();
        }
        waiting += block.size();
        requests.push_back(std::move(block));
        // A burst is played and gone before the next one; what does not go is late for good.
        const std::uint64_t held = clock.TickMs() - emptyTick;
        late = late || waiting > maxBurst || held > static_cast<std::uint64_t>(kMaxBurst.count());
        while (late && waiting > maxWaiting && requests.size() > 1) {
            waiting -= requests.front().size();
            requests.pop_front();
            ++dropped;
        }
        wake.Set();
    }

    // Empty when nothing waits; the wake-up is then taken back.
    Block Take() {
        const std::lock_guard lock(mutex);
        if (!audible) {
            requests.clear();
            waiting = 0;
        }
        if (requests.empty()) {
            wake.Reset();
            return {};
        }
        Block block = std::move(requests.front());
        requests.pop_front();
        waiting -= block.size();
        return block;
    }

    void Run() {
        while (stop == 0) {
            if (!TryStep("CWaveOutDevice::Run", [this] { Serve(); })) {
                // The block in hand is lost; the next one tries again.
                card->Close();
                open = false;
            }
        }
        card->Close();
    }

    void Serve() {
        const Block block = Take();
        if (!block.empty()) {
            // Without a card the sound is dropped, and the next block tries again.
            open = open || card->Open(format);
            if (open) {
                card->Play(block);
            }
            return;
        }
        if (open && !WaitOrIdle()) {
            card->Close();
            open = false;
        }
        if (!open) {
            Event* const events[] = {&wake};
            clock.WaitAny(events, std::nullopt);
        }
    }

    // False when the open card has lain idle for long enough.
    bool WaitOrIdle() {
        Event* const events[] = {&wake};
        const std::uint64_t since = clock.TickMs();
        while (audible && clock.TickMs() - since < static_cast<std::uint64_t>(kIdle.count())) {
            if (clock.WaitAny(events, kSwitchLook) != kWaitTimeout) {
                return true;
            }
        }
        return false;
    }

    void Stop() {
        stop = 1;
        card->Cancel();
        wake.Set();
    }

    bool open = false;  // the service thread's alone
    const std::unique_ptr<SoundCard> card;
    const SoundFlag audible;
    const PcmFormat format;
    const std::size_t maxWaiting;
    const std::size_t maxBurst;
    Clock& clock;
    std::mutex mutex;
    std::deque<Block> requests;
    std::size_t waiting = 0;
    std::uint64_t emptyTick = 0;  // when nothing waited last
    bool late = false;            // more has waited since then than a burst
    std::uint64_t dropped = 0;
    Event wake;
    FlagWord stop{0};
};

CWaveOutDevice::CWaveOutDevice(SoundCardFactory factory, Clock& clock)
    : m_factory(std::move(factory)), m_clock(clock) {}

CWaveOutDevice::~CWaveOutDevice() {
    Close();
}

bool CWaveOutDevice::Open(const WaveFormats& formats) {
    const PcmFormat pcm{formats.outChannels, formats.outSampleBits, formats.outSamplesPerSecond};
    if (m_service || pcm.BytesPerSecond() == 0 || pcm.BytesPerSecond() > 1'000'000) {
        return false;
    }
    if (IsG726(formats.inWaveType)) {
        const auto packing =
            formats.inWaveType == WAVE_FORMAT_G726_ADPCM ? G726Packing::LowFirst : G726Packing::HighFirst;
        const std::uint64_t bitRate = std::uint64_t{formats.inSampleBits} * formats.inSamplesPerSecond;
        if (bitRate > 40000 || !m_codec.Open(formats.inChannels, formats.inSamplesPerSecond,
                                             static_cast<std::uint32_t>(bitRate), packing)) {
            return false;
        }
    }
    m_formats = formats;
    auto service = std::make_shared<Service>(m_factory(*m_audible), *m_audible, pcm, m_clock);
    if (!m_thread.Start("sound", [service] { service->Run(); })) {
        m_codec.Close();
        return false;
    }
    m_service = std::move(service);
    return true;
}

void CWaveOutDevice::Close() {
    if (!m_service) {
        return;
    }
    m_service->Stop();
    if (!m_thread.Wait(kStopTime)) {
        m_thread.Abandon();
    }
    m_service.reset();
    m_codec.Close();
}

void CWaveOutDevice::SetSwitch(const SoundFlag& audible) {
    m_audible = std::make_unique<const SoundFlag>(audible);
}

bool CWaveOutDevice::Write(std::span<const std::uint8_t> data) {
    if (!m_service || data.empty()) {
        return false;
    }
    try {
        std::vector<std::uint8_t> pcm = Convert(data);
        if (!pcm.empty()) {
            m_service->Add(std::move(pcm));
        }
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

std::vector<std::uint8_t> CWaveOutDevice::Convert(std::span<const std::uint8_t> data) {
    m_samples.clear();
    if (IsG726(m_formats.inWaveType)) {
        m_codec.Decode(data, m_samples);
    } else if (m_formats.inWaveType == WAVE_FORMAT_ALAW || m_formats.inWaveType == WAVE_FORMAT_MULAW) {
        const auto expand = m_formats.inWaveType == WAVE_FORMAT_ALAW ? ExpandALaw : ExpandMuLaw;
        for (const std::uint8_t code : data) {
            m_samples.push_back(expand(code));
        }
    } else {
        return {data.begin(), data.end()};
    }
    std::vector<std::uint8_t> pcm;
    pcm.reserve(m_samples.size() * 2);
    for (const std::int16_t sample : m_samples) {
        pcm.push_back(static_cast<std::uint8_t>(sample));
        pcm.push_back(static_cast<std::uint8_t>(sample >> 8));
    }
    return pcm;
}

std::uint64_t CWaveOutDevice::DroppedBlocks() const {
    if (!m_service) {
        return 0;
    }
    const std::lock_guard lock(m_service->mutex);
    return m_service->dropped;
}

}  // namespace kvmon
