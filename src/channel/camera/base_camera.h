// One channel of one recorder: settings, threads, queues and picture.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "channel/base/camera_info.h"
#include "channel/base/sound_switches.h"
#include "channel/base/status_flags.h"
#include "channel/frames/frame_budget.h"
#include "channel/picture/channel_picture.h"
#include "channel/picture/digital_zoom.h"
#include "channel/source/stream_choice.h"
#include "platform/clock.h"
#include "platform/window_handle.h"
#include "platform/worker.h"
#include "server/documents/camera_settings.h"
#include "server/server_camera.h"

namespace kvmon {

class CBaseCamera;
class CameraKind;
struct ChannelCore;

// The channel for these settings, or null for null. All channels share one budget for what comes to them. The
// object is to be assigned the same settings next. The threads own the channel together with the handle: when
// the last handle goes, the threads are stopped (3000 ms each), and one that does not end keeps what it
// touches alive by itself.
std::shared_ptr<CBaseCamera> CreateCamera(
    const CameraSettings* pSettings, Clock& clock = SystemClock(),
    std::shared_ptr<FrameBudget> budget = std::make_shared<FrameBudget>());

// The text of a vendor number; "Generic" for one without an entry.
const char* GetVendorName(std::uint32_t dwVendorId);

// Counted at each stage of a frame's way.
struct ChannelStatistics {
    std::uint64_t received = 0;  // records off the wire, video
    std::uint64_t bytes = 0;
    std::uint64_t refused = 0;  // thrown away undecoded: a full queue, or before a key frame
    std::uint64_t unseen = 0;   // thrown away undecoded while nobody saw the channel
    std::uint64_t decoded = 0;
    std::uint64_t failed = 0;  // by a decoder
    std::uint64_t shown = 0;
};

class CBaseCamera : public ServerCamera {
public:
    ~CBaseCamera() override;
    CBaseCamera(const CBaseCamera&) = delete;
    CBaseCamera& operator=(const CBaseCamera&) = delete;

    // --- settings (user interface thread)
    // True when these settings need no rebuild.
    bool operator==(const CameraSettings& settings) const;
    void operator=(const CameraSettings& settings);
    bool IsCameraUsable() const;  // assigned, with an address and the right to watch
    bool IsSettingsAssigned() const;
    bool HasAddress() const;
    bool HasMonitorRight() const;
    void SetCHInMainDlg(std::uint32_t n);
    std::uint32_t GetCHInMainDlg() const override;
    std::uint32_t GetCHInKelvara() const;
    void SetCameraName(const std::string& name);
    std::string GetCameraName() const;
    // Stands before the name in the caption; empty for none. True if it has changed.
    bool SetRecorderName(const std::string& name);
    std::string GetCaptionName() const;
    void SetAudioRight(bool bRight);
    bool HasAudioRight() const;
    void SetSupportAudio(bool bSupport);
    bool IsSupportAudio() const;
    // The streams to choose from, the smallest first. A running stream that no longer fits is replaced.
    void SetStreamProfiles(std::vector<StreamProfile> profiles);
    // The channel's way for a user's voice, as the recorder tells it: 0 for none, and the coding's number.
    void SetTalkCapability(std::uint32_t dwAudioOut, std::uint32_t dwAudioOutType);
    bool CanTalk() const;
    // The size of the recorder's stream that the user wants instead of the view's; 0 x 0 for the view's.
    void SetFixSizeServer(int cx, int cy);
    ClassSize GetFixSizeServer() const;
    std::vector<StreamProfile> GetStreamProfiles() const;
    // This user may steer the camera.
    void SetPtzEnabled(bool bEnabled);

    // --- what is kept of a channel between two runs (user interface thread)
    // The key of the channel's recorder; nothing is kept without one.
    void SetRegFolder(const std::string& folder);
    // Takes what is stored, unless it belongs to another camera: before the threads start.
    void LoadCameraSettings();
    void SaveCameraSettings() const;

