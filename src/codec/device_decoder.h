// The decoder contract on a device alone.
#pragma once

#include <memory>

#include "codec/hardware_device.h"

namespace kvmon {

// Any failure of the device, or a unit that it cannot read, is kDecodeBadData, and so is a device that gives
// no picture for longer than pictures wait for one another; the decoder is then of no use before Init. A
// device that fails to scale gives whole pictures until then.
std::unique_ptr<VideoDecoder> CreateDeviceDecoder(std::shared_ptr<HardwareDevice> device);

}  // namespace kvmon
