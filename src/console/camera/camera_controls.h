// The panel's controls for the active camera, except those that steer it: visibility, tool tips, presets.
#pragma once

#include <string>

#include "console/panel/control_rules.h"

namespace kvmon {

class ActiveCamera;
class AudioPanel;
class CameraList;
class Commands;
class ConsoleControls;
class MenuSpots;
class RecordCommand;

// User interface thread only.
class CameraControls {
public:
    CameraControls(Commands& commands, const MenuSpots& spots, ConsoleControls& controls,
                   const ActiveCamera& active, const CameraList& cameras, AudioPanel& audio,
                   const RecordCommand& record)
        : m_commands(commands),
          m_spots(spots),
          m_controls(controls),
          m_active(active),
          m_cameras(cameras),
          m_audio(audio),
          m_record(record) {}

    // Command 1757.
    void Refresh();
    // Command 1953: the active camera's presets as a menu.
    void OnBtnPresetMenu();
    // What the tool tip of a control says at present, without its key; `text` is the table's.
    std::string TipText(int id, const std::string& text) const;

private:
    ActiveCameraFacts Facts() const;
    std::string PresetName(int id) const;

    Commands& m_commands;
    const MenuSpots& m_spots;
    ConsoleControls& m_controls;
    const ActiveCamera& m_active;
    const CameraList& m_cameras;
    AudioPanel& m_audio;
    const RecordCommand& m_record;
};

}  // namespace kvmon
