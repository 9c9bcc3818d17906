// The page's commands to the browser around it.
#pragma once

#include <QtCore/QSize>
#include <cstdint>

#include "control/logout_calls.h"
#include "control/variant.h"

namespace kvmon {

class BrowserPort;

// User interface thread only.
class BrowserCommands {
public:
    // An unknown number, and a value that the command does not take, do nothing. `control` is the size of the
    // control's window.
    void Run(BrowserPort& port, std::int32_t id, const Variant& param, const QSize& control);

private:
    LogoutCalls m_logoutCalls;
};

}  // namespace kvmon
