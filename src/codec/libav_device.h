// Decoding devices as libavcodec knows them.
#pragma once

#include <memory>
#include <span>
#include <string>

#include "codec/hardware_device.h"

namespace kvmon {

// Names that OpenLibavDevice takes, in the order in which one would try them.
std::span<const char* const> LibavDeviceNames();
// The computer's device of that name; null if there is none that opens, which is traced. May take as long
// as the driver likes.
std::shared_ptr<HardwareDevice> OpenLibavDevice(const std::string& name);

}  // namespace kvmon
