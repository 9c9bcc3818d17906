#include "app/guarded.h"

#include <chrono>
#include <cstdio>

namespace kvmon {

void TellLeftOut(const std::exception& cause) {
    using SteadyClock = std::chrono::steady_clock;
    constexpr std::chrono::seconds kPause{10};
    static bool bTold = false;  // of the interface's thread alone
    static SteadyClock::time_point last{};

    const auto now = SteadyClock::now();
    if (bTold && now - last < kPause) {
        return;
    }
    bTold = true;
    last = now;
    std::fprintf(stderr, "kvmon: a step was left out: %s\n", cause.what());
}

}  // namespace kvmon
