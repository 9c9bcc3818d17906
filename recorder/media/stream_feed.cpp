#include "media/stream_feed.h"

#include <algorithm>

namespace kvrecorder {
namespace {

constexpr std::size_t kMostKeptPackets = 600;
constexpr std::size_t kMostKeptBytes = 16 << 20;

}  // namespace

void StreamFeed::Watcher::End() {
    const std::lock_guard lock(m_calling);
    m_ended = true;
}

void StreamFeed::Watcher::Give(const PacketPtr* first, const PacketPtr* last) {
    const std::lock_guard lock(m_calling);
    for (; first != last && !m_ended; ++first) {
        m_sink(*first);
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
    if (m_group.empty()) {
        return;
    }
    TakeWatchers();
    for (const auto& watcher : m_round) {
        if (!watcher->m_begun) {
            watcher->m_begun = true;
            watcher->Give(m_group.data(), m_group.data() + m_group.size());
        }
    }
    m_round.clear();
}

void StreamFeed::Publish(PacketPtr packet, bool encoded) {
    ++m_packets;
    m_encoded += encoded ? 1 : 0;
    if (packet->key) {
        m_group.clear();
        m_groupBytes = 0;
    }
    if (packet->key || !m_group.empty()) {
        m_groupBytes += packet->data.size();
        m_group.push_back(packet);
    }
    TakeWatchers();
    for (const auto& watcher : m_round) {
        if (watcher->m_begun) {
            watcher->Give(&packet, &packet + 1);
        } else if (!m_group.empty()) {
            watcher->m_begun = true;
            watcher->Give(m_group.data(), m_group.data() + m_group.size());
        }
    }
    m_round.clear();
    if (m_group.size() > kMostKeptPackets || m_groupBytes > kMostKeptBytes) {
        m_group.clear();
    }
}

StreamCounters StreamFeed::Counters() const {
    return {m_packets, m_encoded, m_skipped, m_watcherCount};
}

}  // namespace kvrecorder
