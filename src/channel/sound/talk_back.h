// Talk-back of a channel: its connection and its encoder.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "audio/g726.h"
#include "platform/window_handle.h"
#include "platform/worker.h"

namespace kvmon {

class StreamSource;
struct TargetSettings;

// First number of WM_TALKING_NOTIFY; the second one is 0 where nothing else is told.
enum class TalkingNotify : std::uint32_t {
    Level = 0,  // a block went out; second number: its level, 0 to 100 and beyond
    State = 1,  // second number: 1 another talks, 2 camera off, else it takes no sound now
    CreateFailed = 2,
    ConnectFailed = 3,
    RequestFailed = 4,
    SendFailed = 5,  // second number: 1 from the connection, 0 from the recording
    NoSettings = 8,
    RequestTooLong = 9,
    NoMicrophone = 11,  // second number: 0 there is none, kMicrophoneSilent it gives nothing
    EncodingFailed = 12,
};

inline constexpr LParam kMicrophoneSilent = 1;

// The only request of a talk-back connection; bare sound follows it. Nothing if it does not fit.
std::optional<std::string> BuildTalkRequest(const TargetSettings& settings);

class TalkBack {
public:
    static constexpr std::uint32_t kBufferSamples = 2000;
    static constexpr std::uint16_t kSampleBits = 16;

    // The recorder that the sound goes to.
    explicit TalkBack(const StreamSource& source);
    ~TalkBack();

    // As of CBaseCamera.
    void SetTalkCapability(std::uint32_t dwAudioOut, std::uint32_t dwAudioOutType);
    bool CanTalk() const { return m_dwAudioOut != 0; }
    std::size_t GetTalkingEncodedSize(std::size_t size) const;
    bool PrepareTalking(const WindowHandle& hWnd, const std::shared_ptr<const FlagWord>& abort);
    bool SendTalkingData(const WindowHandle& hWnd, std::span<const std::int16_t> samples);
    // Nothing for a form that nobody knows. The encoder's state goes on from block to block and from
    // connection to connection.
    std::vector<std::uint8_t> EncodeTalkingData(std::span<const std::int16_t> samples);

private:
    struct Connection;

    const StreamSource& m_source;
    std::atomic<std::uint32_t> m_dwAudioOut{0};
    std::atomic<std::uint32_t> m_dwAudioOutType{0xFFFFFFFF};
    std::mutex m_csTalk;  // held for a copy or for coding a block
    G726Codec m_encoder;
    std::shared_ptr<Connection> m_HttpTran;
};

}  // namespace kvmon
