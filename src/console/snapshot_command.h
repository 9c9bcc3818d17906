// The command that saves the active camera's picture.
#pragma once

#include <memory>
#include <string>

#include "console/snapshot_name.h"
#include "persist/utilities.h"

namespace kvmon {

class CBaseCamera;
class CKelvaraInfo;
class CMainDlg;

// Command 1750. Its dialogs wait for nobody. User interface thread only.
class SnapshotCommand {
public:
    explicit SnapshotCommand(CMainDlg& dlg) : m_dlg(dlg) {}

    // A process of low integrity saves to its own folder and opens the file for the user to store it.
    void Take(bool bLowIntegrity = IsLowIntegrity());

private:
    struct Order {
        std::weak_ptr<CBaseCamera> camera;
        std::string path;
        std::string stamp;
        bool bJpeg = true;
        bool bOpenAfter = false;
    };

    void TakeActive(bool bLowIntegrity);
    void ShowNotice();
    // The camera's name and the time by its recorder's clock; empty while that is unknown.
    std::string GetSnapshotTimeStamp(const CBaseCamera& camera, const CKelvaraInfo& server) const;
    void AskAndSave(Order order);
    void Save(const Order& order);

    CMainDlg& m_dlg;
    SnapshotNames m_names;
};

}  // namespace kvmon
