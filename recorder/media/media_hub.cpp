#include "media/media_hub.h"

#include <algorithm>
#include <atomic>
#include <deque>
#include <memory>
#include <shared_mutex>
#include <stdexcept>
#include <thread>

#include "media/av_ptr.h"
#include "media/motion_watch.h"
#include "media/picture_source.h"
#include "media/scene.h"
#include "media/scheduler.h"
#include "media/stream_feed.h"
#include "media/stream_motion.h"

namespace kvrecorder {
namespace {

// After a source failed.
constexpr MediaTime kRetry{1'000'000};
// Between two looks for motion.
constexpr MediaTime kMotionPause{500'000};

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
    if (!source.watchMotion || !source.file.empty() || !source.network.url.empty()) {
        return nullptr;
    }
    return std::make_unique<MotionWatch>(SceneOf(channel, source.scene), channel, source.camera,
                                         source.motion);
}

std::unique_ptr<StreamMotion> MakeStreamMotion(const SourceConfig& source) {
    const bool passed = !source.file.empty() || !source.network.url.empty();
    return source.watchMotion && passed ? std::make_unique<StreamMotion>(source.motion) : nullptr;
}

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

std::string TellAge(MediaTime age) {
    const auto seconds = age.count() / 1'000'000;
    return seconds < 120 ? std::to_string(seconds) + " s" : std::to_string(seconds / 60) + " min";
}

// A channel's work, and all that its threads touch.
class Channel final : public SourceOutput {
public:
    Channel(std::shared_ptr<MediaClock> clock, std::shared_ptr<Reporter> reporter, int number,
            std::string name, const SourceConfig& source, std::unique_ptr<PictureSource> pictures)
        : m_clock(std::move(clock)),
          m_reporter(std::move(reporter)),
          m_number(number),
          m_source(std::move(pictures)),
          m_sceneMotion(MakeMotionWatch(number, source)),
          m_streamMotion(MakeStreamMotion(source)),
          m_feeds(m_source->Streams().size()),
          m_streams(m_source->Streams()),
          m_name(std::move(name)) {
        if (m_streamMotion) {
            // It wants the stream as who watches it does.
            Feed(m_source->MotionStream()).Watch([this](const PacketPtr& packet) {
                m_streamMotion->Offer(packet);
            });
        }
    }

    std::vector<StreamDescription> Streams() const {
        const std::lock_guard lock(m_tellMutex);
        return m_streams;
    }
    int StreamCount() const { return static_cast<int>(m_feeds.size()); }
    std::string Words() const {
        const std::lock_guard lock(m_tellMutex);
        return m_words;
    }
    Fault Trouble() const {
        const std::lock_guard lock(m_tellMutex);
        return m_told;
    }
    void End() { m_source->End(); }

    void Rename(const std::string& name) {
        const std::lock_guard lock(m_tellMutex);
        m_name = name;
    }

    StreamFeed& Feed(int stream) { return m_feeds[static_cast<std::size_t>(stream)]; }
    StreamFeed& Sound() { return m_sound; }

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
        m_round.soundWanted = m_sound.Watched();
        if (!m_round.soundWanted) {
            m_sound.Forget();
        }
        if (!any && !m_round.soundWanted) {
            m_source->Sleep();
            return std::nullopt;
        }
        {
            const std::lock_guard lock(m_tellMutex);
            m_round.name = m_name;
        }
        m_round.now = m_clock->Now();
        m_round.wall = m_clock->WallTime();
        try {
            const MediaTime next = m_source->Run(m_round, *this);
            const Fault trouble = m_source->Trouble();
            SetLost(!trouble.Empty(), trouble);
            TellMotionCost();
            return next;
        } catch (const std::exception&) {
            // What it says holds paths that are nobody's business.
            m_source->Sleep();
            SetLost(true, {});
            return m_round.now + kRetry;
        }
    }

    // Beside the pictures' work, and maybe at the same time.
    std::optional<MediaTime> WatchMotion() {
        const MediaTime now = m_clock->Now();
        std::optional<bool> turn = m_sceneMotion    ? m_sceneMotion->Look(now)
                                   : m_streamMotion ? m_streamMotion->Look(now)
                                                    : std::nullopt;
        if (m_motionLeft.exchange(false) && !turn) {
            turn = false;
        }
        if (turn) {
            m_moves = *turn;
            m_reporter->Report(m_number, MediaEvent::Motion, *turn);
        }
        return m_sceneMotion || m_streamMotion ? std::optional(now + kMotionPause) : std::nullopt;
    }
    // It comes in the other's place: what that told of motion ends.
    void Follow(const Channel& before) { m_motionLeft = before.m_moves || before.m_motionLeft; }
    std::optional<double> MotionShare() const {
        return m_streamMotion ? m_streamMotion->Share() : std::nullopt;
    }

