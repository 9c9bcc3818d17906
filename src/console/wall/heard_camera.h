// Which camera is heard: the active one, while the panel's button for sound is pressed.
#pragma once

namespace kvmon {

class CameraList;
class CellPool;
class ConsoleControls;

// User interface thread only.
class HeardCamera {
public:
    HeardCamera(const ConsoleControls& controls, const CellPool& cells, const CameraList& cameras)
        : m_controls(controls), m_cells(cells), m_cameras(cameras) {}

    // The audio button exists and is pressed.
    bool IsAudioChecked() const;
    // Lets the active window's camera alone be heard if the button is pressed. All others fall silent first,
    // so that never two play.
    void Sync();

private:
    const ConsoleControls& m_controls;
    const CellPool& m_cells;
    const CameraList& m_cameras;
};

}  // namespace kvmon
