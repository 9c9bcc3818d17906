// The focus of a camera, in whichever of the camera's ways to move it.
#pragma once

#include <memory>
#include <string>

#include "onvif/onvif_device.h"
#include "onvif/onvif_moves.h"

namespace kvrecorder {

// One thread. CameraError comes out of all calls when the camera cannot be asked any more.
class OnvifLens {
public:
    // Asks the camera what it can do with the source of its pictures.
    OnvifLens(OnvifDevice& device, std::string source);

    bool HasFocus() const { return m_focus.relative || m_focus.continuous || m_focus.absolute; }
    // A step to what is farther (1) or nearer (-1): the words for whoever gave the order. SoapFault when the
    // camera does not take it.
    std::string Focus(int farther, const MoveWait& wait);

private:
    bool Move(int farther, const MoveWait& wait);
    FocusStatus Status();
    std::unique_ptr<SoapDocument> Ask(const std::string& name, const std::string& inner = "");

    OnvifDevice& m_device;
    const std::string m_source;
    FocusAbility m_focus;
};

}  // namespace kvrecorder
