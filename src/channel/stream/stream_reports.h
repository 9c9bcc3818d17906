// What the reception of a channel tells of its stream.
#pragma once

#include <cstdint>

#include "platform/caught.h"

namespace kvmon {

class CameraPatience;

// Causes of a failed stream, with the numbers that their reports carry.
enum StreamError : int {
    kStreamConnect = 1,
    kStreamCreate = 4,
    kStreamSend = 5,
    kStreamStatus = 6,  // the argument is the status
    kStreamBodyCut = 8,
    kStreamNoBuffer = 9,
    kStreamLine = 10,
    kStreamNoLength = 12,
    kStreamUnknownCode = 23,
    kStreamUnknownReserved = 24,
    kStreamAudio = 25,
    kStreamSettings = 26,
    kStreamRequest = 27,
    kStreamNoBoundary = 28,
};

// Called by the reception and the look thread.
class StreamReports {
public:
    virtual ~StreamReports() = default;

    // A frame has come. When several have and for 5 s none became a picture, the cell says so.
    virtual void NoteReceived() = 0;
    // Counts a failure of the stream. The seventh shows as a caption, and then every sixth.
    virtual void ReportStreamError(int nCode, int nArg = 0) = 0;
    // A connection to the camera has ended by itself. If the camera is not worth another try its other way is
    // taken, and behind that the recorder's pictures, at once.
    virtual void EndCameraPass(CameraPatience& patience) = 0;
    // A camera that was looked for is there.
    virtual void RestartPlaying() = 0;
    // The reception could not do its work: the cell says why until a picture comes.
    virtual void TellFault(OwnFault /*fault*/) noexcept {}
    // Shows a text in the cell for a while.
    virtual void ShowText(std::uint32_t uStringId) = 0;
};

}  // namespace kvmon
