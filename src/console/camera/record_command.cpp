#include "console/camera/record_command.h"

#include "channel/base/cam_commands.h"
#include "channel/camera/base_camera.h"
#include "channel/cell/video_wnd.h"
#include "channel/command/command_results.h"
#include "channel/picture/captions.h"
#include "console/panel/console_controls.h"
#include "console/ports/console_messages.h"
#include "console/ports/timers.h"
#include "console/settings/fill_pattern.h"
#include "console/wall/active_camera.h"
#include "console/wall/busy_state.h"
#include "console/wall/cell_pool.h"
#include "console/wall/feedback_line.h"
#include "persist/log_file.h"
#include "persist/string_table.h"

namespace kvmon {

namespace {

constexpr int kRecordingWaitMs = 3000;
constexpr std::uint32_t kStrBegun = 7430;
constexpr std::uint32_t kStrEnded = 7431;
constexpr std::uint32_t kStrRefused = 7432;
constexpr std::uint32_t kStrRefusedFor = 7433;
constexpr std::uint32_t kStrNoAnswer = 7434;

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

void RecordCommand::Tell(std::uint32_t text, const CBaseCamera& camera, const std::string& cause) {
    m_feedback.Say(FillPattern(LoadString(text), {DisplayLine(camera.GetCameraName()), DisplayLine(cause)}),
                   {}, text == kStrBegun || text == kStrEnded ? kFeedbackTime : kFeedbackFaultTime);
}

void RecordCommand::OnRecordingResult(RecordingResult result, int cell) {
    const CVideoWnd* const window = m_cells.Get(cell);
    const auto camera = window != nullptr ? window->GetCamera() : nullptr;
    if (OrderFor(camera) == nullptr) {
        return;
    }
    if (result == RecordingResult::Done) {
        m_order->bAccepted = true;
        Tell(m_order->bOn ? kStrBegun : kStrEnded, *camera);
        return;
    }
    const std::string cause = camera->GetRecordingFault();
    const bool bAnswered = result == RecordingResult::NotOk || result == RecordingResult::BadStatus;
    Tell(!bAnswered ? kStrNoAnswer : cause.empty() ? kStrRefused : kStrRefusedFor, *camera, cause);
    m_order.reset();
    ShowState();
}

void RecordCommand::OnRecordingWaitEnd() {
    m_timers.KillTimer(kTimerManualRecording);
    if (const auto camera = m_order && !m_order->bAccepted ? m_order->camera.lock() : nullptr) {
        Tell(kStrNoAnswer, *camera);
    }
    m_order.reset();
    ShowState();
    m_busy.SetBusy(false);
    Trace("End of IDT_EVENT_MANUALRECOREADING_WAITTING...\n");
}

}  // namespace kvmon
