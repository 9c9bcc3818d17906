// The command that has the recorder record the active camera.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace kvmon {

class ActiveCamera;
class BusyState;
class CBaseCamera;
class CellPool;
class ConsoleControls;
class FeedbackLine;
enum class RecordingResult : std::uint32_t;
class Timers;

// Command 1751. User interface thread only.
class RecordCommand {
public:
    RecordCommand(const ActiveCamera& active, const CellPool& cells, Timers& timers, BusyState& busy,
                  ConsoleControls& controls, FeedbackLine& feedback)
        : m_active(active),
          m_cells(cells),
          m_timers(timers),
          m_busy(busy),
          m_controls(controls),
          m_feedback(feedback) {}

    // Tells the recorder to begin recording the active camera, or to end it if it records.
    void OnBtnManualRecording();
    // The recorder's answer for the camera of this cell, message kMsgManualRecording.
    void OnRecordingResult(RecordingResult result, int cell);
    // Timer kTimerManualRecording: from here on the button shows what the recorder tells.
    void OnRecordingWaitEnd();
    // By the last order; without one by what the recorder tells.
    bool IsRecording(const std::shared_ptr<CBaseCamera>& camera) const;

private:
    // What the user asked for, for as long as the recorder may not have done it.
    struct Order {
        std::weak_ptr<CBaseCamera> camera;
        bool bOn = false;
        bool bAccepted = false;
    };

    const Order* OrderFor(const std::shared_ptr<CBaseCamera>& camera) const;
    void ShowState();
    void Tell(std::uint32_t text, const CBaseCamera& camera, const std::string& cause = {});

    const ActiveCamera& m_active;
    const CellPool& m_cells;
    Timers& m_timers;
    BusyState& m_busy;
    ConsoleControls& m_controls;
    FeedbackLine& m_feedback;
    std::optional<Order> m_order;
};

}  // namespace kvmon
