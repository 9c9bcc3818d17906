// Talk-back of a channel: its connection and its encoder. Inside this folder and its tests only.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <vector>

#include "audio/g726.h"
#include "platform/window_handle.h"
#include "platform/worker.h"

namespace kvmon {

struct ChannelCore;

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

class TalkBack {
public:
    static constexpr std::uint32_t kBufferSamples = 2000;
    static constexpr std::uint16_t kSampleBits = 16;

    TalkBack();
    ~TalkBack();

    // The size of so many bytes of samples in the form of this number; 0 for one that nobody knows.
    static std::size_t GetTalkingEncodedSize(std::uint32_t dwAudioOutType, std::size_t size);

    // As of CBaseCamera.
    bool PrepareTalking(ChannelCore& core, const WindowHandle& hWnd,
                        const std::shared_ptr<const FlagWord>& abort);
    bool SendTalkingData(ChannelCore& core, const WindowHandle& hWnd, std::span<const std::int16_t> samples);
    // Nothing for a form that nobody knows. The encoder's state goes on from block to block and from
    // connection to connection.
    std::vector<std::uint8_t> EncodeTalkingData(std::uint32_t dwAudioOutType,
                                                std::span<const std::int16_t> samples);

private:
    struct Connection;

    std::mutex m_csTalk;  // held for a copy or for coding a block
    G726Codec m_encoder;
    std::shared_ptr<Connection> m_HttpTran;
};

}  // namespace kvmon
