// What a hub reports of its channels.
#pragma once

#include <functional>

namespace kvrecorder {

enum class MediaEvent {
    Motion,   // something moves before the camera, or no more
    Lost,     // the source gives nothing, or gives pictures again; known only while somebody watches
    Streams,  // they are others than before, as a camera tells
    Word,     // the source has something for the log
};
using MediaListener = std::function<void(int channel, MediaEvent event, bool on)>;

}  // namespace kvrecorder
