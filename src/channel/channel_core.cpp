#include "channel/channel_core.h"

#include <algorithm>

#include "channel/channel_globals.h"
#include "channel/channel_messages.h"
#include "channel/open_decoders.h"
#include "persist/log_file.h"
#include "persist/string_table.h"

namespace kvmon {

namespace {

// "Picture cannot be decoded"
constexpr std::uint32_t kStrNotDecoded = 6890;
constexpr std::uint64_t kUndecodedMs = 5000;
// Longer than a stream's next try waits.
constexpr std::uint64_t kOtherStreamMs = 20000;

}  // namespace

ChannelFactories& Factories() {
    static ChannelFactories factories{
        .waveOutput = []() -> std::unique_ptr<WaveOutput> { return std::make_unique<CWaveOutDevice>(); },
        .mxpegDecoder = MakeOpenMxpegDecoder,
        .vivotekDecoder = MakeSiteVivotekDecoder};
    return factories;
}

ChannelGlobals& Globals() {
    static ChannelGlobals globals;
    return globals;
}

int GetDecoderThreads() {
    return std::max(Globals().decoderThreads.load(), 1);
}

bool ChannelCore::IsCameraUsable() const {
    const std::lock_guard lock(m_cs);
    return m_bSettingsAssigned && m_bHasAddress && m_settings.m_bMonitorRight != 0;
}

void ChannelCore::SetBitmapInfo(const BITMAPINFOHEADER& bmpInfo) {
    const BITMAPINFOHEADER before = m_picture.GetBitmapInfo();
    m_picture.SetBitmapInfo(bmpInfo);
    const bool bSameSize = before.biWidth == bmpInfo.biWidth && before.biHeight == bmpInfo.biHeight;
    if (!m_bSizeForgotten.exchange(false) && bSameSize) {
        return;
    }
    ChangeZoom([](const DigitalZoom&) { return true; });  // takes the new size
    WindowHandle hConsoleWnd;
    {
        const std::lock_guard lock(m_cs);
        hConsoleWnd = m_hConsoleWnd;
    }
    hConsoleWnd.Post(kMsgSizeChange, m_uCHInMainDlg, 0);
}

void ChannelCore::AddDecodeFrame(const ThreadControl& control, std::unique_ptr<CVideoBmpFrame> frame) {
    const std::lock_guard showLock(m_csShow);
    if (!frame || control.abandoned) {
        return;
    }
    if (m_picture.IsLineShown(SubString::FrameRate) && IsCameraUsable()) {
        m_picture.SetSubString(
            SubString::FrameRate,
            FormatText("Frame Rate: %.2f", static_cast<double>(m_frameRate.Count(clock.TickMs()))));
    }
    m_picture.AutoCleanCaption();
    m_frames.AddRecycleFrame(m_picture.Show(std::move(frame), clock.TickMs()));
    const std::uint64_t shown = ++m_nShown;
    const bool bShowCount = m_picture.IsLineShown(SubString::FrameCount);
    m_picture.SetSubString(
        SubString::FrameCount,
        bShowCount ? FormatText("Frame Count: %llu", static_cast<unsigned long long>(shown)) : std::string());
    m_picture.Compose();

    WindowHandle hNotifyWnd;
    WindowHandle hConsoleWnd;
    {
        const std::lock_guard lock(m_cs);
        std::swap(hNotifyWnd, m_hNotifyWnd);
        hConsoleWnd = m_hConsoleWnd;
    }
    const bool bFirst = !m_bStreamRunning.exchange(true);
    if (bFirst) {
        hConsoleWnd.Post(WM_COMMAND, kCmdRefreshControls, 0);
    }
    hNotifyWnd.Post(kMsgFirstData, m_uCHInMainDlg, 0);
}

void ChannelCore::NoteReceived() {
    const std::uint64_t now = clock.TickMs();
    const std::uint64_t before = m_nLastReceived.exchange(now);
    if (now - before > kOtherStreamMs) {
        m_nUndecoded = 0;
    }
    if (++m_nUndecoded == 1) {
        m_nUndecodedSince = now;
        return;
    }
    // A decoder may hold two pictures back for their order.
    if (m_nUndecoded > 2 && !m_bNeedsLibrary && now - m_nUndecodedSince >= kUndecodedMs) {
        m_nUndecodedSince = now;
        m_picture.SetMainOsdCameraString(LoadString(kStrNotDecoded), true);
    }
}

void ChannelCore::NoteDecoded() {
    ++m_nDecoded;
    ForgetUndecoded();
}

void ChannelCore::ForgetUndecoded() {
    m_nUndecoded = 0;
}

void ChannelCore::RestartPlaying() {
    ForgetUndecoded();
    RefreshSourceLines();
    m_frameRate.Clear();
    const auto decode = m_decodeThread.Control();
    decode->leave = 1;
    decode->reset = 1;
    m_videoThread.Control()->Interrupt();
    m_audioThread.Control()->Interrupt();
}

void ChannelCore::FlushAndResetDecoder() {
    m_decodeThread.Control()->reset = 1;
    m_frames.FlushDecodeFrames(true);
}

void ChannelCore::ReleasePicture() {
    m_frames.AddRecycleFrame(m_picture.ReleasePicture());
}

void ChannelCore::ShowText(std::uint32_t uStringId) {
    WindowHandle hViewWnd;
    {
        const std::lock_guard lock(m_cs);
        hViewWnd = m_hViewWnd;
    }
    hViewWnd.Post(kMsgShowText, uStringId, 0);
}

void ChannelCore::AddCamCmd(std::uint32_t dwCmd, std::uint32_t dwArg) {
    m_CamCmdQueue.Push({dwCmd, dwArg});
    m_commandThread.Control()->run.Set();
}

bool WaitForRun(const char* lpszLoop, ChannelCore& core, ThreadControl& control) {
    Event* const events[] = {&control.exit, &control.run};
    for (;;) {
        switch (core.clock.WaitAny(events, std::nullopt)) {
            case 0:
                Trace("CBaseCamera::%s: m_uCHInMainDlg=%u, exit....\n", lpszLoop, core.m_uCHInMainDlg.load());
                return false;
            case 1:
                if (control.BeginPass()) {
                    return true;
                }
                break;
            default:
                break;
        }
    }
}

}  // namespace kvmon
