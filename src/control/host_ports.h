// What the control asks of its host's surroundings: the page's browser and the system's network shares.
#pragma once

#include <string>

#include "control/variant.h"

namespace kvmon {

// The host's site. User interface thread; nothing may wait in it.
class BrowserPort {
public:
    virtual ~BrowserPort() = default;
    // A command of the page to the browser around it. What the host cannot do ends quietly.
    virtual void HostUIControl(int id, const Variant& param) = 0;
};

// Shares that the page's playback reads from.
class SharePort {
public:
    virtual ~SharePort() = default;
    // 0, or an error number.
    virtual int Connect(const std::string& user, const std::string& password, const std::string& share) = 0;
    virtual void Cancel(const std::string& share) = 0;
};

}  // namespace kvmon
