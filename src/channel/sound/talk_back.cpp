#include "channel/sound/talk_back.h"

#include <utility>

#include "channel/base/channel_messages.h"
#include "channel/source/stream_source.h"
#include "persist/log_file.h"
#include "platform/text.h"
#include "server/http/http_tran.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kTypeG726 = 1;  // the only form that can be coded
constexpr std::uint32_t kStepTimeout = 3000;
// Two seconds of coded sound: a recorder that stops reading shows early.
constexpr int kSendBuffer = 8192;
// The request is shorter, the NUL included.
constexpr std::size_t kRequestSize = 640;

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

std::optional<std::string> BuildTalkRequest(const TargetSettings& settings) {
    std::string request = FormatText(
        "GET /cgi-bin/putaudiostream.cgi?ch=%d HTTP/1.0\r\nHost: %s:%d\r\n"
        "Authorization: Basic %s\r\n"
        "Content-Type: multipart/mixed;boundary=TARENOLIKA_MEDIACGI\r\n\r\n",
        static_cast<int>(settings.nCh), settings.szAddress.c_str(), static_cast<int>(settings.nPort),
        settings.szBase64Auth.c_str());
    return request.size() < kRequestSize ? std::optional(std::move(request)) : std::nullopt;
}

TalkBack::TalkBack(const StreamSource& source) : m_source(source) {
    m_encoder.Open(1, 8000, 32000, G726Packing::LowFirst);
}

TalkBack::~TalkBack() = default;

void TalkBack::SetTalkCapability(std::uint32_t dwAudioOut, std::uint32_t dwAudioOutType) {
    m_dwAudioOutType = dwAudioOutType;
    m_dwAudioOut = dwAudioOut;
}

std::size_t TalkBack::GetTalkingEncodedSize(std::size_t size) const {
    return m_dwAudioOutType == kTypeG726 ? size / 4 : 0;
}

bool TalkBack::PrepareTalking(const WindowHandle& hWnd, const std::shared_ptr<const FlagWord>& abort) {
    if (!CanTalk() || !hWnd) {
        return false;
    }
    const auto fail = [&](const char* lpszStep, TalkingNotify what) {
        Trace("CBaseCamera::PrepareTalking: m_uCHInMainDlg=%u, %s failed...\n",
              m_source.m_uCHInMainDlg.load(), lpszStep);
        Tell(hWnd, what);
        return false;
    };
    TargetSettings settings;
    if (!m_source.GetKelvaraSettings(settings)) {
        return fail("GetKelvaraSettings", TalkingNotify::NoSettings);
    }
    const auto connection = std::make_shared<Connection>(abort, m_source.clock);
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

bool TalkBack::SendTalkingData(const WindowHandle& hWnd, std::span<const std::int16_t> samples) {
    if (!CanTalk() || !hWnd || samples.empty()) {
        return false;
    }
    const std::vector<std::uint8_t> coded = EncodeTalkingData(samples);
    if (coded.empty()) {
        Trace("CBaseCamera::SendTalkingData: m_uCHInMainDlg=%u, EncodeTalkingData failed...\n",
              m_source.m_uCHInMainDlg.load());
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
              m_source.m_uCHInMainDlg.load());
        Tell(hWnd, TalkingNotify::SendFailed, 1);
        return false;
    }
    return true;
}

std::vector<std::uint8_t> TalkBack::EncodeTalkingData(std::span<const std::int16_t> samples) {
    std::vector<std::uint8_t> coded;
    const std::size_t size = GetTalkingEncodedSize(samples.size_bytes());
    if (size == 0) {
        return coded;
    }
    const std::lock_guard lock(m_csTalk);
    coded.reserve(size);
    m_encoder.Encode(samples, coded);
    return coded;
}

}  // namespace kvmon
