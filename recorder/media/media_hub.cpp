#include "media/media_hub.h"

#include <algorithm>
#include <atomic>
#include <shared_mutex>
#include <stdexcept>
#include <thread>

#include "media/av_ptr.h"
#include "media/hub_channel.h"
#include "media/scheduler.h"

namespace kvrecorder {
namespace {

std::unique_ptr<PictureSource> MakeSource(int channel, const SourceConfig& source,
                                          const CameraSourceMaker& cameras, std::function<void()> wake) {
    if (!source.network.url.empty()) {
        if (!cameras) {
            throw std::runtime_error("cameras on the network are not served here");
        }
        return cameras(source.network, std::move(wake));
    }
    return source.file.empty() ? CreateSceneSource(channel, source) : CreateFileSource(source);
}

class FeedSubscription final : public Subscription {
public:
    // Keeps the channel, as it may outlive the hub.
    FeedSubscription(std::shared_ptr<HubChannel> channel, StreamFeed& feed, StreamFeed::Sink sink)
        : m_channel(std::move(channel)), m_feed(feed), m_watcher(feed.Watch(std::move(sink))) {}
    ~FeedSubscription() override { m_feed.Unwatch(m_watcher); }

private:
    const std::shared_ptr<HubChannel> m_channel;
    StreamFeed& m_feed;
    const std::shared_ptr<StreamFeed::Watcher> m_watcher;
};

class HubOfPictures final : public MediaHub {
public:
    HubOfPictures(std::shared_ptr<MediaClock> clock, int threads, CameraSourceMaker cameras)
        : m_clock(std::move(clock)),
          m_cameras(std::move(cameras)),
          m_scheduler(std::make_shared<Scheduler>(m_clock, threads)) {}
    ~HubOfPictures() override {
        for (const auto& channel : m_channels) {
            channel->End();
        }
        // A camera's thread may still know it, and run nothing by it.
        m_scheduler->Stop();
    }

    int AddChannel(const std::string& name, const SourceConfig& source) override {
        const std::unique_lock lock(m_mutex);
        const int number = static_cast<int>(m_channels.size());
        m_channels.reserve(m_channels.size() + 1);
        m_tasks.reserve(m_tasks.size() + 1);
        // No camera has anything to tell before it is wanted.
        const auto pictures = std::make_shared<std::atomic<int>>(-1);
        auto fresh = Make(number, name, source, pictures);
        const Tasks tasks{pictures, m_scheduler->Add([this, number] { return Find(number)->WatchMotion(); })};
        *pictures = m_scheduler->Add([this, number] { return Find(number)->Work(); });
        m_channels.push_back(std::move(fresh));
        m_tasks.push_back(tasks);
        m_scheduler->Wake(tasks.motion);
        m_scheduler->Wake(*pictures);
        return number;
    }

    void ReplaceSource(int channel, const std::string& name, const SourceConfig& source) override {
        if (!Find(channel)) {
            return;
        }
        // A file takes its time to open, and the others go on meanwhile.
        auto fresh = Make(channel, name, source, PicturesOf(channel));
        {
            const std::unique_lock lock(m_mutex);
            fresh->Follow(*m_channels[static_cast<std::size_t>(channel)]);
            m_channels[static_cast<std::size_t>(channel)].swap(fresh);
            m_scheduler->Wake(TasksOf(channel).motion);
            m_scheduler->Wake(*TasksOf(channel).pictures);
        }
        // Who watches it still keeps it for a while.
        fresh->End();
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
        const bool inRange = stream >= 0 && stream < found->StreamCount();
        auto subscription =
            std::make_unique<FeedSubscription>(found, found->Feed(inRange ? stream : 0), std::move(sink));
        WakePictures(channel);
        return subscription;
    }

    std::unique_ptr<Subscription> SubscribeSound(int channel,
                                                 std::function<void(const PacketPtr&)> sink) override {
        const auto found = Find(channel);
        if (!found || !sink) {
            return nullptr;
        }
        auto subscription = std::make_unique<FeedSubscription>(found, found->Sound(), std::move(sink));
        WakePictures(channel);
        return subscription;
    }

    std::string Words(int channel) const override {
        const auto found = Find(channel);
        return found ? found->Words() : std::string();
    }

    Fault Trouble(int channel) const override {
        const auto found = Find(channel);
        return found ? found->Trouble() : Fault();
    }

    std::optional<double> MotionShare(int channel) const override {
        const auto found = Find(channel);
        return found ? found->MotionShare() : std::nullopt;
    }

    StreamCounters Counters(int channel, int stream) const override {
        const auto found = Find(channel);
        const bool inRange = found && stream >= 0 && stream < found->StreamCount();
        return inRange ? found->Feed(stream).Counters() : StreamCounters{};
    }

private:
    // Tasks of the scheduler. A source knows its own before it has its number, and beyond the hub's end.
    using SharedTask = std::shared_ptr<const std::atomic<int>>;
    struct Tasks {
        SharedTask pictures;
        int motion;
    };

    // A camera's thread takes its picture to all who watch, which is less than the change to another thread.
    std::shared_ptr<HubChannel> Make(int number, const std::string& name, const SourceConfig& source,
                                     SharedTask task) {
        return std::make_shared<HubChannel>(
            m_clock, m_reporter, number, name, source,
            MakeSource(number, source, m_cameras,
                       [scheduler = m_scheduler, task = std::move(task)] { scheduler->RunHere(*task); }));
    }
    void WakePictures(int channel) { m_scheduler->Wake(*PicturesOf(channel)); }
    SharedTask PicturesOf(int channel) const {
        const std::shared_lock lock(m_mutex);
        return TasksOf(channel).pictures;
    }
    const Tasks& TasksOf(int channel) const { return m_tasks[static_cast<std::size_t>(channel)]; }
    std::shared_ptr<HubChannel> Find(int channel) const {
        const std::shared_lock lock(m_mutex);
        const bool inRange = channel >= 0 && channel < static_cast<int>(m_channels.size());
        return inRange ? m_channels[static_cast<std::size_t>(channel)] : nullptr;
    }

    const std::shared_ptr<MediaClock> m_clock;
    const CameraSourceMaker m_cameras;
    const std::shared_ptr<MediaReporter> m_reporter = std::make_shared<MediaReporter>();
    mutable std::shared_mutex m_mutex;
    std::vector<std::shared_ptr<HubChannel>> m_channels;
    std::vector<Tasks> m_tasks;  // by channel
    const std::shared_ptr<Scheduler> m_scheduler;
};

}  // namespace

std::unique_ptr<MediaHub> CreateMediaHub(std::shared_ptr<MediaClock> clock, int threads,
                                         CameraSourceMaker cameras) {
    // The libraries tell of each encoder and each damaged packet on standard error.
    av_log_set_level(AV_LOG_FATAL);
    if (threads <= 0) {
        threads = std::clamp(static_cast<int>(std::thread::hardware_concurrency()), 1, 4);
    }
    return std::make_unique<HubOfPictures>(clock ? std::move(clock) : std::make_shared<SystemMediaClock>(),
                                           threads, std::move(cameras));
}

}  // namespace kvrecorder
