// The recorders' clocks, for the stamp on snapshots.
#pragma once

#include <cstdint>
#include <map>
#include <optional>

#include "platform/worker.h"

namespace kvmon {

class CKelvaraInfo;
struct ConsoleSettings;
class Desk;

// Asks each connected recorder for its time, but only while the stamp is switched on: recorders without it
// get no such request. User interface thread only; the asking has threads of its own.
class ServerClock {
public:
    ServerClock(const Desk& desk, const ConsoleSettings& settings) : m_desk(desk), m_settings(settings) {}
    ~ServerClock();

    // Once a second.
    void OnTick();

private:
    struct Reading {
        std::optional<std::uint64_t> asked;  // milliseconds of the clock
        Worker thread;
    };

    const Desk& m_desk;
    const ConsoleSettings& m_settings;
    std::map<const CKelvaraInfo*, Reading> m_readings;
};

}  // namespace kvmon
