// What a camera tells of its streams before they are opened.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kvrecorder {

// Where what is said to a camera is to go.
struct SpeechStream {
    std::string control;  // as it is told: an address, or the end of one
    int payload = 0;      // its number in the packets
    bool aLaw = false;    // G.711 in either form
};

struct SdpOffer {
    bool sound = false;                  // of a kind that can be taken
    std::optional<SpeechStream> speech;  // nothing: it plays none, or none that can be made here
    std::string control;                 // of all streams together; empty: not told
};

// Damaged lines are passed over.
SdpOffer ReadSdp(std::string_view text);

// The address of what is told below `base`.
std::string JoinControl(const std::string& base, const std::string& control);

}  // namespace kvrecorder
