// The channel object: its threads, start, pause, stop and restart, and its windows.
#include "channel/base_camera.h"

#include "channel/cam_commands.h"
#include "channel/camera_kind.h"
#include "channel/channel_core.h"
#include "channel/channel_messages.h"
#include "persist/log_file.h"

namespace kvmon {

namespace {

constexpr std::uint64_t kInfoRefreshMs = 60000;

}  // namespace

std::shared_ptr<CBaseCamera> CreateCamera(const CameraSettings* pSettings, Clock& clock) {
    if (pSettings == nullptr) {
        return nullptr;
    }
    return std::shared_ptr<CBaseCamera>(new CBaseCamera(clock, KindFor(*pSettings)));
}

CBaseCamera::CBaseCamera(Clock& clock, const CameraKind& kind)
    : m_core(std::make_shared<ChannelCore>(clock, kind)) {
    // So that the first start reads what the camera can do.
    m_core->AddCamCmd(kCmdReadCameraInfo, 0);
}

CBaseCamera::~CBaseCamera() {
    m_core->m_picture.SetRepaint(nullptr);
    StopCameraThreads(true);
    m_core->FlushAndResetDecoder();
}

// --- threads

void CBaseCamera::StartCameraThreads() {
    if (!IsCameraUsable()) {
        return;
    }
    m_core->RefreshSourceLines();
    const auto start = [core = m_core](ChannelThread& thread, bool bRun, auto loop) {
        thread.Start(bRun,
                     [core, loop](const std::shared_ptr<ThreadControl>& control) { loop(core, *control); });
    };
    start(m_core->m_commandThread, true, DoCamCmdLoop);
    StopVideoThread(true);
    Trace("CBaseCamera::StartVideoThread: m_uCHInMainDlg=%u, Enter...\n", m_core->m_uCHInMainDlg.load());
    start(m_core->m_videoThread, false, DoVideoLoop);
    start(m_core->m_decodeThread, false, DoDecodeLoop);
    if (CanStreamFromCamera()) {
        start(m_core->m_lookThread, false, DoLookLoop);
    }
}

bool CBaseCamera::StopCameraThreads(bool bWait) {
    m_core->m_sound.m_bPlayAudioUI = false;
    // All are asked before the first is waited for, so that their ends overlap.
    for (ChannelThread* const thread :
         {&m_core->m_commandThread, &m_core->m_videoThread, &m_core->m_audioThread, &m_core->m_decodeThread,
          &m_core->m_lookThread}) {
        thread->RequestStop();
    }
    bool bStopped = m_core->m_commandThread.Stop(bWait);
    bStopped = StopVideoThread(bWait) && bStopped;
    bStopped = m_core->m_audioThread.Stop(bWait) && bStopped;
    bStopped = m_core->m_decodeThread.Stop(bWait) && bStopped;
    bStopped = m_core->m_lookThread.Stop(bWait) && bStopped;
    m_core->ReleasePicture();
    return bStopped;
}

bool CBaseCamera::StopVideoThread(bool bWait) {
    m_core->ReleasePicture();
    const auto control = m_core->m_videoThread.Control();
    const bool bStopped = m_core->m_videoThread.Stop(bWait);
    if (control != m_core->m_videoThread.Control()) {
        // The abandoned thread may still be in the wave device.
        const std::lock_guard lock(m_core->m_cs);
        m_core->m_pAudio = std::make_shared<LiveAudio>(m_core->factories, m_core->m_uCHInMainDlg);
    }
    return bStopped;
}

void CBaseCamera::StartAudioThread(bool bRestart) {
    if (bRestart) {
        m_core->m_audioThread.Stop(true);
    }
    if (!IsCameraUsable() || !IsSupportAudio() || !CanStreamFromCamera()) {
        return;
    }
    const bool bWanted = m_core->m_bAudioWanted && HasAudioRight();
    if (!m_core->m_audioThread.IsRunning()) {
        m_core->m_audioThread.Start(bWanted, [core = m_core](const std::shared_ptr<ThreadControl>& control) {
            DoAudioLoop(core, *control);
        });
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

void CBaseCamera::StartPlaying(bool bPlayAudio, bool bUIPlayAudio) {
    if (!IsCameraUsable()) {
        return;
    }
    if (IsCameraInfoLoaded() && !m_core->m_audioThread.IsRunning()) {
        StartAudioThread(false);
    }
    WantAudio(bPlayAudio);
    m_core->m_sound.m_bPlayAudioUI = bUIPlayAudio;
    if (IsVideoRunning()) {
        return;
    }
    // Known before the connection is made, so that a view size which asks for the same stream leaves it
    // alone.
    m_core->m_nStreamId = m_core->WantedStreamId();
    m_core->m_nPlayingSince = m_core->clock.TickMs();
    m_core->m_bDecodePlaying = true;
    m_core->m_frameRate.Clear();
    m_core->m_trial.EndWait();
    m_core->ForgetUndecoded();
    m_core->m_decodeThread.Control()->run.Set();
    m_core->m_videoThread.Control()->run.Set();
    m_core->m_lookThread.Control()->run.Set();
}

void CBaseCamera::PausePlaying() {
    Trace("CBaseCamera::PausePlaying: m_uCHInMainDlg=%u, Enter...\n", m_core->m_uCHInMainDlg.load());
    m_core->m_frameRate.Clear();
    m_core->m_bStreamRunning = false;
    if (!IsCameraUsable()) {
        return;
    }
    const auto video = m_core->m_videoThread.Control();
    video->run.Reset();
    video->Interrupt();
    m_core->m_bDecodePlaying = false;
    const auto audio = m_core->m_audioThread.Control();
    audio->run.Reset();
    audio->Interrupt();
    const auto look = m_core->m_lookThread.Control();
    look->run.Reset();
    look->Interrupt();
    const auto decode = m_core->m_decodeThread.Control();
    decode->run.Reset();
    decode->leave = 1;
    m_core->FlushAndResetDecoder();
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
    return IsStreamRunning() && m_core->m_picture.PictureAgeMs(m_core->clock.TickMs()) < kStillMs;
}

void CBaseCamera::UpdateStill() {
    if (IsVideoRunning()) {
        m_core->m_picture.UpdateStill(m_core->clock.TickMs(), m_core->m_nPlayingSince);
    }
}

void CBaseCamera::AddCamCmd(std::uint32_t dwCmd, std::uint32_t dwArg) {
    m_core->AddCamCmd(dwCmd, dwArg);
}

void CBaseCamera::AddCamCenterCmd(int x, int y) {
    const auto high = static_cast<std::uint32_t>(x) << 16;
    m_core->AddCamCmd(kCmdClickToCentre, high | (static_cast<std::uint32_t>(y) & 0xFFFF));
}

void CBaseCamera::AddPresetNameCmd(std::uint32_t nIndex, const std::string& name) {
    std::uint32_t nTicket = 0;
    {
        const std::lock_guard lock(m_core->m_cs);
        nTicket = m_core->m_nNextPresetRecord++;
        m_core->m_presetRecords[nTicket] = {nIndex, name};
        // The queue drops the oldest commands in the same measure.
        if (m_core->m_presetRecords.size() > CamCmdQueue::kMaxWaiting) {
            m_core->m_presetRecords.erase(m_core->m_presetRecords.begin());
        }
    }
    m_core->AddCamCmd(kCmdPresetName, nTicket);
}

void CBaseCamera::AddPresetIndexCmd(std::uint32_t nIndex) {
    m_core->AddCamCmd(kCmdPresetIndex, nIndex);
}

void CBaseCamera::ReadPresetFormat() {
    m_core->AddCamCmd(kCmdReadPresetFormat, 0);
}

PresetFormat CBaseCamera::GetPresetFormat() const {
    const std::lock_guard lock(m_core->m_cs);
    return m_core->m_presetFormat;
}

CameraInfo CBaseCamera::GetCameraInfo() const {
    const std::lock_guard lock(m_core->m_cs);
    return m_core->m_cameraInfo;
}

std::uint32_t CBaseCamera::GetFailedCommands() const {
    return m_core->m_nFailedCommands;
}

void CBaseCamera::RefreshCameraInfo() {
    const std::uint64_t now = m_core->clock.TickMs();
    if (IsCameraInfoLoaded() && now - m_core->m_nInfoReadTick < kInfoRefreshMs) {
        return;
    }
    m_core->m_nInfoReadTick = now;
    m_core->AddCamCmd(kCmdReadCameraInfo, 0);
}

bool CBaseCamera::IsCameraInfoLoaded() const {
    return m_core->m_bCameraInfoLoaded;
}

// --- view

void CBaseCamera::SetViewWnd(WindowHandle hWnd, std::function<void()> repaint) {
    m_core->m_picture.SetRepaint(std::move(repaint));
    const std::lock_guard lock(m_core->m_cs);
    m_core->m_hViewWnd = hWnd;
}

WindowHandle CBaseCamera::GetViewWnd() const {
    const std::lock_guard lock(m_core->m_cs);
    return m_core->m_hViewWnd;
}

void CBaseCamera::SetVideoWnd(WindowHandle hWnd) {
    const std::lock_guard lock(m_core->m_cs);
    m_core->m_hVideoWnd = hWnd;
}

WindowHandle CBaseCamera::GetVideoWnd() const {
    const std::lock_guard lock(m_core->m_cs);
    return m_core->m_hVideoWnd;
}

bool CBaseCamera::SetViewSize(int cx, int cy) {
    m_core->m_picture.SetViewSize(cx, cy);
    {
        const std::lock_guard lock(m_core->m_cs);
        m_core->m_nViewWidth = cx;
        m_core->m_nViewHeight = cy;
    }
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
    if (m_core->WantedStreamId() != m_core->m_nStreamId) {
        RestartPlaying();
        m_core->m_picture.ReleaseComposed();
    }
    return !IsVideoRunning();
}

void CBaseCamera::SetConsoleWnd(WindowHandle hWnd) {
    const std::lock_guard lock(m_core->m_cs);
    m_core->m_hConsoleWnd = hWnd;
}

void CBaseCamera::SetNotifyWnd(WindowHandle hWnd) {
    const std::lock_guard lock(m_core->m_cs);
    m_core->m_hNotifyWnd = hWnd;
}

ChannelPicture& CBaseCamera::Picture() {
    return m_core->m_picture;
}

const ChannelPicture& CBaseCamera::Picture() const {
    return m_core->m_picture;
}

ChannelStatistics CBaseCamera::GetStatistics() const {
    ChannelStatistics statistics;
    statistics.received = m_core->m_nReceived;
    statistics.bytes = m_core->m_nBytes;
    statistics.refused = m_core->m_frames.GetRefused();
    statistics.decoded = m_core->m_nDecoded;
    statistics.failed = m_core->m_nFailed;
    statistics.shown = m_core->m_nShown;
    return statistics;
}

}  // namespace kvmon
