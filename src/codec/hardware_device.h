// Devices that decode video, and one decoder on such a device.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "codec/video_decoder.h"

struct AVFrame;

namespace kvmon {

// A picture that stays on the device, and keeps its place there, for as long as this lives. Any thread.
class HeldPicture {
public:
    virtual ~HeldPicture() = default;
    virtual PictureSize Size() const = 0;
    // As HardwareSession's.
    virtual bool ReadBack(AVFrame& out) = 0;
};

// One decoder on a device. One thread at a time. After a call that failed no other is made.
class HardwareSession {
public:
    enum class Step { Picture, None, Failed };

    virtual ~HardwareSession() = default;
    // Hands over one access unit, followed by kInputPadding readable bytes. False: refused, be it for the
    // unit's sake or the device's.
    virtual bool Send(std::span<const std::uint8_t> unit) = 0;
    // The next finished picture stays on the device, in place of the one before.
    virtual Step Receive() = 0;
    // Reads that picture back into `out`, which is empty: planes in plain memory, of any layout that
    // MakePlanar takes, with the picture's levels and colours.
    virtual bool ReadBack(AVFrame& out) = 0;
    // The same, scaled there to this size, which is no larger than its own. False, and the picture is still
    // to be had, from a device that does not scale.
    virtual bool ReadScaled(PictureSize /*size*/, AVFrame& /*out*/) { return false; }
    virtual PictureSize Size() const = 0;
    // Takes the picture off the session, which can go on. Null without memory.
    virtual std::unique_ptr<HeldPicture> Hold() { return nullptr; }
    virtual void SetLeavesOut(bool bLeavesOut) = 0;
};

// A device that was opened. Any thread.
class HardwareDevice {
public:
    virtual ~HardwareDevice() = default;
    virtual std::string Name() const = 0;
    // Null if the device does not decode this, or holds as many decoders as it can.
    virtual std::unique_ptr<HardwareSession> Open(const VideoDecoderParams& params) = 0;
};

}  // namespace kvmon
