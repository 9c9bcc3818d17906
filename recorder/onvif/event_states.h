// What is going on at a camera, of the messages that tell when something begins and ends.
#pragma once

#include <array>
#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "cameras/camera_control.h"
#include "onvif/onvif_replies.h"

namespace kvrecorder {

// Several of a kind, such as two inputs, make one state, which is on while any of them is. One thread.
class EventStates {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    // An end for what nothing will tell the end of; none of that: the message stands.
    void Add(const OnvifEvent& event, std::optional<TimePoint> until);
    // The end of all that was told before `since` and not again, as after a new subscription.
    void DropOlder(TimePoint since);
    void Expire(TimePoint now);
    bool AnyPasses() const;
    void Clear();

    // What has changed since the last call.
    std::vector<CameraNews> Changes();

private:
    struct Active {
        TimePoint told;
        std::optional<TimePoint> until;
    };
    static constexpr std::size_t kKinds = 4;

    template <typename Drop>
    void EraseIf(Drop drop);

    std::array<std::map<std::string, Active>, kKinds> m_active;
    std::array<bool, kKinds> m_told{};
};

}  // namespace kvrecorder
