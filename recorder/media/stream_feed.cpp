#include "media/stream_feed.h"

#include <algorithm>
#include <exception>

namespace kvrecorder {

void StreamFeed::Watcher::End() {
    Sink unused;
    const std::lock_guard lock(m_calling);
    m_ended = true;
    // A callback that ends its own watching still runs; the sink goes when it has returned.
    if (!m_inCallback) {
        unused.swap(m_sink);
    }
}

void StreamFeed::Watcher::Give(std::span<const PacketPtr> packets) {
    Sink unused;
    const std::lock_guard lock(m_calling);
    for (const PacketPtr& packet : packets) {
        if (m_ended) {
            break;
        }
        m_inCallback = true;
        try {
            m_sink(packet);
        } catch (const std::exception&) {
            // Memory is short for this watcher; the others get theirs.
        }
        m_inCallback = false;
    }
    if (m_ended) {
        unused.swap(m_sink);
    }
}

std::shared_ptr<StreamFeed::Watcher> StreamFeed::Watch(Sink sink) {
    auto watcher = std::make_shared<Watcher>(std::move(sink));
    const std::lock_guard lock(m_mutex);
    m_watchers.push_back(watcher);
    m_watcherCount = static_cast<int>(m_watchers.size());
    return watcher;
}

void StreamFeed::Unwatch(const std::shared_ptr<Watcher>& watcher) {
    watcher->End();
    const std::lock_guard lock(m_mutex);
    std::erase(m_watchers, watcher);
    m_watcherCount = static_cast<int>(m_watchers.size());
}

void StreamFeed::TakeWatchers() {
    const std::lock_guard lock(m_mutex);
    m_round = m_watchers;
}

void StreamFeed::Begin() {
    if (m_group.IsEmpty()) {
        return;
    }
    TakeWatchers();
    for (const auto& watcher : m_round) {
        if (!watcher->m_begun) {
            watcher->m_begun = true;
            watcher->Give(m_group.Packets());
        }
    }
    m_round.clear();
}

void StreamFeed::Publish(PacketPtr packet, PacketOrigin origin) {
    ++m_packets;
    m_encoded += origin == PacketOrigin::Encoded ? 1 : 0;
    m_group.Add(packet);
    TakeWatchers();
    for (const auto& watcher : m_round) {
        if (watcher->m_begun) {
            watcher->Give({&packet, 1});
        } else if (!m_group.IsEmpty()) {
            watcher->m_begun = true;
            watcher->Give(m_group.Packets());
        }
    }
    m_round.clear();
    m_group.DropIfTooLarge();
}

StreamCounters StreamFeed::Counters() const {
    return {m_packets, m_encoded, m_skipped, m_watcherCount};
}

}  // namespace kvrecorder
