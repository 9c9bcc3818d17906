// The decoder contract on a device, with software behind it.
#pragma once

#include <functional>
#include <memory>

#include "codec/hardware_device.h"

namespace kvmon {

// The device to decode on, null while there is none. Asked at key pictures. Any thread.
using HardwareSource = std::function<std::shared_ptr<HardwareDevice>()>;

// Decodes H.264 and H.265 on the device from the first key picture at which there is one, and all else in
// software. When anything of the device fails, the pictures since the last key picture are decoded again in
// software, so that the unit at hand gives its picture all the same; of a group too large to be kept the
// pictures up to the next key picture are missing (kDecodeNeedMoreData). A device that failed for the
// unit's fault is taken again at the next key picture, otherwise not before the next Init.
std::unique_ptr<VideoDecoder> CreateHardwareDecoder(HardwareSource source);

}  // namespace kvmon
