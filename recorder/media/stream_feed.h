// One stream's watchers, and the packets that a new one begins with.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <vector>

#include "media/packet_group.h"
#include "media/stream_config.h"

namespace kvrecorder {

// Watchers come and go on any thread; packets come from one thread at a time, which makes the callbacks.
class StreamFeed {
public:
    using Sink = std::function<void(const PacketPtr&)>;

    class Watcher {
    public:
        explicit Watcher(Sink sink) : m_sink(std::move(sink)) {}
        // Returns when no callback is under way, but for one on the calling thread. From then on nothing of
        // who watched is held: a round that goes on may outlive them.
        void End();

    private:
        friend class StreamFeed;
        void Give(std::span<const PacketPtr> packets);

        // Held during a callback; recursive, as a callback may end its own watching.
        std::recursive_mutex m_calling;
        bool m_ended = false;
        bool m_inCallback = false;
        Sink m_sink;
        bool m_begun = false;  // has had a key picture; of the packets' thread
    };

    std::shared_ptr<Watcher> Watch(Sink sink);
    void Unwatch(const std::shared_ptr<Watcher>& watcher);
    bool Watched() const { return m_watcherCount != 0; }

    // Gives new watchers the packets since the last key picture.
    void Begin();
    void Publish(PacketPtr packet, PacketOrigin origin);
    void CountSkipped(std::int64_t pictures) { m_skipped += static_cast<std::uint64_t>(pictures); }
    // Drops the kept packets: they are out of date, as nobody watches.
    void Forget() { m_group.Clear(); }
    StreamCounters Counters() const;

private:
    void TakeWatchers();

    mutable std::mutex m_mutex;
    std::vector<std::shared_ptr<Watcher>> m_watchers;
    std::atomic<int> m_watcherCount = 0;

    // Used by the packets' thread alone.
    std::vector<std::shared_ptr<Watcher>> m_round;  // the watchers of this round
    PacketGroup m_group;

    std::atomic<std::uint64_t> m_packets = 0;
    std::atomic<std::uint64_t> m_encoded = 0;
    std::atomic<std::uint64_t> m_skipped = 0;
};

}  // namespace kvrecorder
