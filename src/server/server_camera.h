// What a recorder's object needs of the channel objects that it keeps.
#pragma once

#include <cstdint>

namespace kvmon {

// Implemented by CBaseCamera.
class ServerCamera {
public:
    virtual ~ServerCamera() = default;
    // Asks the channel's threads to end. True if none is left. With bWait a thread gets 3000 ms and is then
    // abandoned.
    virtual bool StopCameraThreads(bool bWait) = 0;
    virtual std::uint32_t GetCHInMainDlg() const = 0;
};

}  // namespace kvmon
