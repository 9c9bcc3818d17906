// Pictures that an X11 server takes out of memory that it shares with the program.
#pragma once

#include <memory>

#include "skin/direct_screen.h"

namespace kvmon {

// Null where there is no such way: on another platform, a server on another computer, without its extension
// for shared memory, with other colours than 24 bits, or where QT_XCB_NO_MITSHM is set. By the toolkit's own
// connection, so that what the toolkit paints and what is put keep their order. User interface thread; must
// end before the application object.
std::unique_ptr<DirectScreen> OpenX11Screen();

}  // namespace kvmon
