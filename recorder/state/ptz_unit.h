// A channel's steerable camera as ptz.cgi sees it.
#pragma once

#include <string>
#include <string_view>

#include "cameras/camera_control.h"
#include "media/ptz_camera.h"
#include "state/preset_table.h"

namespace kvrecorder {

// Any thread.
struct PtzUnit {
    PtzUnit(PictureShape shape, std::string presetFile, const std::vector<std::string>& names)
        : camera(std::make_shared<PtzCamera>(shape)), presets(std::move(presetFile), names) {}

    const std::shared_ptr<PtzCamera> camera;
    PresetTable presets;
};

// An order as it came on the wire; nothing if its argument is none.
std::optional<PtzOrder> ReadPtzOrder(int command, std::string_view argument);

// The words that a camera answers an order with: the number of the end that it is at, 0 for none, or "-1"
// for what it cannot do.
std::string RunPtzOrder(PtzUnit& unit, const PtzOrder& order);

}  // namespace kvrecorder
