// One channel of one recorder: settings, threads, queues and picture.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "channel/channel_picture.h"
#include "channel/frame_pool.h"
#include "platform/clock.h"
#include "platform/event.h"
#include "platform/window_handle.h"
#include "platform/worker.h"
#include "server/camera_settings.h"
#include "server/server_camera.h"

namespace kvmon {

class CBaseCamera;

// The channel for these settings, or null for null. The object is to be filled with Assign next. The
// threads own the channel together with the handle: when the last handle goes, the threads are stopped
// (3000 ms each), and one that does not end keeps what it touches alive by itself.
std::shared_ptr<CBaseCamera> CreateCamera(const CameraSettings* pSettings, Clock& clock = SystemClock());

// The text of a vendor number; "Generic" for one without an entry.
const char* GetVendorName(std::uint32_t dwVendorId);

// One stream of the channel, as the recorder offers it.
struct StreamProfile {
    std::string name;
    int sizeClass = 0;  // 0 QCIF to 4 Large
    std::int32_t streamId = 0;
};

// Counted at each stage of a frame's way.
struct ChannelStatistics {
    std::uint64_t received = 0;  // records off the wire, video
    std::uint64_t bytes = 0;
    std::uint64_t refused = 0;  // by the admission rule
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
    void SetAudioRight(bool bRight);
    bool HasAudioRight() const;
    void SetStreamProfiles(std::vector<StreamProfile> profiles);

    // --- threads
    void StartCameraThreads();
    bool StopCameraThreads(bool bWait) override;
    void StartPlaying(bool bPlayAudio, bool bUIPlayAudio);
    void PausePlaying();
    void RestartPlaying();
    void SetPlayAudio(bool bPlay);
    bool IsVideoRunning() const;
    bool IsStreamRunning() const;  // a picture was shown since the last pause

    // --- view
    // The window that draws this channel; null takes it away.
    void SetViewWnd(WindowHandle hWnd, std::function<void()> repaint);
    WindowHandle GetViewWnd() const;
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

    // The seven status words, stored; true when one changed.
    bool SetStatusFlags(const std::array<std::uint32_t, 7>& flags);
    std::array<std::uint32_t, 7> GetStatusFlags() const;

protected:
    explicit CBaseCamera(Clock& clock);
    friend std::shared_ptr<CBaseCamera> CreateCamera(const CameraSettings*, Clock&);
};

}  // namespace kvmon
