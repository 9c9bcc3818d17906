// The command that saves the active camera's picture.
#pragma once

#include <chrono>
#include <string>

#include "console/snapshot_name.h"
#include "console/snapshot_writer.h"
#include "persist/utilities.h"

namespace kvmon {

class CBaseCamera;
class CKelvaraInfo;
class CMainDlg;

// Command 1750. Its dialogs wait for nobody. User interface thread only.
class SnapshotCommand {
public:
    explicit SnapshotCommand(CMainDlg& dlg) : m_dlg(dlg), m_writer(dlg) {}

    // A process of low integrity saves to its own folder and opens the file for the user to store it.
    void Take(bool bLowIntegrity = IsLowIntegrity());

private:
    using Time = std::chrono::system_clock::time_point;

    void TakeActive(bool bLowIntegrity);
    void ShowNotice();
    // The camera's name and the time by its recorder's clock; empty while that is unknown.
    std::string GetSnapshotTimeStamp(const CBaseCamera& camera, const CKelvaraInfo& server, Time now) const;
    void AskAndSave(const SnapshotOrder& order);

    CMainDlg& m_dlg;
    SnapshotNames m_names;
    SnapshotWriter m_writer;
};

}  // namespace kvmon
