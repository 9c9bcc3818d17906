// What all users of the sound library share. Inside this folder only.
#pragma once

namespace kvmon {

// Readies the library; a machine without sound is asked again at most every few seconds. Any thread.
bool InitSound();

}  // namespace kvmon
