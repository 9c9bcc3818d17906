#include "media/media_hub.h"

#include <algorithm>
#include <deque>
#include <shared_mutex>
#include <stdexcept>
#include <thread>

#include "media/av_ptr.h"
#include "media/motion_watch.h"
#include "media/picture_source.h"
#include "media/scene.h"
#include "media/scheduler.h"
#include "media/stream_feed.h"

namespace kvrecorder {
namespace {

// After a source failed.
constexpr MediaTime kRetry{1'000'000};

// Hands on what channels tell.
class Reporter {
public:
    void Set(MediaListener listener) {
        const std::unique_lock lock(mutex_);
        listener_ = std::move(listener);
    }
    void Report(int channel, MediaEvent event, bool on) {
        const std::shared_lock lock(mutex_);
        if (listener_) {
            listener_(channel, event, on);
        }
    }

private:
    std::shared_mutex mutex_;
    MediaListener listener_;
};

std::unique_ptr<MotionWatch> MakeMotionWatch(int channel, const SourceConfig& source) {
    if (!source.watchMotion || !source.file.empty()) {
        return nullptr;
    }
    return std::make_unique<MotionWatch>(SceneOf(channel, source.scene), channel, source.camera);
}

// A channel's work, and all that its threads touch.
class Channel final : public SourceOutput {
public:
    Channel(std::shared_ptr<MediaClock> clock, std::shared_ptr<Reporter> reporter, int number,
            std::string name, const SourceConfig& source)
        : clock_(std::move(clock)),
          reporter_(std::move(reporter)),
          number_(number),
          source_(source.file.empty() ? CreateSceneSource(number, source) : CreateFileSource(source)),
          motion_(MakeMotionWatch(number, source)),
          streams_(source_->Streams()),
          feeds_(streams_.size()),
          name_(std::move(name)) {}

    const std::vector<StreamDescription>& Streams() const { return streams_; }

    void Rename(const std::string& name) {
        const std::lock_guard lock(nameMutex_);
        name_ = name;
    }

    StreamFeed& Feed(int stream) { return feeds_[static_cast<std::size_t>(stream)]; }

    std::optional<MediaTime> Work() {
        round_.wanted.assign(feeds_.size(), false);
        bool any = false;
        for (std::size_t i = 0; i < feeds_.size(); ++i) {
            round_.wanted[i] = feeds_[i].Watched();
            any = any || round_.wanted[i];
            if (!round_.wanted[i]) {
                feeds_[i].Forget();
            }
            feeds_[i].Begin();
        }
        if (!any) {
            source_->Sleep();
            return std::nullopt;
        }
        {
            const std::lock_guard lock(nameMutex_);
            round_.name = name_;
        }
        round_.now = clock_->Now();
        round_.wall = clock_->WallTime();
        try {
            const MediaTime next = source_->Run(round_, *this);
            Tell(false);
            return next;
        } catch (const std::exception&) {
            source_->Sleep();
            Tell(true);
            return round_.now + kRetry;
        }
    }

    // Beside the pictures' work, and maybe at the same time.
    std::optional<MediaTime> WatchMotion() {
        if (!motion_) {
            return std::nullopt;
        }
        const MediaTime now = clock_->Now();
        if (const auto turn = motion_->Look(now)) {
            reporter_->Report(number_, MediaEvent::Motion, *turn);
        }
        return now + MotionWatch::kPause;
    }

    void Give(int stream, PacketPtr packet, bool encoded) override {
        Feed(stream).Publish(std::move(packet), encoded);
    }
    void Skipped(int stream, std::int64_t pictures) override { Feed(stream).CountSkipped(pictures); }

private:
    void Tell(bool lost) {
        if (lost != lost_) {
            lost_ = lost;
            reporter_->Report(number_, MediaEvent::Lost, lost);
        }
    }

    const std::shared_ptr<MediaClock> clock_;
    const std::shared_ptr<Reporter> reporter_;
    const int number_;
    const std::unique_ptr<PictureSource> source_;
    const std::unique_ptr<MotionWatch> motion_;
    const std::vector<StreamDescription> streams_;
    std::deque<StreamFeed> feeds_;
    SourceRound round_;
    bool lost_ = false;
    std::mutex nameMutex_;
    std::string name_;
};

class FeedSubscription final : public Subscription {
public:
    // Keeps the channel, as it may outlive the hub.
    FeedSubscription(std::shared_ptr<Channel> channel, int stream,
                     std::shared_ptr<StreamFeed::Watcher> watcher)
        : channel_(std::move(channel)), stream_(stream), watcher_(std::move(watcher)) {}
    ~FeedSubscription() override { channel_->Feed(stream_).Unwatch(watcher_); }

private:
    const std::shared_ptr<Channel> channel_;
    const int stream_;
    const std::shared_ptr<StreamFeed::Watcher> watcher_;
};

class Hub final : public MediaHub {
public:
    Hub(std::shared_ptr<MediaClock> clock, int threads) : clock_(clock), scheduler_(clock, threads) {}

