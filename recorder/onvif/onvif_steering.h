// Orders to a camera's head and lens, in whichever of the camera's ways to move.
#pragma once

#include <functional>
#include <string>

#include "cameras/camera_control.h"
#include "onvif/onvif_device.h"
#include "onvif/preset_places.h"

namespace kvrecorder {

// One thread. CameraError comes out of all calls when the camera cannot be asked any more.
class OnvifSteering {
public:
    // Waits; false when a stop came, or the end.
    using Waiting = std::function<bool(std::chrono::milliseconds)>;

    // Asks the camera what it can do.
    OnvifSteering(OnvifDevice& device, const std::vector<OnvifProfile>& profiles, PresetPlaces& places,
                  Waiting wait);

    const ControlAbilities& Abilities() const { return m_abilities; }
    // The words for whoever gave the order; see CameraControl.
    std::string Run(const PtzOrder& order);
    // Asks for the presets anew.
    void ReadPresets();
    // Without an answer for anybody.
    void GoTo(std::size_t preset);

private:
    struct Ends {
        int right = 0;
        int down = 0;
        int in = 0;
    };

    std::string Obey(const PtzOrder& order);
    std::string Step(int command);
    void Move(int right, int down);
    void MoveBy(const std::optional<PtzSpace>& space, double x, double y);
    void Zoom(int in);
    std::string Focus(int farther);
    std::string Centre(const PtzOrder& order);
    std::string Store(const PtzOrder& order);
    std::string Track(bool on);
    void Halt();
    void RunOn(const std::string& velocity);
    PtzStatus Status();
    PtzStatus Rest();
    std::string EndOf(const Ends& wanted, const PtzStatus& status) const;
    std::unique_ptr<SoapDocument> AskPtz(const std::string& name, const std::string& inner = "");
    std::unique_ptr<SoapDocument> AskImaging(const std::string& name, const std::string& inner = "");

    OnvifDevice& m_device;
    OnvifProfile m_profile;
    PresetPlaces& m_places;
    const Waiting m_wait;
    PtzNode m_node;
    FocusAbility m_focus;
    ControlAbilities m_abilities;
};

}  // namespace kvrecorder
