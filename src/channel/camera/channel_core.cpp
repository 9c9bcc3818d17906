#include "channel/camera/channel_core.h"

#include <algorithm>
#include <iterator>

#include "channel/base/channel_globals.h"
#include "channel/base/channel_messages.h"
#include "channel/base/own_fault_texts.h"
#include "persist/string_table.h"
#include "skin/skin_messages.h"

namespace kvmon {

namespace {

// "Picture cannot be decoded"
constexpr std::uint32_t kStrNotDecoded = 6890;
constexpr std::uint32_t kStrCodec = 7224;

// A frame type as the rest of the world calls it.
std::string CodecOf(const std::string& type) {
    constexpr struct {
        const char* type;
        const char* codec;
    } kCodecs[] = {{"MJPG", "MJPEG"},   {"ZIVG", "MJPEG"}, {"Z264", "H.264"},   {"ZMP4", "MPEG-4"},
                   {"AVM4", "MPEG-4"},  {"ZXPG", "MxPEG"}, {"ZV7K", "Vivotek"}, {"ZV6K", "Vivotek"},
                   {"ZV3K", "Vivotek"}, {"Z265", "H.265"}};
    const auto* const found = std::find_if(std::begin(kCodecs), std::end(kCodecs),
                                           [&type](const auto& row) { return type == row.type; });
    return found != std::end(kCodecs) ? found->codec : type;
}

}  // namespace

void ChannelCore::SetBitmapInfo(const BITMAPINFOHEADER& bmpInfo) {
    const BITMAPINFOHEADER before = m_picture.SetBitmapInfo(bmpInfo);
    const bool bSameSize = before.biWidth == bmpInfo.biWidth && before.biHeight == bmpInfo.biHeight;
    if (!m_bSizeForgotten.exchange(false) && bSameSize) {
        return;
    }
    ChangeZoom([](const DigitalZoom&) { return true; });  // takes the new size
    m_windows.PostToConsole(kMsgSizeChange, m_source.m_uCHInMainDlg, 0);
}

void ChannelCore::SetFrameType(const std::string& type) {
    m_picture.SetSubString(SubString::FrameType, "Frame Type: " + type);
    m_picture.SetSubString(SubString::Codec, LoadString(kStrCodec) + ": " + CodecOf(type));
}

bool ChannelCore::TakesFewer() const {
    return m_bSmallView && Globals().fewerInSmallCells && !m_source.m_bDigitalZoom;
}

void ChannelCore::OnPaused() {
    if (!m_windows.GetViewWnd() && !m_frames.IsPlaying()) {
        m_picture.ReleaseWork();
    }
}

void ChannelCore::AddDecodeFrame(const ThreadControl& control, std::unique_ptr<CVideoBmpFrame> frame) {
    const std::lock_guard showLock(m_csShow);
    if (!frame || control.abandoned) {
        return;
    }
    const PictureCounts counts{.nowMs = clock.TickMs(),
                               .shown = ++m_counters.m_nShown,
                               .receivedMs = m_nReceiveTime,
                               .bytes = m_counters.m_nBytes,
                               .dropped = m_frames.GetRefused(),
                               .jitterMs = m_nJitterMs,
                               .heldMs = m_nHeldMs,
                               .rate = m_source.IsCameraUsable() ? &m_frameRate : nullptr};
    m_frames.AddRecycleFrame(m_picture.Present(std::move(frame), counts));
    const bool bFirst = !m_bStreamRunning.exchange(true);
    if (bFirst) {
        m_windows.PostToConsole(WM_COMMAND, kCmdRefreshControls, 0);
    }
    const bool bTold = m_windows.TakeNotify().Post(kMsgFirstData, m_source.m_uCHInMainDlg, 0);
    // Behind an older one the picture that is waited for comes still.
    const bool bNewest = m_frames.GetCount() == 0;
    if ((bNewest && m_onlookers.OnPicture()) || bFirst || bTold) {
        FollowOnlookers();
    }
}

void ChannelCore::TellFault(OwnFault fault) noexcept {
    // The words need memory, too. Where there is none the user interface tells of it within the second.
    m_nUntoldText = TextOf(fault);
    TryStep("CBaseCamera::TellFault", [this] { TellUntold(); });
}

void ChannelCore::TellUntold() {
    if (const std::uint32_t text = m_nUntoldText) {
        SetCaption(LoadString(text));
        m_nUntoldText = 0;
    }
}

void ChannelCore::NoteReceived() {
    const std::uint64_t now = clock.TickMs();
    m_frames.SetReceiveTime(now);
    if (m_frames.IsUnseen()) {
        m_nKeptAt = now;
        ++m_counters.m_nKept;
    } else if (m_counters.HasNoneDecoded(now)) {
        SetCaption(LoadString(kStrNotDecoded));
    }
}

void ChannelCore::FollowOnlookers() {
    if (m_onlookers.Refresh()) {
        m_counters.ForgetUndecoded();
        m_decodeThread.Control()->run.Set();
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
    m_frames.FlushDecodeFrames(FrameQueue::Next::KeyFrame);
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
    m_pAudio = std::make_shared<LiveAudio>(factories, m_source.m_uCHInMainDlg, m_frames.Share());
}

}  // namespace kvmon
