#include "console/console_tables.h"

#include <QtGui/QCursor>
#include <QtWidgets/QComboBox>
#include <algorithm>
#include <iterator>

#include "channel/base/cam_commands.h"
#include "channel/base/channel_messages.h"
#include "channel/camera/base_camera.h"
#include "channel/cell/video_wnd.h"
#include "channel/command/command_results.h"
#include "channel/picture/captions.h"
#include "console/camera/camera_pages.h"
#include "console/console_parts.h"
#include "console/main_menu.h"
#include "console/panel/keyboard_help.h"
#include "console/ports/client_site.h"
#include "console/ports/commands.h"
#include "console/ports/console_messages.h"
#include "console/ports/desk.h"
#include "console/ports/panel_buttons.h"
#include "console/views/views_dialog.h"
#include "console/views/views_menu.h"
#include "console/wall/moved_word.h"
#include "console/wall/view_commands.h"
#include "persist/string_table.h"
#include "server/recorder_list.h"
#include "server/server_messages.h"
#include "skin/input_messages.h"
#include "skin/skin_messages.h"
#include "skin/window_base.h"

namespace kvmon {

namespace {

using Parts = ConsoleParts;

constexpr int kHelpTopics = 12;
constexpr std::uint32_t kStrOrderReset = 1110;

// -1 for a number that does not fit an int, as no channel or window has it.
int NumberOf(WParam wParam) {
    return wParam <= 0x7FFFFFFF ? static_cast<int>(wParam) : -1;
}

int ServerOf(const Parts& parts, LParam lParam) {
    return lParam >= 0 && lParam < parts.recorders.GetServerCount() ? static_cast<int>(lParam) : -1;
}

// --- commands

void GoToPage(Parts& parts, int id) {
    if (id == kCtlGotoPage2) {
        parts.controls.SetShown(kCtlGotoPage2, false);
    }
    parts.desk.MakeRoom();
    parts.site.NotifyGotoPage(id == kCtlGotoPage1 ? 1 : 2);
}

void LogInOrOut(Parts& parts, int) {
    if (parts.session.IsLoggedIn() && parts.lock.IsLocked()) {
        parts.controls.SetPressed(kCtlLogout, true);
        return;
    }
    if (parts.session.IsLoggedIn() || !parts.session.SignIn().Focus()) {
        parts.session.OnBtnLogout();
    }
    parts.controls.SetPressed(kCtlLogout, parts.session.IsLoggedIn());
}

void ResetOrder(Parts& parts, int) {
    parts.view.ResetDisplayOrder();
    parts.feedback.Say(LoadString(kStrOrderReset));
}

void TurnViewSize(Parts& parts, int id) {
    parts.view.SetMaxViewMode(parts.controls.IsPressed(id));
    parts.desk.Window().update();
}

void TurnFullScreen(Parts& parts, int id) {
    if (parts.lock.IsLocked()) {
        parts.controls.SetPressed(id, true);
        parts.LeaveWall();
        return;
    }
    parts.screens.SetFullScreen(parts.controls.IsPressed(id));
    parts.desk.RefreshCursor();
}

// Where there are fewer views the key is the preset's, as it is in pages that have none.
void OpenViewOrPreset(Parts& parts, int id) {
    if (!parts.desk.IsLoggedIn()) {
        return;
    }
    const int place = id - kKeyFirstView;
    const ConsoleControls::State preset = parts.controls.Get(kCmdPresetFirst + place);
    if (static_cast<std::size_t>(place) < parts.views.List().All().size()) {
        parts.views.OpenAt(static_cast<std::size_t>(place));
    } else if (preset.shown && preset.enabled && !preset.busy) {
        parts.commands.Press(kCmdPresetFirst + place);
    }
}

void OpenMenu(Parts& parts, int) {
    const bool bInSession = parts.binding.IsInitialised() && parts.session.IsLoggedIn();
    OpenMainMenu(
        {parts.view.GetDisplayCount(), bInSession, parts.site.CanQuit(), parts.site.HasDesktop(),
         bInSession && parts.admin.IsOffered(), parts.events.Events().UnreadCount(), parts.site.HasWalls(),
         parts.site.AreWallsOn(), !parts.help.Address(parts.helpUrl, 0).empty()},
        parts.views, parts.spots, parts.commands);
}

// A page is its browser's to close: there the key leaves the session.
void Quit(Parts& parts, int) {
    if (parts.site.CanQuit()) {
        parts.site.Quit();
    } else if (parts.session.IsLoggedIn()) {
        parts.commands.Press(kCtlLogout);
    }
}

// What is about the program, and not about one wall of it.
bool IsOfProgram(int id) {
    switch (id) {
        case kKeyQuit:
        case kKeyWalls:
        case kCtlMultiScreens:
        case kCtlLanguage:
        case kCtlGotoPage1:
        case kCtlGotoPage2:
        case kCtlOptions:
        case kCtlHelp:
        case kCtlLogout:
        case kCtlRecorders:
        case kCtlCameraList:
        case kCmdEvents:
        case kCmdCameras:
            return true;
        default:
            return false;
    }
}

struct CommandRow {
    int first;
    int last;
    void (*run)(Parts& parts, int id);
};

// clang-format off
constexpr CommandRow kCommands[] = {
    {kKeyHelp, kKeyHelp, [](Parts& p, int) { OpenKeyboardHelp(p.desk, p.buttons); }},
    {kKeyQuit, kKeyQuit, Quit},
    {kKeyWalls, kKeyWalls, [](Parts& p, int) { p.site.TurnWalls(); }},
    {kKeyNextPage, kKeyNextPage, [](Parts& p, int) { p.view.TurnPage(1); }},
    {kKeyPreviousPage, kKeyPreviousPage, [](Parts& p, int) { p.view.TurnPage(-1); }},
    {kKeyCameraRight, kKeyCameraRight, [](Parts& p, int) { p.focus.Move(CellMove::Right); }},
    {kKeyCameraLeft, kKeyCameraLeft, [](Parts& p, int) { p.focus.Move(CellMove::Left); }},
    {kKeyCameraUp, kKeyCameraUp, [](Parts& p, int) { p.focus.Move(CellMove::Up); }},
    {kKeyCameraDown, kKeyCameraDown, [](Parts& p, int) { p.focus.Move(CellMove::Down); }},
    {kKeyAlone, kKeyAlone, [](Parts& p, int) { p.alone.Toggle(); }},
    {kKeyCellMenu, kKeyCellMenu, [](Parts& p, int) { p.cellMenu.OpenAtCell(); }},
    {kKeyBar, kKeyBar, [](Parts& p, int) { p.bar.Open(); }},
    {kKeyLeave, kKeyLeave, [](Parts& p, int) { p.LeaveWall(); }},
    {kCtlMultiScreens, kCtlMultiScreens, [](Parts& p, int) { p.screens.OnBtnMultiScreens(); }},
    {kCtlLanguage, kCtlLanguage, [](Parts& p, int) { p.options.OpenLanguages(); }},
    {kCtlGotoPage1, kCtlGotoPage1, GoToPage},
    {kCtlOptions, kCtlOptions, [](Parts& p, int) { p.options.OpenSettings(); }},
    {kCtlGotoPage2, kCtlGotoPage2, GoToPage},
    {kCtlHelp, kCtlHelp, [](Parts& p, int) { p.OpenHelp(0); }},
    {kCtlLogout, kCtlLogout, LogInOrOut},
    {kCtlOrderReset, kCtlOrderReset, ResetOrder},
    {kCtlCameraSettings, kCtlCameraSettings, [](Parts& p, int) { GotoCameraSettings(p.active, p.desk, p.site); }},
    {kCtlMainMenu, kCtlMainMenu, OpenMenu},
    {kCtlRecorders, kCtlRecorders, [](Parts& p, int) { p.options.OpenRecorders(*p.desk.DialogHost()); }},
    {kCtlPipSettings, kCtlPipSettings, [](Parts& p, int) { OpenPipSettings(p.desk, p.commands, p.view, p.cameras); }},
    {kCtlFirstStyle, kCtlLastStyle - 1, [](Parts& p, int id) { p.styles.SelectStyle(static_cast<ViewStyle>(id - kCtlFirstStyle)); }},
    {kCtlLastStyle, kCtlLastStyle, [](Parts& p, int) { OpenCustomStyles(p.spots, p.view, p.styles); }},
    {kCtlViewSize, kCtlViewSize, TurnViewSize},
    {kCtlFullScreen, kCtlFullScreen, TurnFullScreen},
    {kCtlSequential, kCtlSequential, [](Parts& p, int) { p.sequential.OnBtnSequential(); }},
    {kCtlSequentialInterval, kCtlSequentialInterval, [](Parts& p, int) { p.sequential.OpenIntervalDialog(); }},
    {kCtlPageMenu, kCtlPageMenu, [](Parts& p, int) { p.sequential.OnBtnSequentialPage(); }},
    {kCtlSnapshot, kCtlSnapshot, [](Parts& p, int) { p.snapshot.Take(); }},
    {kCtlRecord, kCtlRecord, [](Parts& p, int) { p.record.OnBtnManualRecording(); }},
    {kCtlAudio, kCtlAudio, [](Parts& p, int) { p.heard.Sync(); }},
    {kCtlTalk, kCtlTalk, [](Parts& p, int) { p.audio.OnTalk(); }},
    {kCtlCameraHome, kCtlCameraHome, [](Parts& p, int) { OpenCameraHome(p.active, p.desk, p.site); }},
    {kCmdRefreshControls, kCmdRefreshControls, [](Parts& p, int) { p.OnRefreshControls(); }},
    {kCtlFirstPtz, kCtlLastPtz, [](Parts& p, int id) { p.ptz.OnClick(id); }},
    {kCtlPresetMenu, kCtlPresetMenu, [](Parts& p, int) { p.cameraControls.OnBtnPresetMenu(); }},
    {kCmdEvents, kCmdEvents, [](Parts& p, int) { p.events.OpenWindow(); }},
    {kCmdEMap, kCmdEMap, [](Parts& p, int) { p.windows.OpenEMap(); }},
    {kCmdDiskStatus, kCmdDiskStatus, [](Parts& p, int) { p.windows.OpenDiskStatus(); }},
    {kCmdCameras, kCmdCameras, [](Parts& p, int) { p.admin.Open(); }},
    {kKeyFirstView, kKeyLastView, OpenViewOrPreset},
    {kCmdFirstView, kCmdLastView, [](Parts& p, int id) { p.views.OpenAt(static_cast<std::size_t>(id - kCmdFirstView)); }},
    {kCtlCameraList, kCtlCameraList, [](Parts& p, int) { p.drawer.OnToggle(); }},
    {kCmdViews, kCmdViews, [](Parts& p, int) { OpenViewsDialog(p.desk, p.views); }},
    {kCmdGallery, kCmdGallery, [](Parts& p, int) { p.snapshot.OpenGallery(); }},
    {kKeyGallery, kKeyGallery, [](Parts& p, int) { p.snapshot.OpenGallery(); }},
    {kKeyFeedback, kKeyFeedback, [](Parts& p, int) { p.feedback.Focus(); }},
};
// clang-format on

// --- messages

void OnServerChange(Parts& parts, WParam code, LParam server) {
    parts.binding.OnUpdateSvrInfo(static_cast<std::uint32_t>(code), ServerOf(parts, server));
    parts.status.OnTick();
}

void OnServerFailure(Parts& parts, WParam code, LParam server) {
    parts.binding.OnGetVSInfoFailed(static_cast<std::uint32_t>(code), ServerOf(parts, server));
    parts.status.OnFailure(parts.recorders.GetServer(ServerOf(parts, server)));
}

// A click into the pictures ends the choice of a page.
void OnButtonUp(Parts& parts, WParam, LParam) {
    if (parts.view.Combo().hasFocus() && parts.cells.FindAt(QCursor::pos()) != nullptr) {
        parts.desk.Handle().Post(kMsgFocusStyleButton, 0, 0);
    }
}

void OnDoubleClick(Parts& parts, WParam, LParam) {
    parts.view.ActivateWindowAt(QCursor::pos());
    parts.alone.Toggle();
}

void LeaveSecondDisplay(Parts& parts, WParam, LParam) {
    if (!parts.lock.IsLocked()) {
        parts.screens.LeaveSecondDisplay();
    }
}

void OpenAlone(Parts& parts, WParam window, LParam) {
    if (CVideoWnd* const cell = parts.cells.Get(NumberOf(window)); cell != nullptr && cell->isVisible()) {
        parts.view.ChooseWindow(cell);
        parts.alone.Toggle();
    }
}

void MoveCamera(Parts& parts, WParam channel, LParam place) {
    const CVideoWnd* const target = parts.view.FindDropTarget(NumberOf(channel), UnpackPoint(place));
    const std::string other = CameraNameOf(target);
    parts.view.OnVideoWndMove(NumberOf(channel), UnpackPoint(place));
    const auto camera = parts.cameras.GetCameraByChannel(NumberOf(channel));
    if (target != nullptr && camera) {
        TellMoved(parts.feedback, DisplayLine(camera->GetCameraName()), other);
    }
}

void ActivateAtPointer(Parts& parts, WParam, LParam) {
    parts.view.ActivateWindowAt(QCursor::pos());
}

// The answer for the cell that asks; 0 for no.
LParam AnswerDrag(Parts& parts, std::uint32_t message, WParam wParam, LParam lParam) {
    const int channel = NumberOf(wParam);
    switch (message) {
        case kMsgMayDragCell:
            return parts.drag.MayBegin(channel) ? 1 : 0;
        case kMsgDragMoves:
            return parts.drag.Move(channel, UnpackPoint(lParam)) ? 1 : 0;
        default:
            return parts.drag.End(channel) ? 1 : 0;
    }
}

struct MessageRow {
    std::uint32_t message;
    void (*answer)(Parts& parts, WParam wParam, LParam lParam);
};

// clang-format off
constexpr MessageRow kMessages[] = {
    {WM_COMMAND, [](Parts& p, WParam w, LParam) { RunCommand(p, static_cast<int>(w & 0xFFFF)); }},
    {WM_UPDATEVSINFO, OnServerChange},
    {WM_GETVSINFO_FAILED, OnServerFailure},
    {WM_GETNVREVENT, [](Parts& p, WParam w, LParam l) { p.events.OnGetEvents(w, ServerOf(p, l)); }},
    {kMsgRefreshEnds, [](Parts& p, WParam, LParam) { p.OnRefreshEnds(); }},
    {kMsgPressLogout, [](Parts& p, WParam, LParam) { p.commands.Press(kCtlLogout); }},
    {kMsgPtzPress, [](Parts& p, WParam w, LParam l) { p.ptz.OnPress(static_cast<int>(l & 0xFFFF), w == 1); }},
    {kMsgEndStop, [](Parts& p, WParam, LParam) { p.ptz.OnFinished(); }},
    {kMsgManualRecording, [](Parts& p, WParam w, LParam l) { p.record.OnRecordingResult(static_cast<RecordingResult>(w), static_cast<int>(l)); }},
    {kMsgOpenHelp, [](Parts& p, WParam, LParam l) { p.OpenHelp(l >= 0 && l < kHelpTopics ? static_cast<int>(l) : -1); }},
    {kMsgFocusStyleButton, [](Parts& p, WParam, LParam) { p.buttons.FocusStyle(); }},
    {kMsgCellFocused, [](Parts& p, WParam w, LParam) { p.focus.OnCellFocused(NumberOf(w)); }},
    {kMsgCellAlone, OpenAlone},
    {kMsgFullScreenClosed, [](Parts& p, WParam, LParam) { p.LeaveWall(); }},
    {kMsgSecondPanelClosed, LeaveSecondDisplay},
    {kMsgVideoWndMove, MoveCamera},
    {kMsgDragBegins, [](Parts& p, WParam w, LParam l) { p.drag.Begin(NumberOf(w), UnpackPoint(l)); }},
    {kMsgSwipe, [](Parts& p, WParam, LParam l) { p.view.TurnPage(l < 0 ? -1 : 1); }},
    {kMsgGoToCamera, [](Parts& p, WParam w, LParam) { p.view.GoToCamera(NumberOf(w)); }},
    {kMsgRepaintNeighbours, [](Parts& p, WParam w, LParam) { p.view.RepaintNeighbours(NumberOf(w)); }},
    {kMsgSizeChange, [](Parts& p, WParam w, LParam) { p.view.OnVideoSizeChange(NumberOf(w)); }},
    {kMsgFirstData, [](Parts& p, WParam w, LParam) { p.busy.OnGetDataStream(static_cast<std::uint32_t>(w)); }},
    {WM_LBUTTONDOWN, ActivateAtPointer},
    {WM_RBUTTONDOWN, ActivateAtPointer},
    {WM_LBUTTONUP, OnButtonUp},
    {WM_LBUTTONDBLCLK, OnDoubleClick},
    {WM_CONTEXTMENU, [](Parts& p, WParam, LParam l) { p.cellMenu.Open(UnpackPoint(l)); }},
};

// --- timers

struct TimerRow {
    std::uint32_t id;
    void (*run)(Parts& parts);
};

void Sweep(Parts& parts) {
    parts.recorders.ReapRemovedServers(StopWait::Brief);
    parts.recorders.ReapRemovedCameras(StopWait::Brief);
}

constexpr TimerRow kTimers[] = {
    {kTimerWaitCursor, [](Parts& p) { p.busy.OnWaitEnd(); }},
    {kTimerLogin, [](Parts& p) { p.session.OnLoginTimer(); }},
    {kTimerSequential, [](Parts& p) { p.sequential.OnSwitchTimer(); }},
    {kTimerPrepare, [](Parts& p) { p.sequential.OnPrepareTimer(); }},
    {kTimerManualRecording, [](Parts& p) { p.record.OnRecordingWaitEnd(); }},
    {kTimerHold, [](Parts& p) { p.ptz.OnHoldTimer(); }},
    {kTimerKeyRelease, [](Parts& p) { p.keys.OnReleaseTimer(); }},
    {kTimerSweep, Sweep},
    {kTimerSecond, [](Parts& p) { p.OnSecond(); }},
    // The ticks prepare no pages: the cameras that a session has by then are those of the next one, which would
    // stream unseen for as long as the layout stands.
    {kTimerStopping, [](Parts& p) { p.session.OnStoppingTimer(); }},
    {kTimerViewStep, [](Parts& p) { p.views.OnStepTimer(); }},
    {kTimerFeedback, [](Parts& p) { p.feedback.OnTimer(); }},
    {kTimerBar, [](Parts& p) { p.bar.OnTimer(); }},
    {kTimerPointer, [](Parts& p) { p.pointer.OnTimer(); }},
    {kTimerFlash, [](Parts& p) { p.flash.End(); }},
    {kTimerEvents, [](Parts& p) { p.events.OnTimer(); }},
    {kTimerPendingServers, [](Parts& p) { p.binding.BuildView(); }},
};
// clang-format on

}  // namespace

void RunCommand(ConsoleParts& parts, int id) {
    if (IsOfProgram(id) && parts.site.HandOver(id)) {
        if (!IsOfKeysAlone(id)) {
            parts.controls.SetPressed(id, !parts.controls.IsPressed(id));  // the press was not this panel's
        }
        return;
    }
    const auto* const row =
        std::find_if(std::begin(kCommands), std::end(kCommands),
                     [id](const CommandRow& each) { return id >= each.first && id <= each.last; });
    if (row != std::end(kCommands)) {
        row->run(parts, id);
    } else {
        parts.cellMenu.OnCommand(id);
    }
}

std::optional<LParam> AnswerMessage(ConsoleParts& parts, std::uint32_t message, WParam wParam,
                                    LParam lParam) {
    if (message == kMsgMayDragCell || message == kMsgDragMoves || message == kMsgDragEnds) {
        return AnswerDrag(parts, message, wParam, lParam);
    }
    const auto* const row =
        std::find_if(std::begin(kMessages), std::end(kMessages),
                     [message](const MessageRow& each) { return each.message == message; });
    if (row == std::end(kMessages)) {
        return std::nullopt;
    }
    row->answer(parts, wParam, lParam);
    return 0;
}

bool RunTimer(ConsoleParts& parts, std::uint32_t id) {
    const auto* const row = std::find_if(std::begin(kTimers), std::end(kTimers),
                                         [id](const TimerRow& each) { return each.id == id; });
    if (row == std::end(kTimers)) {
        return false;
    }
    row->run(parts);
    return true;
}

}  // namespace kvmon
