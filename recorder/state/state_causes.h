// Why channels are in the states that they are in.
#pragma once

#include <array>
#include <cstddef>

#include "state/recorder_config.h"

namespace kvrecorder {

// Several may be behind one state.
enum class Cause {
    StreamLost,    // no pictures come
    SignalLost,    // the camera says that it has none
    PicturesMove,  // as is seen here
    CameraMoves,   // as the camera says
    Input,
    Tampering,
};
inline constexpr std::size_t kCauses = 6;

// A state is on while any of its causes is. One thread at a time.
class StateCauses {
public:
    // Shows it in the channel's states.
    void Set(int channel, Cause cause, bool on, StatusDigits& status);
    // Shows all that is on, and nothing that is not.
    void Show(int channel, StatusDigits& status) const;
    // Of a source that is there no more.
    void Forget(int channel);

private:
    std::array<ChannelSet, kCauses> m_on;
};

void Mark(StatusDigits& digits, const StatusFlag& flag, bool on);

}  // namespace kvrecorder
