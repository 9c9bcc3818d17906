// What a camera has beside its pictures.
#pragma once

namespace kvrecorder {

struct CameraOffer {
    bool sound = false;  // it sends some that can be taken
    bool talk = false;   // it plays what is said to it

    bool operator==(const CameraOffer&) const = default;
};

}  // namespace kvrecorder
