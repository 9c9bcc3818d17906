// The recorders' clocks, for the stamp on snapshots.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "platform/worker.h"
#include "server/recorder_list.h"

namespace kvmon {

class CKelvaraInfo;
class Clock;
struct ConsoleSettings;
class Desk;

// Asks each connected recorder for its time, but only while the stamp is switched on: recorders without it
// get no such request. User interface thread only; the asking has threads of its own.
class ServerClock final : public RecorderListener {
public:
    ServerClock(const Desk& desk, const ConsoleSettings& settings, const RecorderList& recorders,
                Clock& clock)
        : m_desk(desk), m_settings(settings), m_recorders(recorders), m_clock(clock) {}
    ~ServerClock();

    // Once a second.
    void OnTick();
    void OnRecorderRemoved(const CKelvaraInfo& server) override;

private:
    struct Reading {
        std::optional<std::uint64_t> asked;  // milliseconds of the clock
        Worker thread;
    };

    const Desk& m_desk;
    const ConsoleSettings& m_settings;
    const RecorderList& m_recorders;
    Clock& m_clock;
    std::map<const CKelvaraInfo*, Reading> m_readings;
    std::vector<Worker> m_ending;  // that ask a recorder which is gone
};

}  // namespace kvmon