    // --- digital zoom (user interface thread)
    // Zooming wants the largest stream, unless the user has chosen a size.
    void SetDigitalZoom(bool bOn);
    bool IsDigitalZoom() const;
    int GetDigitalZoomLevel() const;
    // The zoom with its place, to come back to it later.
    DigitalZoom::State GetZoom() const;
    void RestoreZoom(const DigitalZoom::State& state);
    // The width on the screen over the width shown; -1 when nothing is shown.
    float GetDZZoomFactor() const;
    // Moves or zooms for a command of the panel; the outcome is posted to the cell as if a camera told it.
    void DZPTZFunction(std::uint32_t nId);
    // The mouse. The points and the view's rectangle are in the same units. The cell is told of the edges
    // met.
    void DZTouchAndGo(const PixelRect& rcView, const ZoomPoint& point);
    void DZStartDrag(const ZoomPoint& cursor);
    void DZDragMove(const ZoomPoint& cursor, int viewWidth, int viewHeight);
    void DZZoomAt(const PixelRect& rcView, const ZoomPoint& point, int nDelta);

    // --- the camera's own stream, past the recorder (any thread, but for the setting)
    bool CanStreamFromCamera() const;
    // Pictures come, or will come with the next connection, from the camera itself.
    bool IsStreamFromCamera() const;
    // 0 follows the option, 1 takes the recorder, any other value the camera. A running stream is replaced.
    // A camera that gave way to the recorder is tried anew.
    void SetStreamFrom(std::uint32_t n);
    // The user's option may have changed: the stream is begun anew, and a camera that gave way is tried anew.
    void FollowStreamOption();
    // The picture that the coordinates of AddCamCenterCmd are told in.
    ClassSize GetDefaultImageSize() const;

    // --- threads (user interface thread). All of this does nothing before the channel is usable.
    // Starts the command, the reception and the decode thread. They idle until StartPlaying.
    void StartCameraThreads();
    // Once a second: starts those that the system had no place for, and says so in the cell, as of what their
    // loops had no memory to tell.
    void KeepThreads();
    bool StopCameraThreads(StopWait wait) override;
    bool StopVideoThread(StopWait wait);
    // The thread for a camera's sound over a connection of its own, once it is known that the camera has
    // sound; none where the sound comes with the recorder's pictures.
    enum class AudioStart { IfNeeded, Anew };
    void StartAudioThread(AudioStart start);
    // With its sound: over a connection of its own, too, which streams of a recorder do not have.
    void StartPlaying(PlaySound sound);
    // Ends the connection and drops what waits; the threads stay.
    void PausePlaying();
    // A new connection, with a newly chosen stream. Any thread.
    void RestartPlaying();
    void SetPlayAudio(bool bPlay);
    bool IsVideoRunning() const;
    bool IsStreamRunning() const;  // a picture was shown since the last pause
    // Pictures come: the last one is younger than kStillMs.
    bool IsLive() const;
    // Marks the picture on show as one that stands still when none has come for that long; a cell asks for it
    // now and then. The next picture takes the mark away.
    void UpdateStill();

    // --- view
    // The next picture reports its size to the console even if that is what it was.
    void ForgetFrameSize();
    // The window that draws this channel; null takes it away.
    void SetViewWnd(WindowHandle hWnd, std::function<void()> repaint);
    WindowHandle GetViewWnd() const;
    // Whether somebody can see that window. While nobody can, a channel that has shown a picture keeps what
    // comes, undecoded, since the last key frame; it is decoded at once when it is seen again.
    void SetSeen(bool bSeen);
    // What comes is kept undecoded: the picture on show is not the newest.
    bool IsKept() const;
    // Decodes what was kept even if nobody sees it. `call` comes when the newest picture has taken the
    // screen, on the thread that shows it; never if none does.
    void WhenShown(std::function<void()> call);
    // The cell that shows this channel.
    void SetVideoWnd(WindowHandle hWnd);
    WindowHandle GetVideoWnd() const;
    // True when the caller has to call StartPlaying.
    bool SetViewSize(int cx, int cy);
    bool CheckStreamChange();
    // The console, for the refresh of its buttons.
    void SetConsoleWnd(WindowHandle hWnd);
    // A window to be told of the next picture, once (message 15791).
    void SetNotifyWnd(WindowHandle hWnd);
    ChannelPicture& Picture();
    const ChannelPicture& Picture() const;
    ChannelStatistics GetStatistics() const;

