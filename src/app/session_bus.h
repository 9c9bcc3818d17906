// The desktop's session bus, as the threads that talk over it use it.
#pragma once

#include <memory>

using GDBusConnection = struct _GDBusConnection;
using GCancellable = struct _GCancellable;

namespace kvmon {

// Without this the library would start a session bus of its own.
bool HasSessionBus();

// Waits for the bus: not for the user interface's thread. Null without one. The library's connection ends the
// program with the session bus unless it is told not to; it is held as long as it is used, or the next one
// would have to be told anew.
std::shared_ptr<GDBusConnection> HoldSessionBus(GCancellable* cancel = nullptr);

}  // namespace kvmon
