// What can be had of a camera's streams beside its pictures.
#pragma once

#include <optional>
#include <string>

#include "cameras/rtsp_description.h"

namespace kvrecorder {

// Where what is said to a camera is to go.
struct SpeechStream {
    std::string control;  // as it is told
    int payload = 0;      // its number in the packets
    bool aLaw = false;    // G.711 in either form
};

// It sends some that can be taken.
bool OffersSound(const RtspDescription& description);
// Nothing: the camera plays none, or none that can be made here.
std::optional<SpeechStream> FindSpeech(const RtspDescription& description);

}  // namespace kvrecorder
