// Finds out what a camera sends, and what is wrong with it.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "media/fault.h"
#include "media/stream_config.h"

namespace kvrecorder {

struct CameraReport {
    std::string codec;  // empty: no session was opened
    int width = 0;      // 0: no picture came
    int height = 0;
    double fps = 0;  // 0: not known
    std::optional<std::chrono::milliseconds> keyInterval;
    std::string sound;  // empty: none
    std::chrono::milliseconds connected{};
    std::chrono::milliseconds firstPicture{};  // both since the begin
    std::vector<Fault> faults;
    std::vector<std::uint8_t> picture;  // JPEG, at most 640 wide; empty without one

    bool HasPictures() const { return width > 0; }
};

// Watches the camera's main stream until all is known, at most for `limit`. Ends early when `ended` says so.
// Key pictures that come less often than told are a fault: who begins to watch waits for one. Throws nothing.
CameraReport ProbeCamera(const NetworkCamera& camera, std::chrono::milliseconds limit,
                         const std::function<bool()>& ended,
                         std::chrono::milliseconds rareKeys = std::chrono::milliseconds(4'000));

}  // namespace kvrecorder
