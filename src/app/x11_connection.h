// The toolkit's connection to an X11 display.
#pragma once

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>

namespace kvmon {

// Null on any other platform, and without the application object.
xcb_connection_t* X11Connection();

struct X11Freed {
    void operator()(void* reply) const { std::free(reply); }
};
template <typename Reply>
using X11Reply = std::unique_ptr<Reply, X11Freed>;

}  // namespace kvmon
