#include "audio/sdl_sound.h"

#include <SDL2/SDL.h>
#include <dlfcn.h>

#include <chrono>
#include <mutex>

#include "platform/diagnostics.h"

namespace kvmon {

namespace {

void Ignore(const char*, int, const char*, int, const char*, ...) {}

// The system's sound library tells each of its troubles on the standard error: dozens of lines on a machine
// without a card. SDL says what comes of them.
void SilenceAlsa() {
    const auto setHandler =
        reinterpret_cast<int (*)(decltype(&Ignore))>(dlsym(RTLD_DEFAULT, "snd_lib_error_set_handler"));
    if (setHandler != nullptr) {
        setHandler(Ignore);
    }
}

}  // namespace

SoundErrors::~SoundErrors() {
    SDL_TLSCleanup();
}

bool InitSound() {
    constexpr std::chrono::seconds kNextTry{5};
    using SteadyClock = std::chrono::steady_clock;
    static std::mutex mutex;
    static bool ready = false;
    static bool told = false;
    static SteadyClock::time_point next{};

    const std::lock_guard lock(mutex);
    if (ready || SteadyClock::now() < next) {
        return ready;
    }
    const SoundErrors errors;
    SilenceAlsa();
    SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
    ready = SDL_InitSubSystem(SDL_INIT_AUDIO) == 0;
    if (!ready && !told) {
        Diagnose("no sound on this machine: %s\n", SDL_GetError());
        told = true;
    }
    next = SteadyClock::now() + kNextTry;
    return ready;
}

}  // namespace kvmon
