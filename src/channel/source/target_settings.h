// What a connection needs to know of its peer.
#pragma once

#include <cstdint>
#include <string>

#include "platform/secret_memory.h"
#include "platform/text.h"

namespace kvmon {

// The texts are cut to what their fields hold.
struct TargetSettings {
    bool bFromCamera = false;  // the peer is the camera itself
    std::uint32_t nCh = 0;
    std::uint32_t nPort = 80;
    BoundedText<64> szAddress;
    BoundedText<64> szUserName;
    SecretText<64> szPasswd;
    BoundedText<64> szBase64Auth;
    BoundedText<256> szVideoURL;  // of a camera
    std::string strChallenge;     // what a camera wants to have answered before it serves
};

}  // namespace kvmon
