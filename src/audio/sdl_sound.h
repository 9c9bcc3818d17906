// What all users of the sound library share. Inside this folder only.
#pragma once

#include <SDL2/SDL.h>

namespace kvmon {

// SDL's calls. It and the libraries behind it are loaded when something is to sound: they are 3 MB and 4 ms
// of a program that most people start to look.
struct SoundLibrary {
    decltype(&SDL_SetHint) setHint;
    decltype(&SDL_InitSubSystem) initSubSystem;
    decltype(&SDL_GetError) getError;
    decltype(&SDL_TLSCleanup) cleanupThread;
    decltype(&SDL_GetNumAudioDevices) getNumAudioDevices;
    decltype(&SDL_OpenAudioDevice) openAudioDevice;
    decltype(&SDL_PauseAudioDevice) pauseAudioDevice;
    decltype(&SDL_CloseAudioDevice) closeAudioDevice;
};

// The library when it is ready. Null on a machine without sound, which is asked again at most every few
// seconds. Any thread.
const SoundLibrary* InitSound();

// The library keeps the text of an error for each thread that met one, until that thread lets go of it here.
class SoundErrors {
public:
    SoundErrors() = default;
    ~SoundErrors();
    SoundErrors(const SoundErrors&) = delete;
    SoundErrors& operator=(const SoundErrors&) = delete;
};

}  // namespace kvmon
