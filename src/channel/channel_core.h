// What a channel's threads work on. Inside this folder and its tests only.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "channel/cam_cmd_queue.h"
#include "channel/camera_info.h"
#include "channel/camera_kind.h"
#include "channel/camera_trial.h"
#include "channel/channel_factories.h"
#include "channel/channel_picture.h"
#include "channel/channel_thread.h"
#include "channel/digital_zoom.h"
#include "channel/frame_queue.h"
#include "channel/frame_rate.h"
#include "channel/live_audio.h"
#include "channel/status_flags.h"
#include "channel/stream_choice.h"
#include "channel/talk_back.h"
#include "channel/target_settings.h"
#include "platform/clock.h"
#include "platform/window_handle.h"
#include "server/camera_settings.h"

namespace kvmon {

// A size of the stream that the user has chosen; 0 x 0 for none.
struct FixedSize {
    std::int32_t cx = 0;
    std::int32_t cy = 0;
    bool IsSet() const { return cx > 0 && cy > 0; }
};

// A preset to be stored under a name.
struct PresetRecord {
    std::uint32_t nIndex = 0;
    std::string name;
};

// Shared by the channel object and its threads: it goes when the last of them has gone. The locks are
// never held during a wait, a network call or a decoder's work.
struct ChannelCore {
    explicit ChannelCore(Clock& theClock, const CameraKind& theKind = BaseKind())
        : clock(theClock), kind(theKind) {}

    // --- settings, any thread
    bool IsCameraUsable() const;
    // The pictures come from the camera itself: the kind can, the channel or else the option wants it, and
    // the camera has not given way.
    bool IsStreamFromCamera() const;
    // The peer of the stream. False without an address of the recorder.
    bool GetTargetSettings(TargetSettings& settings) const;
    // The recorder, wherever the pictures come from. False without an address.
    bool GetKelvaraSettings(TargetSettings& settings) const;
    // The stream that the present view asks for, of what the pictures come from.
    std::int32_t WantedStreamId() const;
    std::int32_t SelectStreamId() const;

    // --- reception thread
    // A frame has come. When several have and for 5 s none became a picture, the cell says so.
    void NoteReceived();
    // A connection to the camera has ended by itself. If the camera is not worth another try its other way is
    // taken, and behind that the recorder's pictures, at once.
    void EndCameraPass(CameraPatience& patience);
    // Counts a failure of the stream; the first seven and then every six of them show as a caption.
    void ReportStreamError(int nCode, int nArg = 0);
    // A camera that cannot be reached, and has no recorder to stand in for it, is tried by its other way as
    // long as it has shown nothing.
    void SwitchNetworkSetting();

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

    // --- decode thread
    void NoteDecoded();
    void SetBitmapInfo(const BITMAPINFOHEADER& bmpInfo);
    // A finished picture takes the screen. Nothing if the thread was abandoned.
    void AddDecodeFrame(const ThreadControl& control, std::unique_ptr<CVideoBmpFrame> frame);

    // --- any thread
    void RestartPlaying();
    // What was not decoded so far no longer counts.
    void ForgetUndecoded();
    // Empties the queue; what the decoder has seen so far is of no use then.
    void FlushAndResetDecoder();
    // Takes the picture away from the screen.
    void ReleasePicture();
    // The lines that tell where pictures and commands come from and go to.
    void RefreshSourceLines();
    // The line that tells the size chosen by the user.
    void RefreshFixSizeLine();
    // Shows a text in the cell for a while.
    void ShowText(std::uint32_t uStringId);
    void AddCamCmd(std::uint32_t dwCmd, std::uint32_t dwArg);

    Clock& clock;
    const CameraKind& kind;
    const ChannelFactories factories = Factories();
    std::atomic<std::uint32_t> m_uCHInMainDlg{0xFFFFFFFF};
    std::atomic<std::uint32_t> m_uCHInKelvara{0xFFFFFFFF};

