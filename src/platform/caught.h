// What a thread does with an exception that reached its loop: nothing here allocates or throws.
#pragma once

#include <array>
#include <cstdint>

namespace kvmon {

// Why this program itself could not do its work, for a user who waits for it.
enum class OwnFault : std::uint8_t { NoMemory, NoThread, Program };

struct Caught {
    OwnFault fault = OwnFault::Program;
    std::array<char, 160> what{};  // for the trace
};

// What the handler that calls this has caught. Inside a handler only.
Caught TakeCaught() noexcept;

// Tells of it in the trace. Inside a handler only.
void TraceCaught(const char* name) noexcept;

// Runs a step that may find no memory, and tells in the trace when it threw. False then.
template <typename Step>
bool TryStep(const char* name, const Step& step) noexcept {
    try {
        step();
        return true;
    } catch (...) {
        TraceCaught(name);
        return false;
    }
}

}  // namespace kvmon
