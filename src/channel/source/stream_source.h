// Where a channel's pictures come from: its recorder, or the camera itself by one of two ways; and which of
// the streams there.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <vector>

#include "channel/source/camera_trial.h"
#include "channel/source/stream_choice.h"
#include "channel/source/target_settings.h"
#include "platform/clock.h"
#include "server/documents/camera_settings.h"

namespace kvmon {

class CameraKind;

// A size of the stream that the user has chosen; 0 x 0 for none.
struct FixedSize {
    std::int32_t cx = 0;
    std::int32_t cy = 0;
    bool IsSet() const { return cx > 0 && cy > 0; }
};

// Any thread. The lock is never held during a wait or a network call.
class StreamSource {
public:
    StreamSource(Clock& theClock, const CameraKind& theKind) : clock(theClock), kind(theKind) {}
    // The same camera by one of its ways, for a look at it.
    StreamSource(const StreamSource& other, std::uint32_t nWay);

    // --- what the recorder tells
    // Who may not watch keeps nothing to connect with.
    void Assign(const CameraSettings& settings);
    CameraSettings GetSettings() const;
    bool IsSettingsAssigned() const;
    bool HasAddress() const;
    bool HasMonitorRight() const;
    bool IsCameraUsable() const;  // all three of them
    // What was chosen for the camera before counts no more.
    void ForgetChoices();

    // --- the peer
    // The pictures come from the camera itself: the kind can, the channel or else the option wants it, and
    // the camera has not given way.
    bool IsStreamFromCamera() const;
    // The peer of the stream. False without an address of the recorder.
    bool GetTargetSettings(TargetSettings& settings) const;
    // The recorder, wherever the pictures come from. False without an address.
    bool GetKelvaraSettings(TargetSettings& settings) const;
    // The way to the camera that is not taken now has an address.
    bool HasOtherWay() const;
    bool HasWay(std::uint32_t nWay) const;
    // A camera that cannot be reached is tried by its other way. False if there is none.
    bool SwitchNetworkSetting();

    // --- the stream
    // The stream that the present view asks for, of what the pictures come from.
    std::int32_t WantedStreamId() const;
    std::int32_t SelectStreamId() const;
    // True if they have changed.
    bool SetStreamProfiles(std::vector<StreamProfile> profiles);
    std::vector<StreamProfile> GetStreamProfiles() const;
    void SetViewSize(int cx, int cy);
    // The size that the user wants instead of the view's, of the recorder's stream and of the camera's.
    void SetFixSizeServer(const FixedSize& size);
    void SetFixSizeCamera(const FixedSize& size);
    FixedSize GetFixSizeServer() const;
    FixedSize GetFixSizeCamera() const;

    Clock& clock;
    const CameraKind& kind;
    std::atomic<std::uint32_t> m_uCHInMainDlg{0xFFFFFFFF};
    std::atomic<std::uint32_t> m_uCHInKelvara{0xFFFFFFFF};
    std::atomic<bool> m_bDigitalZoom{false};
    std::atomic<std::int32_t> m_nStreamId{-1};
    std::atomic<std::uint32_t> m_nStreamFrom{0};         // 0 the option, 1 the recorder, else the camera
    std::atomic<std::uint32_t> m_nNetworkSettingIdx{0};  // its low bit is the way to the camera
    CameraTrial m_trial;

private:
    mutable std::mutex m_cs;
    CameraSettings m_settings;
    bool m_bSettingsAssigned = false;
    bool m_bHasAddress = false;
    BoundedText<256> m_lpszCamBase64Auth;
    std::vector<StreamProfile> m_StreamProfiles;
    int m_nViewWidth = 0;
    int m_nViewHeight = 0;
    FixedSize m_FixSizeServer;
    FixedSize m_FixSizeCamera;
};

}  // namespace kvmon
