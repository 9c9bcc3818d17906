// What the library that talks to a file server, and all that this process starts, can do at the most.
#pragma once

namespace kvmon {

// No more rights than now, few files and little memory and time, no core image, and only the calls of the
// system that the library and the desktop's program make: another gets EPERM, one that only an attacker makes
// ends the process. False where the system cannot do that.
bool ConfineProcess();

}  // namespace kvmon
