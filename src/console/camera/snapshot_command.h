// The command that saves the active camera's picture.
#pragma once

#include <chrono>
#include <string>

#include "console/camera/snapshot_writer.h"
#include "console/settings/snapshot_name.h"
#include "persist/utilities.h"

namespace kvmon {

class ActiveCamera;
class CBaseCamera;
class CKelvaraInfo;
class Clock;
struct ConsoleSettings;
class Desk;

// Command 1750. Its dialogs wait for nobody. User interface thread only.
class SnapshotCommand {
public:
    SnapshotCommand(Desk& desk, const ActiveCamera& active, const ConsoleSettings& settings, Clock& clock)
        : m_desk(desk), m_active(active), m_settings(settings), m_clock(clock), m_writer(desk) {}

    // A process of low integrity saves to its own folder and opens the file for the user to store it.
    void Take(bool bLowIntegrity = IsLowIntegrity());

private:
    using Time = std::chrono::system_clock::time_point;

    void TakeActive(bool bLowIntegrity);
    void ShowNotice();
    // The camera's name and the time by its recorder's clock; empty while that is unknown.
    std::string GetSnapshotTimeStamp(const CBaseCamera& camera, const CKelvaraInfo& server, Time now) const;
    void AskAndSave(const SnapshotOrder& order);

    Desk& m_desk;
    const ActiveCamera& m_active;
    const ConsoleSettings& m_settings;
    Clock& m_clock;
    SnapshotNames m_names;
    SnapshotWriter m_writer;
};

}  // namespace kvmon
