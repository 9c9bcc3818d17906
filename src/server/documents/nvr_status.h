// What one round of queries learns about a recorder.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/secret_memory.h"
#include "platform/text.h"
#include "server/documents/camera_settings.h"

namespace kvmon {

// One stream that a channel offers.
struct CStreamEntry {
    std::int32_t m_nId = -1;
    std::int32_t m_nFormat = 0;
    std::int32_t m_nResolution = -1;

    bool IsValid() const { return m_nId != -1 && m_nResolution != -1 && m_nFormat != 0; }
    friend bool operator==(const CStreamEntry&, const CStreamEntry&) = default;
};

using CStreamInfo = std::vector<CStreamEntry>;

// What a channel can do, from documents that not every recorder has.
struct ChannelCapabilities {
    CStreamInfo streams;  // sorted; none if the recorder did not tell
    std::int32_t nAudioOut = 0;
    std::int32_t nAudioOutType = 0;

    // The channel has a loudspeaker that takes a user's voice.
    bool CanTalk() const { return nAudioOut != 0; }
    friend bool operator==(const ChannelCapabilities&, const ChannelCapabilities&) = default;
};

// Bits that name the status words of a channel. The first eight are the states that the recording line tells.
enum StatusMask : std::uint32_t {
    kStatusConnected = 1,  // the recorder reaches the camera
    kStatusRecording = 2,
    kStatusMotion = 4,
    kStatusEvent = 8,
    kStatusSignalLoss = 16,
    kStatusInput = 32,
    kStatusAlarm = 64,
    kStatusManual = 128,  // it records because a user wants it
    kStatusMonitorRight = 256,
    kStatusControlRight = 512,
    kStatusAdminRight = 1024,
    kStatusConfigured = 2048,
};
inline constexpr int kStatusWordCount = 12;

// The status words of a channel, by the bit number of their mask.
using StatusWords = std::array<std::uint32_t, kStatusWordCount>;
// 0 for a mask that names none.
std::uint32_t StatusWord(const StatusWords& words, std::uint32_t mask);

// One channel as a round of queries found it.
struct CVideoSetting {
    CStreamInfo m_StreamInfo;
    NetworkSetting m_NetworkSetting[2];
    BoundedText<64> m_lpszCamUserName;
    SecretText<64> m_lpszCamPasswd, m_lpszAdminPasswd, m_lpszGuestPasswd;
    std::int32_t m_nCh = 0;
    BoundedText<256> m_lpszVideoURL;
    std::uint32_t m_nSvrPort = 80;
    BoundedText<64> m_lpszSvrIP;
    BoundedText<64> m_lpszSvrUserName;
    SecretText<64> m_lpszSvrPasswd;
    SecretText<256> m_lpszSvrBase64Auth;
    StatusWords statusWords{};
    std::string m_strChannelName;
    std::int32_t m_nAudioOut = 0, m_nAudioOutType = 0;
    BoundedText<24> m_szCameraId;
    std::uint32_t m_dwVendorId = 0xFFFFFFFF, m_dwModelId = 0xFFFFFFFF;

    std::uint32_t Status(std::uint32_t mask) const;
    void SetStatus(std::uint32_t mask, std::uint32_t value);
    ChannelCapabilities Capabilities() const { return {m_StreamInfo, m_nAudioOut, m_nAudioOutType}; }
    void SetCapabilities(const ChannelCapabilities& capabilities);
    // The copy that a channel object takes.
    CameraSettings ToCameraSettings() const;
};

struct CNvrStatus {
    std::vector<CVideoSetting> m_VideoSettingList;  // in index order
    std::string m_strServerName, strServerVersion, strServerBuild;
    bool bOwnRecorder = false;  // it is a kvrecorder
    std::int32_t m_nServerState = 1;
    std::string m_strDiskSize, m_strDiskUnit;
    std::int32_t m_nDiskStatus = 100;
    std::int32_t m_nChannelCount = 0;
    std::int32_t m_nDiskUsed = 0;

    // Leaves the list alone.
    void Reset();
};

}  // namespace kvmon
