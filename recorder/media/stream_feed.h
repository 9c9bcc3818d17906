// One stream's watchers, and the packets that a new one begins with.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "media/media_hub.h"

namespace kvrecorder {

// Watchers come and go on any thread; packets come from one thread at a time, which makes the callbacks.
class StreamFeed {
public:
    using Sink = std::function<void(const PacketPtr&)>;

    class Watcher {
    public:
        explicit Watcher(Sink sink) : sink_(std::move(sink)) {}
        // Returns when no callback is under way, but for one on the calling thread.
        void End();

    private:
        friend class StreamFeed;
        void Give(const PacketPtr* first, const PacketPtr* last);

        // Held during a callback; recursive, as a callback may end its own watching.
        std::recursive_mutex calling_;
        bool ended_ = false;
        const Sink sink_;
        bool begun_ = false;  // has had a key picture; of the packets' thread
    };

    std::shared_ptr<Watcher> Watch(Sink sink);
    void Unwatch(const std::shared_ptr<Watcher>& watcher);
    bool Watched() const { return watcherCount_ != 0; }

    // Gives new watchers the packets since the last key picture.
    void Begin();
    void Publish(PacketPtr packet, bool encoded);
    void CountSkipped(std::int64_t pictures) { skipped_ += static_cast<std::uint64_t>(pictures); }
    // Drops the kept packets: they are out of date, as nobody watches.
    void Forget() { group_.clear(); }
    StreamCounters Counters() const;

private:
    void TakeWatchers();

    mutable std::mutex mutex_;
    std::vector<std::shared_ptr<Watcher>> watchers_;
    std::atomic<int> watcherCount_ = 0;

    // Of the packets' thread: the watchers of this round, and the packets from a key picture on. A group
    // beyond the bounds is dropped whole; new watchers then wait for the next.
    std::vector<std::shared_ptr<Watcher>> round_;
    std::vector<PacketPtr> group_;
    std::size_t groupBytes_ = 0;

    std::atomic<std::uint64_t> packets_ = 0;
    std::atomic<std::uint64_t> encoded_ = 0;
    std::atomic<std::uint64_t> skipped_ = 0;
};

}  // namespace kvrecorder
