// Devices that decode video, and one decoder on such a device.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "codec/video_decoder.h"

struct AVFrame;

namespace kvmon {

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
