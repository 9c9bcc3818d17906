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
        const std::unique_lock lock(m_mutex);
        m_listener = std::move(listener);
    }
    void Report(int channel, MediaEvent event, bool on) {
        const std::shared_lock lock(m_mutex);
        if (m_listener) {
            m_listener(channel, event, on);
        }
    }

private:
    std::shared_mutex m_mutex;
    MediaListener m_listener;
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
        : m_clock(std::move(clock)),
          m_reporter(std::move(reporter)),
          m_number(number),
          m_source(source.file.empty() ? CreateSceneSource(number, source) : CreateFileSource(source)),
          m_motion(MakeMotionWatch(number, source)),
          m_streams(m_source->Streams()),
          m_feeds(m_streams.size()),
          m_name(std::move(name)) {}

    const std::vector<StreamDescription>& Streams() const { return m_streams; }

    void Rename(const std::string& name) {
        const std::lock_guard lock(m_nameMutex);
        m_name = name;
    }

    StreamFeed& Feed(int stream) { return m_feeds[static_cast<std::size_t>(stream)]; }

    std::optional<MediaTime> Work() {
        m_round.wanted.assign(m_feeds.size(), false);
        bool any = false;
        for (std::size_t i = 0; i < m_feeds.size(); ++i) {
            m_round.wanted[i] = m_feeds[i].Watched();
            any = any || m_round.wanted[i];
            if (!m_round.wanted[i]) {
                m_feeds[i].Forget();
            }
            m_feeds[i].Begin();
        }
        if (!any) {
            m_source->Sleep();
            return std::nullopt;
        }
        {
            const std::lock_guard lock(m_nameMutex);
            m_round.name = m_name;
        }
        m_round.now = m_clock->Now();
        m_round.wall = m_clock->WallTime();
        try {
            const MediaTime next = m_source->Run(m_round, *this);
            SetLost(false);
            return next;
        } catch (const std::exception&) {
            m_source->Sleep();
            SetLost(true);
            return m_round.now + kRetry;
        }
    }

    // Beside the pictures' work, and maybe at the same time.
    std::optional<MediaTime> WatchMotion() {
        if (!m_motion) {
            return std::nullopt;
        }
        const MediaTime now = m_clock->Now();
        if (const auto turn = m_motion->Look(now)) {
            m_reporter->Report(m_number, MediaEvent::Motion, *turn);
        }
        return now + MotionWatch::kPause;
    }

    void Give(int stream, PacketPtr packet, PacketOrigin origin) override {
        Feed(stream).Publish(std::move(packet), origin);
    }
    void Skipped(int stream, std::int64_t pictures) override { Feed(stream).CountSkipped(pictures); }

private:
    void SetLost(bool lost) {
        if (lost != m_lost) {
            m_lost = lost;
            m_reporter->Report(m_number, MediaEvent::Lost, lost);
        }
    }

    const std::shared_ptr<MediaClock> m_clock;
    const std::shared_ptr<Reporter> m_reporter;
    const int m_number;
    const std::unique_ptr<PictureSource> m_source;
    const std::unique_ptr<MotionWatch> m_motion;
    const std::vector<StreamDescription> m_streams;
    std::deque<StreamFeed> m_feeds;
    SourceRound m_round;
    bool m_lost = false;
    std::mutex m_nameMutex;
    std::string m_name;
};

class FeedSubscription final : public Subscription {
public:
    // Keeps the channel, as it may outlive the hub.
    FeedSubscription(std::shared_ptr<Channel> channel, int stream, StreamFeed::Sink sink)
        : m_channel(std::move(channel)),
          m_stream(stream),
          m_watcher(m_channel->Feed(stream).Watch(std::move(sink))) {}
    ~FeedSubscription() override { m_channel->Feed(m_stream).Unwatch(m_watcher); }

private:
    const std::shared_ptr<Channel> m_channel;
    const int m_stream;
    const std::shared_ptr<StreamFeed::Watcher> m_watcher;
};

class Hub final : public MediaHub {
public:
    Hub(std::shared_ptr<MediaClock> clock, int threads)
        : m_clock(std::move(clock)), m_scheduler(m_clock, threads) {}

    int AddChannel(const std::string& name, const SourceConfig& source) override {
        const std::unique_lock lock(m_mutex);
        const int number = static_cast<int>(m_channels.size());
        m_channels.reserve(m_channels.size() + 1);
        m_tasks.reserve(m_tasks.size() + 1);
        auto fresh = Make(number, name, source);
        const Tasks tasks{m_scheduler.Add([this, number] { return Find(number)->Work(); }),
                          m_scheduler.Add([this, number] { return Find(number)->WatchMotion(); })};
        m_channels.push_back(std::move(fresh));
        m_tasks.push_back(tasks);
        m_scheduler.Wake(m_tasks.back().motion);
        return number;
    }

    void ReplaceSource(int channel, const std::string& name, const SourceConfig& source) override {
        if (!Find(channel)) {
            return;
        }
        // A file takes its time to open, and the others go on meanwhile.
        auto fresh = Make(channel, name, source);
        const std::unique_lock lock(m_mutex);
        m_channels[static_cast<std::size_t>(channel)].swap(fresh);
        m_scheduler.Wake(TasksOf(channel).motion);
    }

    void SetListener(MediaListener listener) override { m_reporter->Set(std::move(listener)); }

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
        auto subscription = std::make_unique<FeedSubscription>(found, taken, std::move(sink));
        const std::shared_lock lock(m_mutex);
        m_scheduler.Wake(TasksOf(channel).pictures);
        return subscription;
    }

    StreamCounters Counters(int channel, int stream) const override {
        const auto found = Find(channel);
        const bool inRange = found && stream >= 0 && stream < static_cast<int>(found->Streams().size());
        return inRange ? found->Feed(stream).Counters() : StreamCounters{};
    }

private:
    std::shared_ptr<Channel> Make(int number, const std::string& name, const SourceConfig& source) const {
        return std::make_shared<Channel>(m_clock, m_reporter, number, name, source);
    }
    struct Tasks {
        int pictures;
        int motion;
    };
    const Tasks& TasksOf(int channel) const { return m_tasks[static_cast<std::size_t>(channel)]; }
    std::shared_ptr<Channel> Find(int channel) const {
        const std::shared_lock lock(m_mutex);
        const bool inRange = channel >= 0 && channel < static_cast<int>(m_channels.size());
        return inRange ? m_channels[static_cast<std::size_t>(channel)] : nullptr;
    }

    const std::shared_ptr<MediaClock> m_clock;
    const std::shared_ptr<Reporter> m_reporter = std::make_shared<Reporter>();
    mutable std::shared_mutex m_mutex;
    std::vector<std::shared_ptr<Channel>> m_channels;
    std::vector<Tasks> m_tasks;  // of the scheduler, by channel
    Scheduler m_scheduler;       // last: its threads end before the rest goes
};

}  // namespace

std::unique_ptr<MediaHub> CreateMediaHub(std::shared_ptr<MediaClock> clock, int threads) {
    // The libraries tell of each encoder and each damaged packet on standard error.
    av_log_set_level(AV_LOG_FATAL);
    if (threads <= 0) {
        threads = std::clamp(static_cast<int>(std::thread::hardware_concurrency()), 1, 4);
    }
    return std::make_unique<Hub>(clock ? std::move(clock) : std::make_shared<SystemMediaClock>(), threads);
}

}  // namespace kvrecorder