    mutable std::mutex m_cs;
    // Guarded by m_cs, to m_pAudio.
    CameraSettings m_settings;
    bool m_bSettingsAssigned = false;
    bool m_bHasAddress = false;
    std::string m_strCameraName;
    std::string m_strRecorderName;
    std::vector<StreamProfile> m_StreamProfiles;
    int m_nViewWidth = 0;
    int m_nViewHeight = 0;
    FixedSize m_FixSizeServer;
    FixedSize m_FixSizeCamera;
    BoundedText<256> m_lpszCamBase64Auth;
    std::string m_strRegFolder;  // the settings' key of this channel's recorder
    bool m_bPtzEnabled = true;
    PresetFormat m_presetFormat;
    WindowHandle m_hViewWnd;
    WindowHandle m_hVideoWnd;
    WindowHandle m_hConsoleWnd;
    WindowHandle m_hNotifyWnd;
    StatusFlags m_statusFlags{};
    bool m_bStatusTold = false;  // the recorder has told the flags, and is there
    bool m_bManualRecording = false;
    CameraInfo m_cameraInfo;
    std::map<std::uint32_t, PresetRecord> m_presetRecords;  // by the argument of their command
    std::uint32_t m_nNextPresetRecord = 0;
    std::shared_ptr<LiveAudio> m_pAudio = std::make_shared<LiveAudio>(factories, m_uCHInMainDlg);

    std::atomic<bool> m_bCameraInfoLoaded{false};
    std::atomic<std::uint32_t> m_nFailedCommands{0};
    std::atomic<std::uint64_t> m_nInfoReadTick{0};  // of the last reading's end, or of the last word for one
    std::atomic<bool> m_bDigitalZoom{false};
    std::atomic<bool> m_bSizeForgotten{false};  // the next picture reports its size, old or new
    std::atomic<std::uint32_t> m_dwAudioOut{0};
    std::atomic<std::uint32_t> m_dwAudioOutType{0xFFFFFFFF};
    std::atomic<std::int32_t> m_nStreamId{-1};
    std::atomic<std::uint32_t> m_nStreamFrom{0};         // 0 the option, 1 the recorder, else the camera
    std::atomic<std::uint32_t> m_nNetworkSettingIdx{0};  // its low bit is the way to the camera
    std::atomic<bool> m_bAudioWanted{false};             // by a connection of its own
    CameraTrial m_trial;
    std::atomic<std::uint32_t> m_nErrorCount{0};
    std::atomic<bool> m_bNeedsLibrary{false};         // the format has no decoder here, and the cell says so
    std::atomic<std::uint32_t> m_nUndecoded{0};       // frames since the last one that became a picture
    std::atomic<std::uint64_t> m_nUndecodedSince{0};  // the tick of the first of them, or of the last words
    std::atomic<std::uint64_t> m_nLastReceived{0};
    std::atomic<bool> m_bStreamRunning{false};
    std::atomic<std::uint64_t> m_nPlayingSince{0};  // milliseconds of the clock
    std::atomic<bool> m_bDecodePlaying{false};
    SoundSwitches m_sound;
    TalkBack m_talk;
    FrameQueue m_frames{m_uCHInMainDlg};
    CamCmdQueue m_CamCmdQueue;
    FrameRate m_frameRate;
    ChannelPicture m_picture;

    // The decode thread tells of a picture's size; all else is the user interface's.
    mutable std::mutex m_csZoom;
    DigitalZoom m_zoom;

    // Held while a picture takes the screen, by decode threads alone: an abandoned one and its successor
    // must not draw together.
    std::mutex m_csShow;

    std::atomic<std::uint64_t> m_nReceived{0};
    std::atomic<std::uint64_t> m_nBytes{0};
    std::atomic<std::uint64_t> m_nDecoded{0};
    std::atomic<std::uint64_t> m_nFailed{0};
    std::atomic<std::uint64_t> m_nShown{0};

    ChannelThread m_videoThread{"kv-video", "StopVideoThread"};
    ChannelThread m_audioThread{"kv-audio", "StopAudioThread"};
    ChannelThread m_decodeThread{"kv-decode", "StopDecodeThread"};
    ChannelThread m_commandThread{"kv-command", "StopCamCmdThread"};
    ChannelThread m_lookThread{"kv-look", "StopLookThread"};
};

// The threads' bodies.
void DoVideoLoop(const std::shared_ptr<ChannelCore>& core, ThreadControl& control);
void DoAudioLoop(const std::shared_ptr<ChannelCore>& core, ThreadControl& control);
void DoDecodeLoop(const std::shared_ptr<ChannelCore>& core, ThreadControl& control);
void DoCamCmdLoop(const std::shared_ptr<ChannelCore>& core, ThreadControl& control);
// Looks for a camera that gave way to the recorder.
void DoLookLoop(const std::shared_ptr<ChannelCore>& core, ThreadControl& control);

// True when the run event woke the thread and the pass has begun, false when the thread has to end.
bool WaitForRun(const char* lpszLoop, ChannelCore& core, ThreadControl& control);

}  // namespace kvmon
