// From what the recorders tell to the list of cameras and the cells.
#pragma once

#include <QtCore/QPointer>
#include <QtWidgets/QDialog>
#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "channel/frames/frame_budget.h"
#include "console/settings/multi_server_list.h"
#include "server/recorder_list.h"

namespace kvmon {

class CBaseCamera;
class CKelvaraInfo;
class CameraList;
struct CameraSettings;
class CellPool;
class Commands;
struct ConsoleSettings;
class Desk;
class EventCenter;
class PanelButtons;
class ScreenController;
class SessionEvents;
class SiteWindows;
class Timers;
class ViewController;

class ServerBinding final : public RecorderListener {
public:
    ServerBinding(Desk& desk, Timers& timers, Commands& commands, PanelButtons& buttons,
                  SessionEvents& sessionEvents, ConsoleSettings& settings, ViewController& view,
                  ScreenController& screens, CellPool& cells, CameraList& cameras, SiteWindows& windows,
                  EventCenter& events, RecorderList& recorders)
        : m_desk(desk),
          m_timers(timers),
          m_commands(commands),
          m_buttons(buttons),
          m_sessionEvents(sessionEvents),
          m_settings(settings),
          m_view(view),
          m_screens(screens),
          m_cells(cells),
          m_cameras(cameras),
          m_windows(windows),
          m_events(events),
          m_recorders(recorders) {}

    // Message WM_UPDATEVSINFO. Codes outside 1 to 5 are ignored.
    void OnUpdateSvrInfo(std::uint32_t code, int server);
    void OnRecorderRemoved(const CKelvaraInfo& server) override { CloseRefusal(&server); }
    // Message WM_GETVSINFO_FAILED.
    void OnGetVSInfoFailed(std::uint32_t code, int server);
    // Timer kTimerPendingServers: builds the view, whether or not all stored servers have answered.
    void BuildView();

    // Once a second: starts the threads of recorders and channels that the system had no place for.
    void KeepThreads();
    // The user logs in: when the first server answers, those that the last logout stopped go on, too. Another
    // user has another list.
    void OnAutoLogin(const std::string& user);
    // Clears the head of the console, and ends the wait for recorders.
    void OnSessionEnd();
    // The head of the console names the recorder of the active cell; the first one if there is none.
    void ShowRecorderOfActiveCell();
    // Several recorders are told apart in the captions, if the option says so.
    void NameRecordersInCaptions();
    // The first connection update was handled.
    bool IsInitialised() const { return m_bInitialised; }
    // A recorder's name and model stand in the head of the console.
    bool IsServerShown() const { return m_nShownServer >= 0; }
    // The servers whose first answer the view waits for, a bit for each.
    std::uint64_t GetPendingMask() const { return m_nPendingMask; }
    // Restarts the servers after a change of options.
    void OnBtnServerLis();
    void SaveMultiServerInfo();
    // All servers as the list keeps them, the first one in front.
    std::vector<SavedServer> DescribeServers() const;
    // Makes these the servers besides the first one, at once, and stores the list: those that are not among
    // them go with their channels, those that are new are started, those that are there already go on.
    void ChangeServers(const std::vector<SavedServer>& further);
    // Stores the settings of all channels; before the channels go.
    void SaveCameraSettings();

private:
    static constexpr std::size_t kUpdateCodes = 6;  // one more than the greatest

    // What passes over the servers' cameras changed, until the wall has followed.
    struct Changes {
        bool list = false;
        bool count = false;
        bool name = false;
        bool status = false;
        std::vector<std::shared_ptr<CBaseCamera>> started;
    };

    void TakeUpdate(std::uint32_t code, int server);
    void RepeatMissed();
    void OnServerInfo(int server);
    void OnCameraConnection(int server);
    void OnFirstConnection();
    void OnCapabilities(int server);
    void TakeCapabilities(const CKelvaraInfo& info, int slot, CBaseCamera& camera);
    void LoadVSInfo();
    // Null when there cannot be one more.
    CKelvaraInfo* StartServer(const SavedServer& saved);
    SavedServer Describe(const CKelvaraInfo& info) const;
    std::string RegFolder(const CKelvaraInfo& info, int server) const;
    bool IsListed(const SavedServer& saved) const;
    void StartStoppedServers();
    void RemoveServersBut(const std::vector<SavedServer>& kept);
    void ShowChangedServers();
    void ShowChangedCameras();
    void UpdateCameraTable(int server);
    void UpdateCameraSlot(CKelvaraInfo& info, int server, int slot, const CameraSettings& settings);
    void UpdateCamera(int server);
    void CopyStatus(int server);
    void OnAuthorizationFailed(CKelvaraInfo& info, int server);
    void CloseRefusal(const CKelvaraInfo* info);
    void DropServer(int server);
    void RemoveCameras(int server);
    void RemoveCamera(int server, int slot);

    Desk& m_desk;
    Timers& m_timers;
    Commands& m_commands;
    PanelButtons& m_buttons;
    SessionEvents& m_sessionEvents;
    ConsoleSettings& m_settings;
    ViewController& m_view;
    ScreenController& m_screens;
    CellPool& m_cells;
    CameraList& m_cameras;
    SiteWindows& m_windows;
    EventCenter& m_events;
    RecorderList& m_recorders;
    const std::shared_ptr<FrameBudget> m_frameBudget = std::make_shared<FrameBudget>();  // of all channels
    int m_nShownServer = -1;
    Changes m_changes;
    std::array<std::uint64_t, kUpdateCodes> m_missed{};  // by code, a bit for each server
    bool m_bInitialised = false;
    bool m_bViewBuilt = false;
    bool m_bFurtherStopped = false;
    bool m_bStartFurther = false;
    bool m_bLoadFurther = false;
    bool m_bListHeld = false;    // there is a list, or the user has changed it
    std::string m_strListOwner;  // the first server's identity for which the list was read
    std::uint64_t m_nPendingMask = 0;
    std::map<std::string, std::string> m_givenNames;              // by the server's identity
    std::map<const CKelvaraInfo*, QPointer<QDialog>> m_refusals;  // what was told of a refused login
};

// The bit of a server in the pending mask.
constexpr std::uint64_t PendingBit(int server) {
    // 32 bits with their sign extended, as the mask has always been: index 31 sets the upper half, too.
    return static_cast<std::uint64_t>(
        static_cast<std::int64_t>(static_cast<std::int32_t>(1u << (static_cast<unsigned>(server) % 32))));
}

}  // namespace kvmon
