#include "console/site/emap_fetch.h"

#include <array>
#include <mutex>
#include <vector>

#include "codec/jpeg_codec.h"
#include "persist/utilities.h"
#include "platform/outside_text.h"
#include "platform/text.h"
#include "server/documents/server_documents.h"
#include "server/http/http_tran.h"
#include "server/http/resource_fetch.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kConnectMs = 10000;
constexpr std::uint32_t kStepMs = 3000;
constexpr std::size_t kMaxRequestText = 639;
constexpr std::size_t kHeadBytes = 1024;
constexpr std::size_t kBodyBytes = 1024;
constexpr std::size_t kMaxSkipped = 65536;  // of a head
constexpr std::size_t kTitleRoom = 1020;
constexpr std::size_t kMaxTitle = 249;      // bytes
constexpr std::size_t kMaxTitleText = 256;  // UTF-16 units
constexpr int kMaxSide = 16384;
constexpr std::int64_t kMaxPixels = 64 * 1000 * 1000;

}  // namespace

std::string EMapTitle(std::string_view body, bool* pbFound) {
    *pbFound = false;
    body = body.substr(0, kTitleRoom);
    const std::size_t begin = body.find("<b>");
    if (begin == std::string_view::npos) {
        return {};
    }
    const std::string_view rest = body.substr(begin + 3);
    const std::size_t length = rest.find("</b>");
    if (length > kMaxTitle) {  // also if there is none
        return {};
    }
    *pbFound = true;
    return Utf16Left(OutsideLine(CText(rest.substr(0, length))), kMaxTitleText);
}

QImage EMapPicture(const std::vector<std::uint8_t>& data) {
    int width = 0;
    int height = 0;
    std::uint32_t size = 0;
    if (!IsJpeg(data) || !GetJpegInfo(data, &width, &height, &size) || width < 1 || height < 1 ||
        width > kMaxSide || height > kMaxSide || std::int64_t{width} * height > kMaxPixels) {
        return {};
    }
    std::vector<std::uint8_t> bitmap(size);
    BITMAPINFOHEADER info;
    if (DecodeJpeg(data, bitmap, &info) != nullptr) {
        return {};
    }
    const QImage bottomUp(bitmap.data(), info.biWidth, info.biHeight,
                          static_cast<qsizetype>(BitmapStride(info.biWidth, info.biBitCount)),
                          info.biBitCount == 24 ? QImage::Format_BGR888 : QImage::Format_RGB32);
    return bottomUp.mirrored(false, true).convertToFormat(QImage::Format_RGB32);
}

// What the thread owns and works on.
struct EMapFetch::State {
    EMapSource source;
    WindowHandle hWnd;
    Clock* clock = nullptr;
    FlagWord abort{0};
    std::mutex csTran;
    CHttpTran* pTran = nullptr;  // guarded by csTran
    // These belong to the thread until its message.
    std::string title;
    QImage picture;
    int nHttpStatus = 0;

    void Run();
    EMapStatus Fetch();
    EMapStatus ReadTitle();
    EMapStatus Ask(CHttpTran& tran);
    bool SkipHead(CHttpTran& tran);
};

bool EMapFetch::State::SkipHead(CHttpTran& tran) {
    std::array<char, kHeadBytes> line;
    for (std::size_t nRead = 0; nRead < kMaxSkipped;) {
        std::uint32_t dwTimeout = kStepMs;
        std::size_t nLength = line.size();
        if (!tran.ReadLine(line.data(), &nLength, &dwTimeout) || nLength == 0) {
            return false;
        }
        if (IsBlankLine({line.data(), nLength})) {
            return true;
        }
        nRead += nLength;
    }
    return false;
}

EMapStatus EMapFetch::State::Ask(CHttpTran& tran) {
    if (!tran.Create()) {
        return EMapStatus::CreateFailed;
    }
    std::uint32_t dwTimeout = kConnectMs;
    if (!tran.Connect(source.host.c_str(), source.port, &dwTimeout)) {
        return EMapStatus::ConnectFailed;
    }
    const std::string request = FormatText(
        "GET /cgi-bin/emap_show.cgi HTTP/1.0\r\nUser-Agent: Monitor\r\nHost: %s\r\n"
        "Connection: Keep-Alive\r\nAuthorization: Basic %s\r\n\r\n",
        source.host.c_str(), MakeBasicAuth(source.user, source.password).c_str());
    dwTimeout = kStepMs;
    if (request.size() > kMaxRequestText || !tran.Send(request, &dwTimeout)) {
        return EMapStatus::SendFailed;
    }
    std::array<char, kHeadBytes> head;
    std::size_t nLength = head.size();
    HTTP_RESULT result;
    dwTimeout = kStepMs;
    if (!tran.ReadLine(head.data(), &nLength, &dwTimeout)) {
        return EMapStatus::NoAnswer;
    }
    CHttpTran::ParseHttpHeader({head.data(), nLength}, &result);
    nHttpStatus = result.nStatus;
    if (nHttpStatus != 200) {
        return EMapStatus::Refused;
    }
    std::array<char, kBodyBytes> body;
    dwTimeout = kStepMs;
    nLength = SkipHead(tran) ? tran.ReadBlock(body.data(), body.size(), &dwTimeout) : 0;
    bool bFound = false;
    title = EMapTitle({body.data(), nLength}, &bFound);
    return bFound ? EMapStatus::PictureStep : EMapStatus::NoTitle;
}

EMapStatus EMapFetch::State::ReadTitle() {
    CHttpTran tran(&abort, *clock);
    {
        const std::lock_guard lock(csTran);
        pTran = &tran;
    }
    const EMapStatus status = Ask(tran);
    const std::lock_guard lock(csTran);
    pTran = nullptr;
    return status;
}

EMapStatus EMapFetch::State::Fetch() {
    const EMapStatus status = ReadTitle();
    if (status != EMapStatus::PictureStep) {
        return status;
    }
    std::vector<std::uint8_t> data;
    const std::string url =
        FormatText("http://%s:%u/cgi-bin/data/images/emap.jpg", source.host.c_str(), source.port);
    if (GetResourceFromURL(&data, url, "image/jpeg", source.user, source.password, FetchTransport::Platform,
                           &abort)) {
        picture = EMapPicture(data);
    }
    return status;
}

void EMapFetch::State::Run() {
    const EMapStatus status = Fetch();
    hWnd.Post(kMsgEMapDone, static_cast<WParam>(status), nHttpStatus);
}

EMapFetch::EMapFetch(const EMapSource& source, WindowHandle hWnd, Clock& clock)
    : m_state(std::make_shared<State>()) {
    m_state->source = source;
    m_state->hWnd = std::move(hWnd);
    m_state->clock = &clock;
    if (!m_thread.Start("kv-emap", [state = m_state] { state->Run(); })) {
        m_state->hWnd.Post(kMsgEMapDone, static_cast<WParam>(EMapStatus::CreateFailed), 0);
    }
}

EMapFetch::~EMapFetch() {
    Cancel();
    m_thread.Wait(Milliseconds(100));
}

void EMapFetch::Cancel() {
    m_state->abort = 1;
    const std::lock_guard lock(m_state->csTran);
    if (m_state->pTran != nullptr) {
        m_state->pTran->Shutdown();
    }
}

bool EMapFetch::IsEnded() {
    return m_thread.Wait(Milliseconds(0));
}

const std::string& EMapFetch::Title() const {
    return m_state->title;
}

const QImage& EMapFetch::Picture() const {
    return m_state->picture;
}

}  // namespace kvmon
