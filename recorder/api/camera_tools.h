// What the interface needs of cameras that are not served yet. Both functions wait for the network and are
// called on threads of their own; `ended` becomes true when nobody wants the outcome any more.
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

// One that answers on the network.
struct SeenCamera {
    std::string address;  // as a configuration takes it
    std::string host;
    std::string maker;
    std::string model;
    std::string name;
    std::vector<std::string> streamUrls;  // as far as it tells them without a login
};

// What was found out about one.
struct TestedCamera {
    std::string codec;
    int width = 0;
    int height = 0;
    double fps = 0;
    std::optional<std::chrono::milliseconds> keyInterval;
    std::string sound;
    std::chrono::milliseconds connected{};
    std::chrono::milliseconds firstPicture{};
    std::vector<Fault> faults;
    std::vector<std::uint8_t> picture;  // JPEG; empty: none came
};

struct CameraTools {
    using Ended = std::function<bool()>;

    // Null where the recorder cannot do it.
    std::function<std::vector<SeenCamera>(std::chrono::milliseconds time, const Ended& ended)> search;
    std::function<TestedCamera(const NetworkCamera& camera, std::chrono::milliseconds limit,
                               const Ended& ended)>
        test;
};

}  // namespace kvrecorder
