#include "channel/channel_core.h"

#include "channel/channel_messages.h"
#include "persist/string_table.h"
#include "platform/text.h"

namespace kvmon {

namespace {

// "Picture cannot be decoded"
constexpr std::uint32_t kStrNotDecoded = 6890;

}  // namespace

void ChannelCore::SetBitmapInfo(const BITMAPINFOHEADER& bmpInfo) {
    const BITMAPINFOHEADER before = m_picture.GetBitmapInfo();
    m_picture.SetBitmapInfo(bmpInfo);
    const bool bSameSize = before.biWidth == bmpInfo.biWidth && before.biHeight == bmpInfo.biHeight;
    if (!m_bSizeForgotten.exchange(false) && bSameSize) {
        return;
    }
    ChangeZoom([](const DigitalZoom&) { return true; });  // takes the new size
    m_windows.PostToConsole(kMsgSizeChange, m_source.m_uCHInMainDlg, 0);
}

void ChannelCore::SetFrameType(const std::string& type) {
    m_picture.SetSubString(SubString::FrameType, "Frame Type: " + type);
}

void ChannelCore::AddDecodeFrame(const ThreadControl& control, std::unique_ptr<CVideoBmpFrame> frame) {
    const std::lock_guard showLock(m_csShow);
    if (!frame || control.abandoned) {
        return;
    }
    if (m_picture.IsLineShown(SubString::FrameRate) && m_source.IsCameraUsable()) {
        m_picture.SetSubString(
            SubString::FrameRate,
            FormatText("Frame Rate: %.2f", static_cast<double>(m_frameRate.Count(clock.TickMs()))));
    }
    m_picture.AutoCleanCaption();
    m_frames.AddRecycleFrame(m_picture.Show(std::move(frame), clock.TickMs()));
    const std::uint64_t shown = ++m_counters.m_nShown;
    const bool bShowCount = m_picture.IsLineShown(SubString::FrameCount);
    m_picture.SetSubString(
        SubString::FrameCount,
        bShowCount ? FormatText("Frame Count: %llu", static_cast<unsigned long long>(shown)) : std::string());
    m_picture.Compose();

    if (!m_bStreamRunning.exchange(true)) {
        m_windows.PostToConsole(WM_COMMAND, kCmdRefreshControls, 0);
    }
    m_windows.TakeNotify().Post(kMsgFirstData, m_source.m_uCHInMainDlg, 0);
}

void ChannelCore::NoteReceived() {
    if (m_counters.HasNoneDecoded(clock.TickMs())) {
        SetCaption(LoadString(kStrNotDecoded));
    }
}

void ChannelCore::RestartPlaying() {
    m_counters.ForgetUndecoded();
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

void ChannelCore::AddCamCmd(std::uint32_t dwCmd, std::uint32_t dwArg) {
    m_CamCmdQueue.Push({dwCmd, dwArg});
    m_commandThread.Control()->run.Set();
}

std::shared_ptr<LiveAudio> ChannelCore::GetAudio() const {
    const std::lock_guard lock(m_cs);
    return m_pAudio;
}

void ChannelCore::RenewAudio() {
    const std::lock_guard lock(m_cs);
    m_pAudio = std::make_shared<LiveAudio>(factories, m_source.m_uCHInMainDlg);
}

}  // namespace kvmon
