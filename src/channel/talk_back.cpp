#include "channel/talk_back.h"

#include "channel/base_camera.h"
#include "channel/channel_core.h"
#include "channel/channel_messages.h"
#include "channel/ptz_request.h"
#include "persist/log_file.h"
#include "server/http_tran.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kTypeG726 = 1;  // the only form that can be coded
constexpr std::uint32_t kStepTimeout = 3000;
// Two seconds of coded sound: a recorder that stops reading shows early.
constexpr int kSendBuffer = 8192;

void Tell(const WindowHandle& hWnd, TalkingNotify what, LParam lParam = 0) {
    hWnd.Post(WM_TALKING_NOTIFY, static_cast<WParam>(what), lParam);
}

}  // namespace

// Owns the flag that its transport looks at.
struct TalkBack::Connection {
    Connection(std::shared_ptr<const FlagWord> flag, Clock& clock)
        : abort(std::move(flag)), tran(abort.get(), clock) {}

    const std::shared_ptr<const FlagWord> abort;
    CHttpTran tran;
};

TalkBack::TalkBack() {
    m_encoder.Open(1, 8000, 32000, G726Packing::LowFirst);
}

TalkBack::~TalkBack() = default;

std::size_t TalkBack::GetTalkingEncodedSize(std::uint32_t dwAudioOutType, std::size_t size) {
    return dwAudioOutType == kTypeG726 ? size / 4 : 0;
}

bool TalkBack::PrepareTalking(ChannelCore& core, const WindowHandle& hWnd,
                              const std::shared_ptr<const FlagWord>& abort) {
    if (core.m_dwAudioOut == 0 || !hWnd) {
        return false;
    }
    const auto fail = [&](const char* lpszStep, TalkingNotify what) {
        Trace("CBaseCamera::PrepareTalking: m_uCHInMainDlg=%u, %s failed...\n", core.m_uCHInMainDlg.load(),
              lpszStep);
        Tell(hWnd, what);
        return false;
    };
    TargetSettings settings;
    if (!core.GetKelvaraSettings(settings)) {
        return fail("GetKelvaraSettings", TalkingNotify::NoSettings);
    }
    const auto connection = std::make_shared<Connection>(abort, core.clock);
    std::shared_ptr<Connection> before;
    {
        const std::lock_guard lock(m_csTalk);
        before = std::exchange(m_HttpTran, connection);
    }
    if (before) {
        before->tran.Shutdown();  // a thread that still sends there leaves
        before.reset();
    }
    CHttpTran& tran = connection->tran;
    if (!tran.Create()) {
        return fail("m_HttpTran.Create", TalkingNotify::CreateFailed);
    }
    tran.SetSendBuffer(kSendBuffer);
    std::uint32_t dwTimeout = kStepTimeout;
    if (!tran.Connect(settings.szAddress.c_str(), settings.nPort, &dwTimeout)) {
        return fail("m_HttpTran.Connect", TalkingNotify::ConnectFailed);
    }
    const auto request = BuildTalkRequest(settings);
    if (!request) {
        return fail("_snprintf", TalkingNotify::RequestTooLong);
    }
    dwTimeout = kStepTimeout;
    if (!tran.Send(*request, &dwTimeout)) {
        return fail("m_HttpTran.Send", TalkingNotify::RequestFailed);
    }
    return true;
}

bool TalkBack::SendTalkingData(ChannelCore& core, const WindowHandle& hWnd,
                               std::span<const std::int16_t> samples) {
    if (core.m_dwAudioOut == 0 || !hWnd || samples.empty()) {
        return false;
    }
    const std::vector<std::uint8_t> coded = EncodeTalkingData(core.m_dwAudioOutType, samples);
    if (coded.empty()) {
        Trace("CBaseCamera::SendTalkingData: m_uCHInMainDlg=%u, EncodeTalkingData failed...\n",
              core.m_uCHInMainDlg.load());
        Tell(hWnd, TalkingNotify::EncodingFailed);
        return false;
    }
    std::shared_ptr<Connection> connection;
    {
        const std::lock_guard lock(m_csTalk);
        connection = m_HttpTran;
    }
    std::uint32_t dwTimeout = kStepTimeout;
    // Send itself does not count a wait that ran out as a failure; sound that does not go out is one.
    if (!connection || !connection->tran.Send(coded.data(), coded.size(), &dwTimeout) ||
        connection->tran.GetSocketError() == kSocketAborted) {
        Trace("CBaseCamera::SendTalkingData: m_uCHInMainDlg=%u, Send audio data failed...\n",
              core.m_uCHInMainDlg.load());
        Tell(hWnd, TalkingNotify::SendFailed, 1);
        return false;
    }
    return true;
}

std::vector<std::uint8_t> TalkBack::EncodeTalkingData(std::uint32_t dwAudioOutType,
                                                      std::span<const std::int16_t> samples) {
    std::vector<std::uint8_t> coded;
    const std::size_t size = GetTalkingEncodedSize(dwAudioOutType, samples.size_bytes());
    if (size == 0) {
        return coded;
    }
    const std::lock_guard lock(m_csTalk);
    coded.reserve(size);
    m_encoder.Encode(samples, coded);
    return coded;
}

// --- the channel's face of it

bool CBaseCamera::PrepareTalking(const WindowHandle& hWnd, const std::shared_ptr<const FlagWord>& abort) {
    return m_core->m_talk.PrepareTalking(*m_core, hWnd, abort);
}

std::uint32_t CBaseCamera::GetTalkingBufferSamples() const {
    return TalkBack::kBufferSamples;
}

std::uint16_t CBaseCamera::GetTalkingSampleBits() const {
    return TalkBack::kSampleBits;
}

bool CBaseCamera::SendTalkingData(const WindowHandle& hWnd, std::span<const std::int16_t> samples) {
    return m_core->m_talk.SendTalkingData(*m_core, hWnd, samples);
}

std::size_t CBaseCamera::GetTalkingEncodedSize(std::size_t size) const {
    return TalkBack::GetTalkingEncodedSize(m_core->m_dwAudioOutType, size);
}

}  // namespace kvmon
