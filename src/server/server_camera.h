// What a recorder's object needs of the channel objects that it keeps.
#pragma once

#include <cstdint>

#include "server/stop_wait.h"

namespace kvmon {

// Implemented by CBaseCamera.
class ServerCamera {
public:
    virtual ~ServerCamera() = default;
    // Asks the channel's threads to end. True if none is left. To the end a thread gets 3000 ms and is then
    // abandoned; else it is not waited for at all.
    virtual bool StopCameraThreads(StopWait wait) = 0;
    virtual std::uint32_t GetCHInMainDlg() const = 0;
};

}  // namespace kvmon