    // --- commands (any thread)
    // Queues a command for the command thread; of more than 10 that wait the oldest is dropped.
    void AddCamCmd(std::uint32_t dwCmd, std::uint32_t dwArg);
    // A click into the picture, in the camera's coordinates.
    void AddCamCenterCmd(int x, int y);
    // Stores the present position as a preset.
    void AddPresetNameCmd(std::uint32_t nIndex, const std::string& name);
    // Removes a preset.
    void AddPresetIndexCmd(std::uint32_t nIndex);
    // Asks how the recorder takes presets; the cell's caption refresh (11412) tells of the answer.
    void ReadPresetFormat();
    PresetFormat GetPresetFormat() const;
    // What the camera can do, as last read from the recorder.
    CameraInfo GetCameraInfo() const;
    // What the panel can do now: the camera's abilities, or those of digital zoom while that is on.
    CameraInfo GetAbilities() const;
    // The panel or a click may steer something: digital zoom, or a camera that this user may steer.
    bool IsPtzEnabled() const;
    // The camera itself may be steered by this user, whatever digital zoom does.
    bool IsCameraSteerable() const;
    bool IsCameraInfoLoaded() const;
    // How many commands the recorder has refused or not answered.
    std::uint32_t GetFailedCommands() const;
    // Has it read again, if the last good reading is a minute old or there is none.
    void RefreshCameraInfo();

    // --- talk-back: the microphone's sound to the camera's loudspeaker
    // Opens the connection, after closing the one before; about 6 s at the most. False, and the cause posted
    // to hWnd, if that failed. A worker thread of the caller's; `abort` ends all waits within 250 ms.
    bool PrepareTalking(const WindowHandle& hWnd, const std::shared_ptr<const FlagWord>& abort);
    std::uint32_t GetTalkingBufferSamples() const;
    std::uint16_t GetTalkingSampleBits() const;
    // One block of the microphone's samples. False, and the cause posted, if it did not go out: the peer has
    // gone, or takes nothing for 3 s. On a thread of the caller's.
    bool SendTalkingData(const WindowHandle& hWnd, std::span<const std::int16_t> samples);
    // The size of so many bytes of samples when coded; 0 for a form that nobody knows.
    std::size_t GetTalkingEncodedSize(std::size_t size) const;

    // --- what the recorder tells of the channel (user interface thread)
    // Stored; true when something changed. An event that rises starts the picture's highlight, whether a cell
    // shows the channel or not.
    bool SetStatusFlags(const StatusFlags& flags);
    StatusFlags GetStatusFlags() const;
    // It records because a user wants it; true when that changed.
    bool SetManualRecording(bool bManual);
    bool IsManualRecording() const;
    // Why the recorder has not followed the last order to record, in its words; empty for none.
    std::string GetRecordingFault() const;
    // The recorder is gone: what it told is not shown any more. True when it was.
    bool ForgetStatus();
    bool IsStatusTold() const;

protected:
    CBaseCamera(Clock& clock, const CameraKind& kind, std::shared_ptr<FrameBudget> budget);
    friend std::shared_ptr<CBaseCamera> CreateCamera(const CameraSettings*, Clock&,
                                                     std::shared_ptr<FrameBudget>);

private:
    void ClearCameraInfo();
    void ReportZoom(const ZoomOutcome& outcome);
    void WantAudio(bool bPlayAudio);

    const std::shared_ptr<ChannelCore> m_core;
};

}  // namespace kvmon
