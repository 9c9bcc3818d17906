#include "onvif/event_states.h"

namespace kvrecorder {
namespace {

// Of one kind.
constexpr std::size_t kMostSources = 64;

constexpr std::array<CameraNews::Kind, 4> kNews = {CameraNews::Kind::Motion, CameraNews::Kind::Input,
                                                   CameraNews::Kind::SignalLost, CameraNews::Kind::Tampering};

}  // namespace

template <typename Drop>
void EventStates::EraseIf(Drop drop) {
    for (auto& kind : m_active) {
        std::erase_if(kind, [&](const auto& entry) { return drop(entry.second); });
    }
}

void EventStates::Add(const OnvifEvent& event, std::optional<TimePoint> until) {
    auto& kind = m_active[static_cast<std::size_t>(event.kind)];
    if (!event.on) {
        kind.erase(event.source);
    } else if (kind.size() < kMostSources || kind.contains(event.source)) {
        kind[event.source] = {std::chrono::steady_clock::now(), until};
    }
}

void EventStates::DropOlder(TimePoint since) {
    EraseIf([&](const Active& active) { return active.told < since; });
}

void EventStates::Expire(TimePoint now) {
    EraseIf([&](const Active& active) { return active.until && *active.until <= now; });
}

bool EventStates::AnyPasses() const {
    for (const auto& kind : m_active) {
        for (const auto& entry : kind) {
            if (entry.second.until) {
                return true;
            }
        }
    }
    return false;
}

void EventStates::Clear() {
    EraseIf([](const Active&) { return true; });
}

std::vector<CameraNews> EventStates::Changes() {
    std::vector<CameraNews> news;
    for (std::size_t i = 0; i < kKinds; ++i) {
        const bool on = !m_active[i].empty();
        if (on != m_told[i]) {
            m_told[i] = on;
            news.push_back({kNews[i], on, ""});
        }
    }
    return news;
}

}  // namespace kvrecorder
