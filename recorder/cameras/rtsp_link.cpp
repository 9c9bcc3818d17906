#include "cameras/rtsp_link.h"

#include <linux/sockios.h>
#include <poll.h>
#include <sys/ioctl.h>

#include <curl/curl.h>

#include <algorithm>
#include <cerrno>

#include "cameras/camera_words.h"
#include "cameras/curl_handles.h"

namespace kvrecorder {
namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

// How soon a wait ends when it is to.
constexpr milliseconds kLook{50};
// Of a camera that sends without end.
constexpr int kMostReads = 16;

[[noreturn]] void FailConnect(CURL* easy, CURLcode error) {
    long system = 0;
    curl_easy_getinfo(easy, CURLINFO_OS_ERRNO, &system);
    switch (error) {
        case CURLE_COULDNT_RESOLVE_HOST:
            throw CameraError(words::kUnknownHost);
        case CURLE_COULDNT_CONNECT:
            throw CameraError(system == EHOSTUNREACH || system == ENETUNREACH ? words::kNoWay
                                                                              : words::kNothingListens);
        case CURLE_OPERATION_TIMEDOUT:
            throw CameraError(words::kNoAnswer);
        case CURLE_SSL_CONNECT_ERROR:
        case CURLE_PEER_FAILED_VERIFICATION:
            throw CameraError(FaultCode::NotEncrypted);
        case CURLE_OUT_OF_MEMORY:
            throw CameraError(words::kNoMemory);
        default:
            throw CameraError(words::kClosed);
    }
}

// The same place as the library of transfers connects to: "http://host:554/" of "rtsp://host/path".
std::string PlaceOf(const std::string& url) {
    const std::unique_ptr<CURLU, void (*)(CURLU*)> read(curl_url(), curl_url_cleanup);
    if (!read ||
        curl_url_set(read.get(), CURLUPART_URL, url.c_str(), CURLU_NON_SUPPORT_SCHEME) != CURLUE_OK) {
        throw CameraError(words::kUnknownHost);
    }
    const auto get = [&](CURLUPart part) -> std::string {
        char* value = nullptr;
        if (curl_url_get(read.get(), part, &value, 0) != CURLUE_OK) {
            return "";
        }
        std::string text = value;
        curl_free(value);
        return text;
    };
    const bool encrypted = url.starts_with("rtsps:");
    const std::string port = get(CURLUPART_PORT);
    return std::string(encrypted ? "https://" : "http://") + get(CURLUPART_HOST) + ":" +
           (!port.empty() ? port
            : encrypted   ? "322"
                          : "554") +
           "/";
}

}  // namespace

// The connection alone, by the library that makes those of HTTP.
class RtspLink::Line {
public:
    Line(const std::string& url, const std::function<bool()>& ended, TimePoint until) {
        static const CURLcode done = curl_global_init(CURL_GLOBAL_DEFAULT);
        static_cast<void>(done);
        m_multi.reset(curl_multi_init());
        m_easy.reset(curl_easy_init());
        if (!m_multi || !m_easy) {
            throw CameraError(words::kNoMemory);
        }
        const std::string place = PlaceOf(url);
        curl_easy_setopt(m_easy.get(), CURLOPT_URL, place.c_str());
        curl_easy_setopt(m_easy.get(), CURLOPT_CONNECT_ONLY, 1L);
        curl_easy_setopt(m_easy.get(), CURLOPT_PROTOCOLS_STR, "http,https");
        curl_easy_setopt(m_easy.get(), CURLOPT_PROXY, "");
        curl_easy_setopt(m_easy.get(), CURLOPT_NOSIGNAL, 1L);
        curl_easy_setopt(m_easy.get(), CURLOPT_SSL_ENABLE_ALPN, 0L);
        curl_easy_setopt(m_easy.get(), CURLOPT_TCP_NODELAY, 1L);
        // Cameras sign their own certificates.
        curl_easy_setopt(m_easy.get(), CURLOPT_SSL_VERIFYPEER, 0L);
        curl_easy_setopt(m_easy.get(), CURLOPT_SSL_VERIFYHOST, 0L);
        // A host's name that is being looked up is not waited for at the end.
        curl_easy_setopt(m_easy.get(), CURLOPT_QUICK_EXIT, 1L);
        if (curl_multi_add_handle(m_multi.get(), m_easy.get()) != CURLM_OK) {
            throw CameraError(words::kNoMemory);
        }
        try {
            Connect(ended, until);
        } catch (const CameraError&) {
            curl_multi_remove_handle(m_multi.get(), m_easy.get());
            throw;
        }
    }
    ~Line() { curl_multi_remove_handle(m_multi.get(), m_easy.get()); }
    Line(const Line&) = delete;
    Line& operator=(const Line&) = delete;

    int Socket() const { return m_socket; }

