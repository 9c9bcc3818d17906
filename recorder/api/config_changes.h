// The configuration file as the interface sees it.
#pragma once

#include <functional>
#include <string>

#include "media/fault.h"
#include "state/config_text.h"

namespace kvrecorder {

class ConfigChanges {
public:
    virtual ~ConfigChanges() = default;

    // Why no change can be kept; empty if it can.
    virtual Fault Obstacle() const = 0;
    // Reads the file again if it is another than the one that is served, has `edit` change it, writes it and
    // has the recorder serve it. Gives what could not be taken over, in words. Throws ApiError, and lets
    // those of `edit` pass; the file is then as it was. It waits for the disk.
    virtual std::string Change(const std::function<void(ConfigText& text)>& edit) = 0;
};

}  // namespace kvrecorder
