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
        : clock_(std::move(clock)),
          channel_(channel),
          config_(config),
          block_(BlockOf(config)),
          source_(CreateSoundSource(channel, config)),
          samples_(static_cast<std::size_t>(config.rate) * static_cast<std::size_t>(kBlockTime.count()) /
                   1'000'000),
          encoder_(CreateSoundEncoder(config)) {}

    bool Is(int channel, const SoundConfig& config) const { return channel == channel_ && config == config_; }
    StreamFeed& Feed() { return feed_; }

    std::optional<MediaTime> Work() {
        if (!feed_.Watched()) {
            feed_.Forget();
            running_ = false;
            return std::nullopt;
        }
        const MediaTime now = clock_->Now();
        if (!running_) {
            Restart(now);
        }
        feed_.Begin();
        if (now - due_ > kMostLate) {
            const auto missed = (now - due_) / kBlockTime;
            due_ += missed * kBlockTime;
            next_ += static_cast<std::uint64_t>(missed) * samples_.size();
        }
        for (; due_ <= now; due_ += kBlockTime) {
            Give();
        }
        return due_;
    }

private:
    void Restart(MediaTime now) {
        running_ = true;
        begun_ = due_ = now;
        next_ = 0;
        // Its first listener's decoder begins with it.
        encoder_ = CreateSoundEncoder(config_);
    }

    void Give() {
        source_->Fill(next_, samples_);
        next_ += samples_.size();
        auto packet = std::make_shared<Packet>();
        packet->fourcc = block_.fourcc;
        packet->soundRate = block_.rate;
        packet->soundBits = block_.bits;
        packet->soundChannels = block_.channels;
        packet->key = true;  // each stands alone
        packet->timeMs = (due_ - begun_).count() / 1000;
        packet->data = encoder_->Encode(samples_);
        feed_.Publish(std::move(packet), true);
    }

    const std::shared_ptr<MediaClock> clock_;
    const int channel_;
    const SoundConfig config_;
    const SoundBlock block_;
    const std::unique_ptr<SoundSource> source_;
    StreamFeed feed_;
    // Of the sound's thread.
    std::vector<std::int16_t> samples_;
    std::unique_ptr<SoundEncoder> encoder_;
    bool running_ = false;
    MediaTime begun_{};
    MediaTime due_{};
    std::uint64_t next_ = 0;
};

class SoundSubscription final : public Subscription {
public:
    SoundSubscription(std::shared_ptr<Sound> sound, std::shared_ptr<StreamFeed::Watcher> watcher)
        : sound_(std::move(sound)), watcher_(std::move(watcher)) {}
    ~SoundSubscription() override { sound_->Feed().Unwatch(watcher_); }

private:
    const std::shared_ptr<Sound> sound_;
    const std::shared_ptr<StreamFeed::Watcher> watcher_;
};

class Hub final : public SoundHub {
public:
    explicit Hub(std::shared_ptr<MediaClock> clock) : clock_(clock), scheduler_(clock, 1) {}

    std::unique_ptr<Subscription> Subscribe(int channel, const SoundConfig& config,
                                            std::function<void(const PacketPtr&)> sink) override {
        const std::lock_guard lock(mutex_);
        std::size_t number = 0;
        while (number < sounds_.size() && !sounds_[number]->Is(channel, config)) {
            ++number;
        }
        if (number == sounds_.size()) {
            const auto sound = std::make_shared<Sound>(clock_, channel, config);
            sounds_.push_back(sound);
            // The tasks' numbers are the sounds'.
            scheduler_.Add([sound] { return sound->Work(); });
        }
        auto watcher = sounds_[number]->Feed().Watch(std::move(sink));
        scheduler_.Wake(static_cast<int>(number));
        return std::make_unique<SoundSubscription>(sounds_[number], std::move(watcher));
    }

private:
    const std::shared_ptr<MediaClock> clock_;
    std::mutex mutex_;
    std::vector<std::shared_ptr<Sound>> sounds_;
    Scheduler scheduler_;  // last: its thread ends before the rest goes
};

}  // namespace

std::unique_ptr<SoundHub> CreateSoundHub(std::shared_ptr<MediaClock> clock) {
    return std::make_unique<Hub>(clock ? std::move(clock) : std::make_shared<SystemMediaClock>());
}

}  // namespace kvrecorder
