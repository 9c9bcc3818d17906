#include "media/sound_hub.h"

#include <vector>

#include "media/scheduler.h"
#include "media/sound_coder.h"
#include "media/stream_feed.h"

namespace kvrecorder {
namespace {

constexpr MediaTime kBlockTime{40'000};
// A sound that is later than this leaves out what is past.
constexpr MediaTime kMostLate{400'000};

// A sound and its listeners.
class Sound {
public:
    Sound(std::shared_ptr<MediaClock> clock, int channel, const SoundConfig& config)
        : m_clock(std::move(clock)),
          m_channel(channel),
          m_config(config),
          m_block(BlockOf(config)),
          m_source(CreateSoundSource(channel, config)),
          m_samples(static_cast<std::size_t>(config.rate) * static_cast<std::size_t>(kBlockTime.count()) /
                    1'000'000),
          m_encoder(CreateSoundEncoder(config)) {}

    bool Is(int channel, const SoundConfig& config) const {
        return channel == m_channel && config == m_config;
    }
    StreamFeed& Feed() { return m_feed; }

    std::optional<MediaTime> Work() {
        if (!m_feed.Watched()) {
            m_feed.Forget();
            m_running = false;
            return std::nullopt;
        }
        const MediaTime now = m_clock->Now();
        if (!m_running) {
            Restart(now);
        }
        m_feed.Begin();
        if (now - m_due > kMostLate) {
            const auto missed = (now - m_due) / kBlockTime;
            m_due += missed * kBlockTime;
            m_next += static_cast<std::uint64_t>(missed) * m_samples.size();
        }
        for (; m_due <= now; m_due += kBlockTime) {
            Give();
        }
        return m_due;
    }

private:
    void Restart(MediaTime now) {
        m_running = true;
        m_begun = m_due = now;
        m_next = 0;
        // The first listener's decoder begins with a new coder.
        m_encoder = CreateSoundEncoder(m_config);
    }

    void Give() {
        m_source->Fill(m_next, m_samples);
        m_next += m_samples.size();
        auto packet = std::make_shared<Packet>();
        packet->fourcc = m_block.fourcc;
        packet->soundRate = m_block.rate;
        packet->soundBits = m_block.bits;
        packet->soundChannels = m_block.channels;
        packet->key = true;  // each stands alone
        packet->timeMs = (m_due - m_begun).count() / 1000;
        packet->data = m_encoder->Encode(m_samples);
        m_feed.Publish(std::move(packet), PacketOrigin::Encoded);
    }

    const std::shared_ptr<MediaClock> m_clock;
    const int m_channel;
    const SoundConfig m_config;
    const SoundBlock m_block;
    const std::unique_ptr<SoundSource> m_source;
    StreamFeed m_feed;
    // Used by the sound's thread alone.
    std::vector<std::int16_t> m_samples;
    std::unique_ptr<SoundEncoder> m_encoder;
    bool m_running = false;
    MediaTime m_begun{};
    MediaTime m_due{};
    std::uint64_t m_next = 0;
};

class SoundSubscription final : public Subscription {
public:
    SoundSubscription(std::shared_ptr<Sound> sound, std::shared_ptr<StreamFeed::Watcher> watcher)
        : m_sound(std::move(sound)), m_watcher(std::move(watcher)) {}
    ~SoundSubscription() override { m_sound->Feed().Unwatch(m_watcher); }

private:
    const std::shared_ptr<Sound> m_sound;
    const std::shared_ptr<StreamFeed::Watcher> m_watcher;
};

class HubOfSound final : public SoundHub {
public:
    explicit HubOfSound(std::shared_ptr<MediaClock> clock)
        : m_clock(std::move(clock)), m_scheduler(m_clock, 1) {}

    std::unique_ptr<Subscription> Subscribe(int channel, const SoundConfig& config,
                                            std::function<void(const PacketPtr&)> sink) override {
        const std::lock_guard lock(m_mutex);
        std::size_t number = 0;
        while (number < m_sounds.size() && !m_sounds[number]->Is(channel, config)) {
            ++number;
        }
        if (number == m_sounds.size()) {
            const auto sound = std::make_shared<Sound>(m_clock, channel, config);
            m_sounds.reserve(number + 1);
            // The tasks' numbers are the sounds'.
            m_scheduler.Add([sound] { return sound->Work(); });
            m_sounds.push_back(sound);
        }
        auto watcher = m_sounds[number]->Feed().Watch(std::move(sink));
        m_scheduler.Wake(static_cast<int>(number));
        return std::make_unique<SoundSubscription>(m_sounds[number], std::move(watcher));
    }

private:
    const std::shared_ptr<MediaClock> m_clock;
    std::mutex m_mutex;
    std::vector<std::shared_ptr<Sound>> m_sounds;
    Scheduler m_scheduler;  // last: its thread ends before the rest goes
};

}  // namespace

std::unique_ptr<SoundHub> CreateSoundHub(std::shared_ptr<MediaClock> clock) {
    return std::make_unique<HubOfSound>(clock ? std::move(clock) : std::make_shared<SystemMediaClock>());
}

}  // namespace kvrecorder
