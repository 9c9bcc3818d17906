// The panel's controls for the active camera, but for its head: what is shown, recording, tool tips.
#pragma once

#include <optional>
#include <string>

#include "console/control_rules.h"

namespace kvmon {

class CMainDlg;

// User interface thread only.
class CameraControls {
public:
    explicit CameraControls(CMainDlg& dlg) : m_dlg(dlg) {}

    // Command 1757.
    void Refresh();
    // Button 1751 was pressed; its check may change again before its command comes.
    void NoteRecordPress();
    // Command 1751: the recorder is told to begin or to end recording the active camera.
    void OnBtnManualRecording();
    // Timer 1007.
    void OnRecordingWaitEnd();
    // Command 1953: the active camera's presets as a menu.
    void OnBtnPresetMenu();
    // What the tool tip of a control says at present, without its key; `text` is the table's.
    std::string TipText(int id, const std::string& text) const;

private:
    ActiveCameraFacts Facts() const;
    std::string PresetName(int id) const;

    CMainDlg& m_dlg;
    std::optional<bool> m_wantsRecording;
};

}  // namespace kvmon
