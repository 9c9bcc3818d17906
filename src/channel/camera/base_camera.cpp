// The channel object: its threads, start, pause, stop and restart, and its windows.
#include "channel/camera/base_camera.h"

#include <algorithm>

#include "channel/camera/channel_core.h"
#include "channel/command/cam_cmd_loop.h"
#include "channel/decode/decode_loop.h"
#include "channel/stream/audio_loop.h"
#include "channel/stream/camera_kinds.h"
#include "channel/stream/look_loop.h"
#include "channel/stream/video_loop.h"
#include "persist/log_file.h"

namespace kvmon {

std::shared_ptr<CBaseCamera> CreateCamera(const CameraSettings* pSettings, Clock& clock,
                                          std::shared_ptr<FrameBudget> budget) {
    if (pSettings == nullptr) {
        return nullptr;
    }
    return std::shared_ptr<CBaseCamera>(new CBaseCamera(clock, KindFor(*pSettings), std::move(budget)));
}

CBaseCamera::CBaseCamera(Clock& clock, const CameraKind& kind, std::shared_ptr<FrameBudget> budget)
    : m_core(std::make_shared<ChannelCore>(clock, kind, std::move(budget))) {
    // So that the first start reads what the camera can do.
    RefreshCameraInfo();
}

CBaseCamera::~CBaseCamera() {
    m_core->m_picture.SetRepaint(nullptr);
    StopCameraThreads(StopWait::ToTheEnd);
    m_core->FlushAndResetDecoder();
}

// --- threads

namespace {

// The threads' bodies: each gets what it works on and nothing else of the channel. They own the channel all
// the same, for one that is abandoned may come back late.
using First = ChannelThread::First;
template <void (*body)(ChannelCore&, ThreadControl&)>
void Start(const std::shared_ptr<ChannelCore>& core, ChannelThread& thread, First first) {
    thread.Start(first, {core, [](void* owner, ThreadControl& control) {
                             body(*static_cast<ChannelCore*>(owner), control);
                         }});
}

void RunCommands(ChannelCore& core, ThreadControl& control) {
    DoCamCmdLoop({core.m_CamCmdQueue, core.m_source, core.m_abilities, core.m_windows, core.clock, control});
}

void RunVideo(ChannelCore& core, ThreadControl& control) {
    const auto audio = core.GetAudio();
    DoVideoLoop(
        {core.m_source, core.m_frames, core.m_counters, core.m_sound, *audio, core, core.m_decodeThread},
        control);
}

void RunAudio(ChannelCore& core, ThreadControl& control) {
    DoAudioLoop(core.m_source, core.m_sound, core, control);
}

void RunDecode(ChannelCore& core, ThreadControl& control) {
    DoDecodeLoop(core.GetDecodeParts(), core.m_source, control);
}

void RunLook(ChannelCore& core, ThreadControl& control) {
    DoLookLoop(core.m_source, core.m_frames.Budget(), core, control);
}

}  // namespace

void CBaseCamera::StartCameraThreads() {
    if (!IsCameraUsable()) {
        return;
    }
    m_core->RefreshSourceLines();
    Start<RunCommands>(m_core, m_core->m_commandThread, First::Run);
    StopVideoThread(StopWait::ToTheEnd);
    Trace("CBaseCamera::StartVideoThread: m_uCHInMainDlg=%u, Enter...\n", GetCHInMainDlg());
    Start<RunVideo>(m_core, m_core->m_videoThread, First::Wait);
    Start<RunDecode>(m_core, m_core->m_decodeThread, First::Wait);
    if (CanStreamFromCamera()) {
        Start<RunLook>(m_core, m_core->m_lookThread, First::Wait);
    }
}

void CBaseCamera::KeepThreads() {
    bool bMissing = false;
    for (ChannelThread* const thread : m_core->Threads()) {
        bMissing = thread->Keep(m_core->clock.TickMs()) || bMissing;
    }
    if (bMissing) {
        m_core->TellFault(OwnFault::NoThread);
    }
    m_core->TellUntold();
}

bool CBaseCamera::StopCameraThreads(StopWait wait) {
    m_core->m_sound.m_bPlayAudioUI = false;
    // All are asked before the first is waited for, so that their ends overlap.
    for (ChannelThread* const thread : m_core->Threads()) {
        thread->RequestStop();
    }
    bool bStopped = m_core->m_commandThread.Stop(wait);
    bStopped = StopVideoThread(wait) && bStopped;
    bStopped = m_core->m_audioThread.Stop(wait) && bStopped;
    bStopped = m_core->m_decodeThread.Stop(wait) && bStopped;
    bStopped = m_core->m_lookThread.Stop(wait) && bStopped;
    m_core->ReleasePicture();
    return bStopped;
}

bool CBaseCamera::StopVideoThread(StopWait wait) {
    m_core->ReleasePicture();
    const auto control = m_core->m_videoThread.Control();
    const bool bStopped = m_core->m_videoThread.Stop(wait);
    if (control != m_core->m_videoThread.Control()) {
        // The abandoned thread may still be in the wave device.
        m_core->RenewAudio();
    }
    return bStopped;
}

void CBaseCamera::StartAudioThread(AudioStart start) {
    if (start == AudioStart::Anew) {
        m_core->m_audioThread.Stop(StopWait::ToTheEnd);
    }
    if (!IsCameraUsable() || !IsSupportAudio() || !CanStreamFromCamera()) {
        return;
    }
    const bool bWanted = m_core->m_bAudioWanted && HasAudioRight();
    if (!m_core->m_audioThread.IsRunning()) {
        Start<RunAudio>(m_core, m_core->m_audioThread, bWanted ? First::Run : First::Wait);
        return;
    }
    const auto control = m_core->m_audioThread.Control();
    control->abort = 0;
    control->exit.Reset();
    bWanted ? control->run.Set() : control->run.Reset();
}

void CBaseCamera::WantAudio(bool bPlayAudio) {
    m_core->m_bAudioWanted = bPlayAudio;
    if (!IsSupportAudio() || !HasAudioRight()) {
        return;
    }
    const auto control = m_core->m_audioThread.Control();
    if (bPlayAudio) {
        control->run.Set();
    } else {
        control->run.Reset();
        control->Interrupt();
    }
}

void CBaseCamera::StartPlaying(PlaySound sound) {
    if (!IsCameraUsable()) {
        return;
    }
    if (IsCameraInfoLoaded() && !m_core->m_audioThread.IsRunning()) {
        StartAudioThread(AudioStart::IfNeeded);
    }
    SetPlayAudio(sound == PlaySound::Yes);
    if (IsVideoRunning()) {
        return;
    }
    // Known before the connection is made, so that a view size which asks for the same stream leaves it
    // alone.
    m_core->m_source.m_nStreamId = m_core->m_source.WantedStreamId();
    m_core->m_nPlayingSince = m_core->clock.TickMs();
    m_core->m_frames.SetPlaying(true);
    m_core->m_frameRate.Clear();
    m_core->m_source.m_trial.EndWait();
    m_core->m_counters.ForgetUndecoded();
    m_core->m_decodeThread.Control()->run.Set();
    m_core->m_videoThread.Control()->run.Set();
    m_core->m_lookThread.Control()->run.Set();
}

void CBaseCamera::PausePlaying() {
    Trace("CBaseCamera::PausePlaying: m_uCHInMainDlg=%u, Enter...\n", GetCHInMainDlg());
    m_core->m_frameRate.Clear();
    m_core->m_bStreamRunning = false;
    if (!IsCameraUsable()) {
        return;
    }
    const auto video = m_core->m_videoThread.Control();
    video->run.Reset();
    video->Interrupt();
    m_core->m_frames.SetPlaying(false);
    const auto audio = m_core->m_audioThread.Control();
    audio->run.Reset();
    audio->Interrupt();
    const auto look = m_core->m_lookThread.Control();
    look->run.Reset();
    look->Interrupt();
    m_core->FlushAndResetDecoder();
    const auto decode = m_core->m_decodeThread.Control();
    decode->leave = 1;
    m_core->FollowOnlookers();
    // A decoder that has nothing to do holds its pictures: the thread leaves it, and sleeps then.
    decode->run.Set();
}

void CBaseCamera::RestartPlaying() {
    m_core->RestartPlaying();
}

void CBaseCamera::SetPlayAudio(bool bPlay) {
    if (IsCameraUsable()) {
        WantAudio(bPlay);
        m_core->m_sound.m_bPlayAudioUI = bPlay;
    }
}

bool CBaseCamera::IsVideoRunning() const {
    return m_core->m_videoThread.IsRunning() && m_core->m_videoThread.Control()->run.IsSet();
}

bool CBaseCamera::IsStreamRunning() const {
    return m_core->m_bStreamRunning;
}

bool CBaseCamera::IsLive() const {
    const std::uint64_t now = m_core->clock.TickMs();
    const std::uint64_t kept = m_core->m_nKeptAt;
    const bool bKept = kept != 0 && now < kept + kStillMs;
    return IsStreamRunning() && (bKept || m_core->m_picture.PictureAgeMs(now) < kStillMs);
}

void CBaseCamera::UpdateStill() {
    if (IsVideoRunning()) {
        m_core->m_picture.UpdateStill(m_core->clock.TickMs(),
                                      std::max(m_core->m_nPlayingSince.load(), m_core->m_nKeptAt.load()));
    }
}

// --- view

namespace {

// In device pixels: a view below both shows a picture no larger than an icon.
constexpr int kSmallWidth = 160;
constexpr int kSmallHeight = 120;

}  // namespace

void CBaseCamera::SetViewWnd(WindowHandle hWnd, std::function<void()> repaint) {
    const bool bLeft = !hWnd;
    m_core->m_picture.SetRepaint(std::move(repaint));
    m_core->m_windows.SetViewWnd(std::move(hWnd));
    if (bLeft) {
        SetSeen(true);  // as far as is known
        m_core->m_picture.ReleaseView();
        m_core->m_decodeThread.Control()->run.Set();  // which gives the rest back when the channel is paused
    }
}

void CBaseCamera::SetSeen(bool bSeen) {
    m_core->m_onlookers.SetSeen(bSeen);
    m_core->FollowOnlookers();
}

bool CBaseCamera::IsKept() const {
    return m_core->m_frames.IsUnseen();
}

void CBaseCamera::WhenShown(std::function<void()> call) {
    m_core->m_onlookers.WaitForPicture(std::move(call));
    m_core->FollowOnlookers();
}

WindowHandle CBaseCamera::GetViewWnd() const {
    return m_core->m_windows.GetViewWnd();
}

void CBaseCamera::SetVideoWnd(WindowHandle hWnd) {
    m_core->m_windows.SetVideoWnd(std::move(hWnd));
}

WindowHandle CBaseCamera::GetVideoWnd() const {
    return m_core->m_windows.GetVideoWnd();
}

bool CBaseCamera::SetViewSize(int cx, int cy) {
    m_core->m_picture.SetViewSize(cx, cy);
    m_core->m_source.SetViewSize(cx, cy);
    m_core->m_bSmallView = cx > 0 && cx < kSmallWidth && cy > 0 && cy < kSmallHeight;
    m_core->ChangeZoom([cx](DigitalZoom& zoom) {
        zoom.SetViewWidth(cx);
        return true;
    });
    return CheckStreamChange();
}

bool CBaseCamera::CheckStreamChange() {
    if (!IsCameraUsable()) {
        return false;
    }
    if (m_core->m_source.WantedStreamId() != m_core->m_source.m_nStreamId) {
        RestartPlaying();
        m_core->m_picture.ReleaseComposed();
    }
    return !IsVideoRunning();
}

void CBaseCamera::SetConsoleWnd(WindowHandle hWnd) {
    m_core->m_windows.SetConsoleWnd(std::move(hWnd));
}

void CBaseCamera::SetNotifyWnd(WindowHandle hWnd) {
    m_core->m_windows.SetNotifyWnd(std::move(hWnd));
    m_core->FollowOnlookers();
}

ChannelPicture& CBaseCamera::Picture() {
    return m_core->m_picture;
}

const ChannelPicture& CBaseCamera::Picture() const {
    return m_core->m_picture;
}

ChannelStatistics CBaseCamera::GetStatistics() const {
    const ChannelCounters& counters = m_core->m_counters;
    ChannelStatistics statistics;
    statistics.received = counters.m_nReceived;
    statistics.bytes = counters.m_nBytes;
    statistics.refused = m_core->m_frames.GetRefused();
    statistics.unseen = m_core->m_frames.GetUnseen();
    statistics.decoded = counters.m_nDecoded;
    statistics.failed = counters.m_nFailed;
    statistics.shown = counters.m_nShown;
    return statistics;
}

}  // namespace kvmon