    void Give(int stream, PacketPtr packet, PacketOrigin origin) override {
        m_lastPicture = m_round.now;
        Feed(stream).Publish(std::move(packet), origin);
    }
    void GiveSound(PacketPtr packet) override { m_sound.Publish(std::move(packet), PacketOrigin::PassedOn); }
    void StreamsChanged() override {
        {
            const std::lock_guard lock(m_tellMutex);
            m_streams = m_source->Streams();
        }
        Report(MediaEvent::Streams, true, {});
    }
    void Tell(std::string words) override { Report(MediaEvent::Word, true, std::move(words)); }
    void Skipped(int stream, std::int64_t pictures) override { Feed(stream).CountSkipped(pictures); }

private:
    void TellMotionCost() {
        if (std::string word = m_streamMotion ? m_streamMotion->Word() : std::string(); !word.empty()) {
            Tell(std::move(word));
        }
    }

    // Also tells when the trouble has become another one.
    void SetLost(bool lost, const Fault& trouble) {
        if (lost == m_lost && trouble == m_trouble) {
            return;
        }
        m_lost = lost;
        m_trouble = trouble;
        Fault told = trouble;
        if (!trouble.Empty() && m_lastPicture) {
            told.words += "; the last picture is " + TellAge(m_round.now - *m_lastPicture) + " old";
        }
        std::string words = told.words;
        {
            const std::lock_guard lock(m_tellMutex);
            m_told = std::move(told);
        }
        Report(MediaEvent::Lost, lost, std::move(words));
    }

    void Report(MediaEvent event, bool on, std::string words) {
        {
            const std::lock_guard lock(m_tellMutex);
            m_words = std::move(words);
        }
        m_reporter->Report(m_number, event, on);
    }

    const std::shared_ptr<MediaClock> m_clock;
    const std::shared_ptr<Reporter> m_reporter;
    const int m_number;
    const std::unique_ptr<PictureSource> m_source;
    const std::unique_ptr<MotionWatch> m_sceneMotion;
    const std::unique_ptr<StreamMotion> m_streamMotion;
    std::atomic<bool> m_moves = false;       // as was told
    std::atomic<bool> m_motionLeft = false;  // told by the channel that was here before
    std::deque<StreamFeed> m_feeds;
    StreamFeed m_sound;
    SourceRound m_round;
    bool m_lost = false;
    Fault m_trouble;
    std::optional<MediaTime> m_lastPicture;
    mutable std::mutex m_tellMutex;
    std::vector<StreamDescription> m_streams;
    std::string m_words;
    Fault m_told;  // the trouble, with the last picture's age in its words
    std::string m_name;
};

class FeedSubscription final : public Subscription {
public:
    // Keeps the channel, as it may outlive the hub.
    FeedSubscription(std::shared_ptr<Channel> channel, StreamFeed& feed, StreamFeed::Sink sink)
        : m_channel(std::move(channel)), m_feed(feed), m_watcher(feed.Watch(std::move(sink))) {}
    ~FeedSubscription() override { m_feed.Unwatch(m_watcher); }

private:
    const std::shared_ptr<Channel> m_channel;
    StreamFeed& m_feed;
    const std::shared_ptr<StreamFeed::Watcher> m_watcher;
};

class Hub final : public MediaHub {
public:
    Hub(std::shared_ptr<MediaClock> clock, int threads, CameraSourceMaker cameras)
        : m_clock(std::move(clock)),
          m_cameras(std::move(cameras)),
          m_scheduler(std::make_shared<Scheduler>(m_clock, threads)) {}
    ~Hub() override {
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
    std::shared_ptr<Channel> Make(int number, const std::string& name, const SourceConfig& source,
                                  SharedTask task) {
        return std::make_shared<Channel>(
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
    std::shared_ptr<Channel> Find(int channel) const {
        const std::shared_lock lock(m_mutex);
        const bool inRange = channel >= 0 && channel < static_cast<int>(m_channels.size());
        return inRange ? m_channels[static_cast<std::size_t>(channel)] : nullptr;
    }

    const std::shared_ptr<MediaClock> m_clock;
    const CameraSourceMaker m_cameras;
    const std::shared_ptr<Reporter> m_reporter = std::make_shared<Reporter>();
    mutable std::shared_mutex m_mutex;
    std::vector<std::shared_ptr<Channel>> m_channels;
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
    return std::make_unique<Hub>(clock ? std::move(clock) : std::make_shared<SystemMediaClock>(), threads,
                                 std::move(cameras));
}

}  // namespace kvrecorder
