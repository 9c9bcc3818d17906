// The device that the channels of a process decode on.
#pragma once

#include <string>

#include "codec/hardware_search.h"

namespace kvmon {

// The process has one, made before its channels. They keep what was found, and may outlive it.
class DecodingDevice {
public:
    // One of HardwareChoices().
    explicit DecodingDevice(const std::string& choice);

private:
    const HardwareSearch m_search;
};

}  // namespace kvmon
