// Where decoded pictures go.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "channel/frames/frame_pool.h"
#include "codec/picture.h"
#include "platform/caught.h"

namespace kvmon {

struct ThreadControl;

// Called by the thread that decodes: the decode thread, or the reception thread in its place.
class PictureSink {
public:
    virtual ~PictureSink() = default;

    // The header of the pictures that come.
    virtual void SetBitmapInfo(const BITMAPINFOHEADER& bmpInfo) = 0;
    // A finished picture takes the screen. Nothing if the thread was abandoned.
    virtual void AddDecodeFrame(const ThreadControl& control, std::unique_ptr<CVideoBmpFrame> frame) = 0;
    // The pictures are drawn so small that those which no other refers to may be left out.
    virtual bool TakesFewer() const { return false; }
    // The size in which pictures are shown; empty while they are wanted in their own.
    virtual PictureSize GetShownSize() const { return {}; }
    // There is no frame, and the thread goes to sleep until its event `run`, which was reset before this.
    virtual void OnIdle() {}
    // Pictures are not wanted for the time being, and none is under way.
    virtual void OnPaused() {}
    // When the frame that is decoded next came off the wire; 0 where that is not known.
    virtual void SetReceiveTime(std::uint64_t /*ms*/) {}
    // How unevenly pictures come, and for how long the one that comes next was held back, in milliseconds.
    virtual void SetPace(std::uint64_t /*jitterMs*/, std::uint64_t /*heldMs*/) {}
    // What kind of frames there are, for the information lines.
    virtual void SetFrameType(const std::string& type) = 0;
    // Shows why there is no picture, until the next one comes.
    virtual void SetCaption(const std::string& text) = 0;
    // The decoding could not do its work: the cell says why until a picture comes.
    virtual void TellFault(OwnFault /*fault*/) noexcept {}
};

}  // namespace kvmon
