#include "console/camera/record_command.h"

#include "channel/base/cam_commands.h"
#include "channel/camera/base_camera.h"
#include "channel/cell/video_wnd.h"
#include "console/panel/console_controls.h"
#include "console/ports/console_messages.h"
#include "console/ports/timers.h"
#include "console/wall/active_camera.h"
#include "console/wall/busy_state.h"
#include "console/wall/cell_pool.h"
#include "persist/log_file.h"

namespace kvmon {

namespace {

constexpr int kRecordingWaitMs = 3000;

// Either word counts, as not every recorder tells recordings by hand apart.
bool RecorderRecords(const CBaseCamera& camera) {
    return Has(camera.GetStatusFlags(), StatusFlag::Recording) || camera.IsManualRecording();
}

}  // namespace

const RecordCommand::Order* RecordCommand::OrderFor(const std::shared_ptr<CBaseCamera>& camera) const {
    return m_order && camera && m_order->camera.lock() == camera ? &*m_order : nullptr;
}

bool RecordCommand::IsRecording(const std::shared_ptr<CBaseCamera>& camera) const {
    const Order* const order = OrderFor(camera);
    return order != nullptr ? order->bOn : camera && RecorderRecords(*camera);
}

// The press has toggled the button, which says nothing about the recorder.
void RecordCommand::ShowState() {
    m_controls.SetPressed(kCtlRecord, IsRecording(m_active.Camera()));
}

// What the recorder has accepted counts until it tells its state.
void RecordCommand::OnBtnManualRecording() {
    const auto camera = m_active.Camera();
    if (!camera) {
        ShowState();
        return;
    }
    const Order* const order = OrderFor(camera);
    const bool bRecords = order != nullptr && order->bAccepted ? order->bOn : RecorderRecords(*camera);
    m_order = Order{camera, !bRecords, false};
    camera->AddCamCmd(kCmdManualRecording, bRecords ? 0 : 1);
    ShowState();
    m_timers.SetTimer(kTimerManualRecording, kRecordingWaitMs);
    m_busy.SetBusy(true);
}

void RecordCommand::OnRecordingResult(bool bAccepted, int cell) {
    const CVideoWnd* const window = m_cells.Get(cell);
    if (window == nullptr || OrderFor(window->GetCamera()) == nullptr) {
        return;
    }
    if (bAccepted) {
        m_order->bAccepted = true;
        return;
    }
    m_order.reset();
    ShowState();
}

void RecordCommand::OnRecordingWaitEnd() {
    m_timers.KillTimer(kTimerManualRecording);
    m_order.reset();
    ShowState();
    m_busy.SetBusy(false);
    Trace("End of IDT_EVENT_MANUALRECOREADING_WAITTING...\n");
}

}  // namespace kvmon
