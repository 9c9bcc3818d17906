// What others can see of a process that holds passwords.
#pragma once

namespace kvmon {

// No core image of it, and no other process of the same user reads its memory. What it starts is not
// concerned.
void KeepMemoryPrivate();

}  // namespace kvmon
