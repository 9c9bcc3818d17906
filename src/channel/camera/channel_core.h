// What a channel's threads share, and who of them gets what. Inside this folder and its tests only.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "channel/base/channel_counters.h"
#include "channel/base/channel_globals.h"
#include "channel/base/channel_thread.h"
#include "channel/base/channel_windows.h"
#include "channel/base/sound_switches.h"
#include "channel/base/status_flags.h"
#include "channel/camera/default_factories.h"
#include "channel/camera/onlookers.h"
#include "channel/command/abilities.h"
#include "channel/command/cam_cmd_queue.h"
#include "channel/decode/decode_pass.h"
#include "channel/decode/picture_sink.h"
#include "channel/frames/frame_queue.h"
#include "channel/picture/channel_picture.h"
#include "channel/picture/digital_zoom.h"
#include "channel/picture/frame_rate.h"
#include "channel/sound/live_audio.h"
#include "channel/sound/talk_back.h"
#include "channel/source/stream_source.h"
#include "channel/stream/recorder_kind.h"
#include "channel/stream/stream_pass.h"
#include "platform/clock.h"

namespace kvmon {

// Shared by the channel object and its threads: it goes when the last of them has gone. Each thread's body
// gets the parts that it works on and nothing else. The locks are never held during a wait, a network call or
// a decoder's work.
struct ChannelCore final : PictureSink, StreamReports {
    explicit ChannelCore(Clock& theClock, const CameraKind& kind = BaseKind(),
                         std::shared_ptr<FrameBudget> budget = std::make_shared<FrameBudget>())
        : clock(theClock), m_source(theClock, kind), m_frames(m_source.m_uCHInMainDlg, std::move(budget)) {}

    // --- what the threads get
    DecodeParts GetDecodeParts() { return {m_frames, *this, m_counters, factories, clock}; }
    StreamSinks GetStreamSinks(LiveAudio* pAudio, ThreadControl& decode) {
        return {m_frames, m_counters, m_sound, pAudio, *this, decode};
    }

    // --- reception thread
    void NoteReceived() override;
    void EndCameraPass(CameraPatience& patience) override;
    void ReportStreamError(int nCode, int nArg = 0) override;
    // A camera that cannot be reached, and has no recorder to stand in for it, is tried by its other way as
    // long as it has shown nothing.
    void SwitchNetworkSetting();

    // --- decode thread
    void SetBitmapInfo(const BITMAPINFOHEADER& bmpInfo) override;
    void AddDecodeFrame(const ThreadControl& control, std::unique_ptr<CVideoBmpFrame> frame) override;
    void OnPaused() override;
    void OnIdle() override { m_picture.CompletePicture(); }
    PictureSize GetShownSize() const override {
        return Globals().scalesOnDevice ? m_picture.GetShownSize() : PictureSize{};
    }
    void SetReceiveTime(std::uint64_t ms) override { m_nReceiveTime = ms; }
    bool TakesFewer() const override;
    void SetPace(std::uint64_t jitterMs, std::uint64_t heldMs) override {
        m_nJitterMs = jitterMs;
        m_nHeldMs = heldMs;
    }
    void SetFrameType(const std::string& type) override;
    void SetCaption(const std::string& text) override {
        m_picture.SetMainOsdCameraString(text, CaptionStay::UntilPicture);
    }

    // --- any thread
    void TellFault(OwnFault fault) noexcept override;
    // What could not be told where it happened.
    void TellUntold();
    void RestartPlaying() override;
    // Brings up to date whether what comes is decoded.
    void FollowOnlookers();
    void ShowText(std::uint32_t uStringId) override { m_windows.ShowText(uStringId); }
    // Empties the queue; what the decoder has seen so far is of no use then.
    void FlushAndResetDecoder();
    // Takes the picture away from the screen.
    void ReleasePicture();
    // The lines that tell where pictures and commands come from and go to.
    void RefreshSourceLines();
    // The line that tells the size chosen by the user.
    void RefreshFixSizeLine();
    void AddCamCmd(std::uint32_t dwCmd, std::uint32_t dwArg);
    // A step on the digital zoom, which knows the picture's present size; the picture follows. Gives what the
    // step gives.
    template <typename Step>
    auto ChangeZoom(const Step& step) {
        const std::lock_guard lock(m_csZoom);
        const BITMAPINFOHEADER info = m_picture.GetBitmapInfo();
        m_zoom.SetPictureSize(info.biWidth, info.biHeight);
        auto result = step(m_zoom);
        m_picture.SetZoomRect(m_zoom.IsOn() ? m_zoom.GetRect() : PixelRect());
        return result;
    }
    // The present one. A reception thread that was abandoned keeps its own.
    std::shared_ptr<LiveAudio> GetAudio() const;
    void RenewAudio();

    Clock& clock;
    const ChannelFactories factories = Factories();
    StreamSource m_source;
    ChannelWindows m_windows;
    ChannelCounters m_counters;
    SoundSwitches m_sound;
    Abilities m_abilities{m_sound};
    FrameQueue m_frames;
    CamCmdQueue m_CamCmdQueue;
    TalkBack m_talk{m_source};
    FrameRate m_frameRate;
    ChannelPicture m_picture{[this] { m_decodeThread.Control()->run.Set(); }};

    mutable std::mutex m_cs;
    // Guarded by m_cs, down to m_pAudio.
    std::string m_strCameraName;
    std::string m_strRecorderName;
    std::string m_strRegFolder;  // the settings' key of this channel's recorder
    StatusFlags m_statusFlags{};
    bool m_bStatusTold = false;  // the recorder has told the flags, and is there
    bool m_bManualRecording = false;
    std::shared_ptr<LiveAudio> m_pAudio =
        std::make_shared<LiveAudio>(factories, m_source.m_uCHInMainDlg, m_frames.Share());

    std::atomic<bool> m_bSizeForgotten{false};  // the next picture reports its size, old or new
    std::atomic<bool> m_bAudioWanted{false};    // by a connection of its own
    std::atomic<std::uint32_t> m_nErrorCount{0};
    std::atomic<bool> m_bStreamRunning{false};
    std::atomic<bool> m_bSmallView{false};  // which has the smallest stream that there is
    std::atomic<std::uint32_t> m_nUntoldText{0};
    std::atomic<std::uint64_t> m_nPlayingSince{0};  // milliseconds of the clock
    std::atomic<std::uint64_t> m_nKeptAt{0};        // likewise: a frame came that nobody saw
    std::atomic<std::uint64_t> m_nReceiveTime{0};   // of the frame that is decoded

    Onlookers m_onlookers{m_frames, m_windows, m_bStreamRunning};

    std::atomic<std::uint64_t> m_nJitterMs{0};
    std::atomic<std::uint64_t> m_nHeldMs{0};

    // The decode thread tells of a picture's size; all else is the user interface's.
    mutable std::mutex m_csZoom;
    DigitalZoom m_zoom;

    // Held while a picture takes the screen, by decode threads alone: an abandoned one and its successor
    // must not draw together.
    std::mutex m_csShow;

    ChannelThread m_videoThread{"kv-video", "StopVideoThread"};
    ChannelThread m_audioThread{"kv-audio", "StopAudioThread"};
    ChannelThread m_decodeThread{"kv-decode", "StopDecodeThread"};
    ChannelThread m_commandThread{"kv-command", "StopCamCmdThread"};
    ChannelThread m_lookThread{"kv-look", "StopLookThread"};
    std::array<ChannelThread*, 5> Threads() {
        return {&m_commandThread, &m_videoThread, &m_audioThread, &m_decodeThread, &m_lookThread};
    }
};

}  // namespace kvmon
