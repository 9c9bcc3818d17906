// Orders to a camera's head and lens, in whichever of the camera's ways to move.
#pragma once

#include <optional>
#include <string>

#include "cameras/camera_control.h"
#include "onvif/onvif_device.h"
#include "onvif/onvif_lens.h"
#include "onvif/onvif_moves.h"
#include "onvif/preset_places.h"

namespace kvrecorder {

// One thread. CameraError comes out of all calls when the camera cannot be asked any more.
class OnvifSteering {
public:
    // Asks the camera what it can do.
    OnvifSteering(OnvifDevice& device, const std::vector<OnvifProfile>& profiles, PresetPlaces& places,
                  MoveWait wait);

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
    std::string Centre(const PtzOrder& order);
    std::string Store(const PtzOrder& order);
    std::string Track(bool on);
    void Halt();
    void RunOn(const std::string& velocity);
    PtzStatus Status();
    PtzStatus Rest();
    std::string EndOf(const Ends& wanted, const PtzStatus& status) const;
    std::unique_ptr<SoapDocument> AskPtz(const std::string& name, const std::string& inner = "");

    OnvifDevice& m_device;
    OnvifProfile m_profile;
    PresetPlaces& m_places;
    const MoveWait m_wait;
    PtzNode m_node;
    std::optional<OnvifLens> m_lens;  // once the profile is known
    ControlAbilities m_abilities;
};

}  // namespace kvrecorder
