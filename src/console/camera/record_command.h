// The command that has the recorder record the active camera.
#pragma once

#include <memory>
#include <optional>

namespace kvmon {

class ActiveCamera;
class BusyState;
class CBaseCamera;
class CellPool;
class ConsoleControls;
class Timers;

// Command 1751. User interface thread only.
class RecordCommand {
public:
    RecordCommand(const ActiveCamera& active, const CellPool& cells, Timers& timers, BusyState& busy,
                  ConsoleControls& controls)
        : m_active(active), m_cells(cells), m_timers(timers), m_busy(busy), m_controls(controls) {}

    // The recorder is told to begin recording the active camera, or to end that if it records.
    void OnBtnManualRecording();
    // What the recorder said to the order for the camera of this cell, message 11406.
    void OnRecordingResult(bool bAccepted, int cell);
    // Timer 1007: the button follows the recorder's word again.
    void OnRecordingWaitEnd();
    // By the last order, and without one by the recorder's word.
    bool IsRecording(const std::shared_ptr<CBaseCamera>& camera) const;

private:
    // An order that the recorder may not have followed yet.
    struct Order {
        std::weak_ptr<CBaseCamera> camera;
        bool bOn = false;
        bool bAccepted = false;
    };

    const Order* OrderFor(const std::shared_ptr<CBaseCamera>& camera) const;
    void ShowState();

    const ActiveCamera& m_active;
    const CellPool& m_cells;
    Timers& m_timers;
    BusyState& m_busy;
    ConsoleControls& m_controls;
    std::optional<Order> m_order;
};

}  // namespace kvmon
