#include "audio/sdl_sound.h"

#include <chrono>
#include <mutex>

#include "platform/diagnostics.h"
#include "platform/loaded_library.h"

namespace kvmon {

namespace {

void Ignore(const char*, int, const char*, int, const char*, ...) {}

// The system's sound library tells each of its troubles on the standard error: dozens of lines on a machine
// without a card. SDL says what comes of them.
void SilenceAlsa(const LoadedLibrary& library) {
    int (*setHandler)(decltype(&Ignore)) = nullptr;
    if (library.Bind("snd_lib_error_set_handler", setHandler)) {
        setHandler(Ignore);
    }
}

struct Sound {
    std::mutex mutex;
    SoundLibrary calls{};
    bool loaded = false;
    bool ready = false;
    bool told = false;
    std::chrono::steady_clock::time_point next{};

    bool Load() {
        const LoadedLibrary library("libSDL2-2.0.so.0");
        loaded = library && library.Bind("SDL_SetHint", calls.setHint) &&
                 library.Bind("SDL_InitSubSystem", calls.initSubSystem) &&
                 library.Bind("SDL_GetError", calls.getError) &&
                 library.Bind("SDL_TLSCleanup", calls.cleanupThread) &&
                 library.Bind("SDL_GetNumAudioDevices", calls.getNumAudioDevices) &&
                 library.Bind("SDL_OpenAudioDevice", calls.openAudioDevice) &&
                 library.Bind("SDL_PauseAudioDevice", calls.pauseAudioDevice) &&
                 library.Bind("SDL_CloseAudioDevice", calls.closeAudioDevice);
        if (loaded) {
            SilenceAlsa(library);
            calls.setHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
        }
        return loaded;
    }
};

Sound& TheSound() {
    static Sound sound;
    return sound;
}

}  // namespace

SoundErrors::~SoundErrors() {
    Sound& sound = TheSound();
    const std::lock_guard lock(sound.mutex);
    if (sound.loaded) {
        sound.calls.cleanupThread();
    }
}

const SoundLibrary* InitSound() {
    constexpr std::chrono::seconds kNextTry{5};
    using SteadyClock = std::chrono::steady_clock;
    Sound& sound = TheSound();
    const std::lock_guard lock(sound.mutex);
    if (!sound.ready && SteadyClock::now() >= sound.next) {
        sound.ready = (sound.loaded || sound.Load()) && sound.calls.initSubSystem(SDL_INIT_AUDIO) == 0;
        if (!sound.ready && !sound.told) {
            Diagnose("no sound on this machine: %s\n",
                     sound.loaded ? sound.calls.getError() : "its library cannot be loaded");
            sound.told = true;
        }
        if (!sound.ready && sound.loaded) {
            sound.calls.cleanupThread();
        }
        sound.next = SteadyClock::now() + kNextTry;
    }
    return sound.ready ? &sound.calls : nullptr;
}

}  // namespace kvmon
