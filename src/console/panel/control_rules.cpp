#include "console/panel/control_rules.h"

#include "channel/base/cam_commands.h"
#include "console/panel/console_controls.h"

namespace kvmon {

void ShowCameraControls(const ActiveCameraFacts& facts, ConsoleControls& controls) {
    const CameraInfo& info = facts.info;
    for (int id = kCmdUp; id <= static_cast<int>(kCmdDownRight); ++id) {
        controls.SetShown(id, info.IsPanAndTiltable() && facts.bConnected);
    }
    controls.SetShown(kCmdHome, info.bHome && facts.bConnected);
    for (const int id : {kCmdZoomIn, kCmdZoomOut}) {
        controls.SetShown(id, (info.bZoomable && facts.bConnected) || facts.bDigitalZoom);
    }
    for (const int id : {kCmdFocusNear, kCmdFocusFar}) {
        controls.SetShown(id, info.bFocusable && facts.bConnected);
    }
    for (int id = kCmdPresetFirst; id <= static_cast<int>(kCmdPresetLast); ++id) {
        const bool bDefined = (info.dwPresetMask >> (id - static_cast<int>(kCmdPresetFirst)) & 1) != 0;
        controls.SetShown(id, facts.bWindow && facts.bConnected && bDefined);
    }
    controls.SetShown(kCtlPresetMenu, facts.bWindow && facts.bConnected && info.HasPresets());
    controls.SetShown(kCtlSnapshot, facts.bSnapshotRight);
    controls.SetShown(kCtlRecord, facts.bSnapshotRight && facts.bRecordRight);
    controls.SetPressed(kCtlRecord, facts.bRecording);
    controls.SetShown(kCtlCameraHome, facts.bMonitorable && facts.bHomePage);
    controls.SetShown(kCtlAudio, facts.bSoundOutput && facts.bSoundSource);
    controls.SetShown(kCtlTalk, facts.bCanTalk);
}

}  // namespace kvmon