    std::size_t Write(std::string_view bytes) {
        std::size_t written = 0;
        const CURLcode error = curl_easy_send(m_easy.get(), bytes.data(), bytes.size(), &written);
        if (error != CURLE_OK && error != CURLE_AGAIN) {
            throw CameraError(words::kClosed);
        }
        return error == CURLE_OK ? written : 0;
    }
    // 0: nothing is there.
    std::size_t Read(char* buffer, std::size_t size) {
        std::size_t read = 0;
        const CURLcode error = curl_easy_recv(m_easy.get(), buffer, size, &read);
        if (error == CURLE_AGAIN) {
            return 0;
        }
        if (error != CURLE_OK || read == 0) {
            throw CameraError(words::kClosed);
        }
        return read;
    }

private:
    void Connect(const std::function<bool()>& ended, TimePoint until) {
        while (true) {
            int running = 0;
            curl_multi_perform(m_multi.get(), &running);
            int left = 0;
            if (const CURLMsg* const message = curl_multi_info_read(m_multi.get(), &left)) {
                if (message->data.result != CURLE_OK) {
                    FailConnect(m_easy.get(), message->data.result);
                }
                break;
            }
            if (ended()) {
                throw CameraError(words::kClosed);
            }
            if (Clock::now() >= until) {
                throw CameraError(words::kNoAnswer);
            }
            curl_multi_poll(m_multi.get(), nullptr, 0, static_cast<int>(kLook.count()), nullptr);
        }
        curl_socket_t socket = CURL_SOCKET_BAD;
        if (curl_easy_getinfo(m_easy.get(), CURLINFO_ACTIVESOCKET, &socket) != CURLE_OK ||
            socket == CURL_SOCKET_BAD) {
            throw CameraError(words::kClosed);
        }
        m_socket = socket;
    }

    MultiHandle m_multi;
    EasyHandle m_easy;
    int m_socket = -1;
};

RtspLink::RtspLink(const NetworkCamera& camera, const std::string& url, std::function<bool()> ended,
                   TimePoint until)
    : m_ended(std::move(ended)),
      m_line(std::make_unique<Line>(url, m_ended, until)),
      m_login(camera.user, camera.password) {}

RtspLink::~RtspLink() = default;

int RtspLink::Socket() const {
    return m_line->Socket();
}

std::string RtspLink::Compose(const std::string& method, const std::string& url, const std::string& headers) {
    std::string text = method + " " + url + " RTSP/1.0\r\nCSeq: " + std::to_string(++m_sequence) +
                       "\r\nUser-Agent: kvrecorder\r\n" + headers;
    AppendSecret(text, m_login.Line(method, url).View());
    AppendSecret(text, "\r\n");
    return text;
}

RtspReply RtspLink::Ask(const std::string& method, const std::string& url, const std::string& headers,
                        TimePoint until) {
    while (true) {
        Say(method, url, headers);
        const int sequence = m_sequence;
        while (!Flush()) {
            CheckLimit(until);
            Wait(POLLOUT, until);
        }
        std::optional<RtspReply> reply;
        while (!reply || (reply->head.Sequence() != sequence && reply->head.Sequence() >= 0)) {
            CheckLimit(until);
            reply = m_replies.Next();
            if (!reply && !Read()) {
                Wait(POLLIN, until);
            }
        }
        switch (m_login.Judge(reply->head)) {
            case RtspLogin::Verdict::GoesOn:
                return std::move(*reply);
            case RtspLogin::Verdict::Again:
                break;
            case RtspLogin::Verdict::WantsUser:
                throw CameraError(words::kWantsLogin);
            case RtspLogin::Verdict::Refuses:
            case RtspLogin::Verdict::NotKnown:
                throw CameraError(words::kRefusesLogin);
        }
    }
}

void RtspLink::Say(const std::string& method, const std::string& url, const std::string& headers) {
    std::string text = Compose(method, url, headers);
    Write(text);
    Wipe(text);
}

void RtspLink::Write(std::string_view bytes) {
    AppendSecret(m_kept, bytes);
    Flush();
}

bool RtspLink::Flush() {
    while (!m_kept.empty()) {
        const std::size_t written = m_line->Write(m_kept);
        if (written == 0) {
            return false;
        }
        m_kept.erase(0, written);
    }
    return true;
}

std::size_t RtspLink::Outstanding() const {
    int bytes = 0;
    return ::ioctl(m_line->Socket(), SIOCOUTQ, &bytes) == 0 && bytes > 0 ? static_cast<std::size_t>(bytes)
                                                                         : 0;
}

bool RtspLink::Drain() {
    bool again = false;
    for (int turn = 0; turn < kMostReads && Read(); ++turn) {
        while (const auto reply = m_replies.Next()) {
            again = m_login.Judge(reply->head) == RtspLogin::Verdict::Again || again;
        }
    }
    return again;
}

// What is there; false if nothing is.
bool RtspLink::Read() {
    char buffer[4096];
    const std::size_t read = m_line->Read(buffer, sizeof buffer);
    m_replies.Add({buffer, read});
    return read > 0;
}

void RtspLink::CheckLimit(TimePoint until) const {
    if (m_ended()) {
        throw CameraError(words::kClosed);
    }
    if (Clock::now() >= until) {
        throw CameraError(words::kNoAnswer);
    }
}

void RtspLink::Wait(short events, TimePoint until) const {
    const auto left = std::chrono::ceil<milliseconds>(until - Clock::now());
    pollfd waited{m_line->Socket(), events, 0};
    ::poll(&waited, 1, static_cast<int>(std::clamp(left, milliseconds(0), kLook).count()));
}

}  // namespace kvrecorder
