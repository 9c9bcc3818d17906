// The panel's controls for the active camera, but for its head: what is shown, recording, tool tips.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "console/control_rules.h"

namespace kvmon {

class CBaseCamera;
class CMainDlg;

// User interface thread only.
class CameraControls {
public:
    explicit CameraControls(CMainDlg& dlg) : m_dlg(dlg) {}

    // Command 1757.
    void Refresh();
    // Command 1751: the recorder is told to begin recording the active camera, or to end that if it records.
    void OnBtnManualRecording();
    // What the recorder said to the order for the camera of this cell, message 11406.
    void OnRecordingResult(bool bAccepted, int cell);
    // Timer 1007: the button follows the recorder's word again.
    void OnRecordingWaitEnd();
    // Command 1953: the active camera's presets as a menu.
    void OnBtnPresetMenu();
    // What the tool tip of a control says at present, without its key; `text` is the table's.
    std::string TipText(int id, const std::string& text) const;

private:
    // An order that the recorder may not have followed yet.
    struct RecordingOrder {
        std::weak_ptr<CBaseCamera> camera;
        bool bOn = false;
        bool bAccepted = false;
    };

    ActiveCameraFacts Facts() const;
    const RecordingOrder* OrderFor(const std::shared_ptr<CBaseCamera>& camera) const;
    std::string PresetName(int id) const;

    CMainDlg& m_dlg;
    std::optional<RecordingOrder> m_order;
};

}  // namespace kvmon
