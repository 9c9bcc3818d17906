// Which of a camera's presets stands at which of the places that clients know.
#pragma once

#include <mutex>

#include "cameras/camera_control.h"
#include "onvif/onvif_replies.h"

namespace kvrecorder {

// A preset whose token ends with a number from 1 on stands at the place of that number, others at the first
// free one; one that has a place keeps it. Any thread.
class PresetPlaces {
public:
    // What the camera lists now.
    void Take(const std::vector<OnvifPreset>& listed);
    void Set(std::size_t place, const OnvifPreset& preset);
    void Forget(std::size_t place);

    std::optional<OnvifPreset> At(std::size_t place) const;
    ControlPresets Names() const;

private:
    mutable std::mutex m_mutex;
    std::array<std::optional<OnvifPreset>, kControlPresets> m_places;
};

}  // namespace kvrecorder
