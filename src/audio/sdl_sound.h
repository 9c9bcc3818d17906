// What all users of the sound library share. Inside this folder only.
#pragma once

namespace kvmon {

// Readies the library; a machine without sound is asked again at most every few seconds. Any thread.
bool InitSound();

// The library keeps the text of an error for each thread that met one, until that thread lets go of it here.
class SoundErrors {
public:
    SoundErrors() = default;
    ~SoundErrors();
    SoundErrors(const SoundErrors&) = delete;
    SoundErrors& operator=(const SoundErrors&) = delete;
};

}  // namespace kvmon