    int AddChannel(const std::string& name, const SourceConfig& source) override {
        const std::unique_lock lock(mutex_);
        const int number = static_cast<int>(channels_.size());
        channels_.push_back(Make(number, name, source));
        tasks_.push_back({scheduler_.Add([this, number] { return Find(number)->Work(); }),
                          scheduler_.Add([this, number] { return Find(number)->WatchMotion(); })});
        scheduler_.Wake(tasks_.back().motion);
        return number;
    }

    void ReplaceSource(int channel, const std::string& name, const SourceConfig& source) override {
        if (!Find(channel)) {
            return;
        }
        // A file takes its time to open, and the others go on meanwhile.
        auto fresh = Make(channel, name, source);
        const std::unique_lock lock(mutex_);
        channels_[static_cast<std::size_t>(channel)].swap(fresh);
        scheduler_.Wake(TasksOf(channel).motion);
    }

    void SetListener(MediaListener listener) override { reporter_->Set(std::move(listener)); }

    void RenameChannel(int channel, const std::string& name) override {
        if (const auto found = Find(channel)) {
            found->Rename(name);
        }
    }

    std::vector<StreamDescription> Streams(int channel) const override {
        const auto found = Find(channel);
        return found ? found->Streams() : std::vector<StreamDescription>{};
    }

    std::unique_ptr<Subscription> Subscribe(int channel, int stream,
                                            std::function<void(const PacketPtr&)> sink) override {
        const auto found = Find(channel);
        if (!found || !sink) {
            return nullptr;
        }
        const bool inRange = stream >= 0 && stream < static_cast<int>(found->Streams().size());
        const int taken = inRange ? stream : 0;
        auto watcher = found->Feed(taken).Watch(std::move(sink));
        auto subscription = std::make_unique<FeedSubscription>(found, taken, std::move(watcher));
        const std::shared_lock lock(mutex_);
        scheduler_.Wake(TasksOf(channel).pictures);
        return subscription;
    }

    StreamCounters Counters(int channel, int stream) const override {
        const auto found = Find(channel);
        const bool inRange = found && stream >= 0 && stream < static_cast<int>(found->Streams().size());
        return inRange ? found->Feed(stream).Counters() : StreamCounters{};
    }

private:
    std::shared_ptr<Channel> Make(int number, const std::string& name, const SourceConfig& source) const {
        return std::make_shared<Channel>(clock_, reporter_, number, name, source);
    }
    struct Tasks {
        int pictures;
        int motion;
    };
    const Tasks& TasksOf(int channel) const { return tasks_[static_cast<std::size_t>(channel)]; }
    std::shared_ptr<Channel> Find(int channel) const {
        const std::shared_lock lock(mutex_);
        const bool inRange = channel >= 0 && channel < static_cast<int>(channels_.size());
        return inRange ? channels_[static_cast<std::size_t>(channel)] : nullptr;
    }

    const std::shared_ptr<MediaClock> clock_;
    const std::shared_ptr<Reporter> reporter_ = std::make_shared<Reporter>();
    mutable std::shared_mutex mutex_;
    std::vector<std::shared_ptr<Channel>> channels_;
    std::vector<Tasks> tasks_;  // of the scheduler, by channel
    Scheduler scheduler_;       // last: its threads end before the rest goes
};

}  // namespace

std::vector<StreamConfig> DefaultStreams(int channel) {
    static const std::vector<StreamConfig> kTurns[] = {
        {{Codec::H264, 640, 480, 15, 30}, {Codec::H264, 352, 240, 15, 30}},
        {{Codec::Mpeg4, 640, 480, 15, 30}, {Codec::Mpeg4, 352, 240, 15, 30}},
        {{Codec::H264, 1280, 720, 15, 30}, {Codec::H264, 640, 480, 15, 30}, {Codec::H264, 352, 240, 15, 30}},
        {{Codec::Mjpeg, 640, 480, 10, 1}, {Codec::Mjpeg, 352, 240, 10, 1}},
    };
    return kTurns[static_cast<std::size_t>(channel < 0 ? 0 : channel) % std::size(kTurns)];
}

std::unique_ptr<MediaHub> CreateMediaHub(std::shared_ptr<MediaClock> clock, int threads) {
    // The libraries tell of each encoder and each damaged packet on standard error.
    av_log_set_level(AV_LOG_FATAL);
    if (threads <= 0) {
        threads = std::clamp(static_cast<int>(std::thread::hardware_concurrency()), 1, 4);
    }
    return std::make_unique<Hub>(clock ? std::move(clock) : std::make_shared<SystemMediaClock>(), threads);
}

}  // namespace kvrecorder
