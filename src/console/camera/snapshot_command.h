// The command that saves the active camera's picture.
#pragma once

#include <QtCore/QPointer>
#include <chrono>
#include <string>

#include "console/camera/kept_picture.h"
#include "console/camera/snapshot_news.h"
#include "console/camera/snapshot_writer.h"
#include "console/settings/snapshot_name.h"
#include "persist/utilities.h"

namespace kvmon {

inline constexpr int kCmdGallery = 17280;

class ActiveCamera;
class CBaseCamera;
class CellFlash;
class CKelvaraInfo;
class ClientSite;
class Clock;
struct ConsoleSettings;
class Desk;
class FeedbackLine;
class SnapshotGallery;

// Command 1750, and the gallery of what it has saved today. Its dialogs wait for nobody. User interface
// thread only.
class SnapshotCommand {
public:
    SnapshotCommand(Desk& desk, const ActiveCamera& active, const ConsoleSettings& settings,
                    FeedbackLine& feedback, CellFlash& flash, ClientSite& site, Clock& clock);

    // A process of low integrity saves to its own folder and opens the file for the user to store it.
    void Take(bool bLowIntegrity = IsLowIntegrity());
    // Command kCmdGallery.
    void OpenGallery();

private:
    using Time = std::chrono::system_clock::time_point;

    void TakeActive(bool bLowIntegrity);
    void TakeNewest(bool bLowIntegrity);
    void OnKept(bool bNewest);
    void TellNoPicture(bool bLowIntegrity);
    void ShowNotice();
    // The camera's name and the time by its recorder's clock; empty while that is unknown.
    std::string GetSnapshotTimeStamp(const CBaseCamera& camera, const CKelvaraInfo& server, Time now) const;
    void AskAndSave(const SnapshotOrder& order);
    void OnEnded(const SnapshotOrder& order, const SnapshotFailure& failure);

    Desk& m_desk;
    const ActiveCamera& m_active;
    const ConsoleSettings& m_settings;
    CellFlash& m_flash;
    ClientSite& m_site;
    Clock& m_clock;
    SnapshotNames m_names;
    SnapshotNews m_news;
    QPointer<SnapshotGallery> m_gallery;
    SnapshotWriter m_writer;
    KeptPicture m_kept;
    std::weak_ptr<CBaseCamera> m_keptOf;  // whose picture was asked for
    bool m_bKeptLowIntegrity = false;
};

}  // namespace kvmon
