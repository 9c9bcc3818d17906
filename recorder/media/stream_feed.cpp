#include "media/stream_feed.h"

#include <algorithm>

namespace kvrecorder {
namespace {

constexpr std::size_t kMostKeptPackets = 600;
constexpr std::size_t kMostKeptBytes = 16 << 20;

}  // namespace

void StreamFeed::Watcher::End() {
    const std::lock_guard lock(calling_);
    ended_ = true;
}

void StreamFeed::Watcher::Give(const PacketPtr* first, const PacketPtr* last) {
    const std::lock_guard lock(calling_);
    for (; first != last && !ended_; ++first) {
        sink_(*first);
    }
}

std::shared_ptr<StreamFeed::Watcher> StreamFeed::Watch(Sink sink) {
    auto watcher = std::make_shared<Watcher>(std::move(sink));
    const std::lock_guard lock(mutex_);
    watchers_.push_back(watcher);
    watcherCount_ = static_cast<int>(watchers_.size());
    return watcher;
}

void StreamFeed::Unwatch(const std::shared_ptr<Watcher>& watcher) {
    watcher->End();
    const std::lock_guard lock(mutex_);
    std::erase(watchers_, watcher);
    watcherCount_ = static_cast<int>(watchers_.size());
}

void StreamFeed::TakeWatchers() {
    const std::lock_guard lock(mutex_);
    round_ = watchers_;
}

void StreamFeed::Begin() {
    if (group_.empty()) {
        return;
    }
    TakeWatchers();
    for (const auto& watcher : round_) {
        if (!watcher->begun_) {
            watcher->begun_ = true;
            watcher->Give(group_.data(), group_.data() + group_.size());
        }
    }
    round_.clear();
}

void StreamFeed::Publish(PacketPtr packet, bool encoded) {
    ++packets_;
    encoded_ += encoded ? 1 : 0;
    if (packet->key) {
        group_.clear();
        groupBytes_ = 0;
    }
    if (packet->key || !group_.empty()) {
        groupBytes_ += packet->data.size();
        group_.push_back(packet);
    }
    TakeWatchers();
    for (const auto& watcher : round_) {
        if (watcher->begun_) {
            watcher->Give(&packet, &packet + 1);
        } else if (!group_.empty()) {
            watcher->begun_ = true;
            watcher->Give(group_.data(), group_.data() + group_.size());
        }
    }
    round_.clear();
    if (group_.size() > kMostKeptPackets || groupBytes_ > kMostKeptBytes) {
        group_.clear();
    }
}

StreamCounters StreamFeed::Counters() const {
    return {packets_, encoded_, skipped_, watcherCount_};
}

}  // namespace kvrecorder
