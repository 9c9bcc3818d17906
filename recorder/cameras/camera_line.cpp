#include "cameras/camera_line.h"

#include <memory>

#include "cameras/camera_error.h"
#include "cameras/camera_url.h"
#include "cameras/connect_fault.h"

namespace kvrecorder {
namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

// How soon a wait ends when it is to.
constexpr milliseconds kLineLook{50};

[[noreturn]] void Fail(CURL* easy, CURLcode error) {
    if (error == CURLE_OUT_OF_MEMORY) {
        throw CameraError(FaultCode::OutOfMemory);
    }
    throw CameraError(ConnectFault(easy, error).value_or(FaultCode::Closed));
}

// The same place as the library of transfers connects to: "https://host:322/" of "rtsps://host/path".
std::string PlaceOf(const std::string& url) {
    const std::unique_ptr<CURLU, void (*)(CURLU*)> read(curl_url(), curl_url_cleanup);
    if (!read ||
        curl_url_set(read.get(), CURLUPART_URL, url.c_str(), CURLU_NON_SUPPORT_SCHEME) != CURLUE_OK) {
        throw CameraError(FaultCode::HostUnknown);
    }
    const bool encrypted = IsEncryptedUrl(url);
    char* port = nullptr;
    if (curl_url_get(read.get(), CURLUPART_PORT, &port, 0) == CURLUE_OK) {
        curl_free(port);
    } else {
        curl_url_set(read.get(), CURLUPART_PORT, encrypted ? "322" : "554", 0);
    }
    curl_url_set(read.get(), CURLUPART_SCHEME, encrypted ? "https" : "http", 0);
    for (const CURLUPart part : {CURLUPART_PATH, CURLUPART_QUERY, CURLUPART_FRAGMENT}) {
        curl_url_set(read.get(), part, nullptr, 0);
    }
    char* place = nullptr;
    if (curl_url_get(read.get(), CURLUPART_URL, &place, 0) != CURLUE_OK) {
        throw CameraError(FaultCode::OutOfMemory);
    }
    const std::unique_ptr<char, void (*)(void*)> kept(place, curl_free);
    return place;
}

}  // namespace

CameraLine::CameraLine(const std::string& url, const std::string& certificate,
                       const std::function<bool()>& ended, TimePoint until)
    : m_isEncrypted(IsEncryptedUrl(url)), m_check(certificate) {
    static const CURLcode done = curl_global_init(CURL_GLOBAL_DEFAULT);
    static_cast<void>(done);
    m_multi.reset(curl_multi_init());
    m_easy.reset(curl_easy_init());
    if (!m_multi || !m_easy) {
        throw CameraError(FaultCode::OutOfMemory);
    }
    const std::string place = PlaceOf(url);
    curl_easy_setopt(m_easy.get(), CURLOPT_URL, place.c_str());
    curl_easy_setopt(m_easy.get(), CURLOPT_CONNECT_ONLY, 1L);
    curl_easy_setopt(m_easy.get(), CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(m_easy.get(), CURLOPT_PROXY, "");
    curl_easy_setopt(m_easy.get(), CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(m_easy.get(), CURLOPT_SSL_ENABLE_ALPN, 0L);
    curl_easy_setopt(m_easy.get(), CURLOPT_TCP_NODELAY, 1L);
    // A host's name that is being looked up is not waited for at the end.
    curl_easy_setopt(m_easy.get(), CURLOPT_QUICK_EXIT, 1L);
    m_check.Watch(m_easy.get(), place);
    if (curl_multi_add_handle(m_multi.get(), m_easy.get()) != CURLM_OK) {
        throw CameraError(FaultCode::OutOfMemory);
    }
    try {
        Connect(ended, until);
    } catch (const CameraError&) {
        curl_multi_remove_handle(m_multi.get(), m_easy.get());
        throw;
    }
}

CameraLine::~CameraLine() {
    curl_multi_remove_handle(m_multi.get(), m_easy.get());
}

void CameraLine::Connect(const std::function<bool()>& ended, TimePoint until) {
    while (true) {
        int running = 0;
        curl_multi_perform(m_multi.get(), &running);
        int left = 0;
        if (const CURLMsg* const message = curl_multi_info_read(m_multi.get(), &left)) {
            if (message->data.result != CURLE_OK) {
                m_check.ThrowIfRefused();
                Fail(m_easy.get(), message->data.result);
            }
            break;
        }
        if (ended()) {
            throw CameraError(FaultCode::Closed);
        }
        if (Clock::now() >= until) {
            throw CameraError(FaultCode::NoAnswer);
        }
        curl_multi_poll(m_multi.get(), nullptr, 0, static_cast<int>(kLineLook.count()), nullptr);
    }
    curl_socket_t socket = CURL_SOCKET_BAD;
    if (curl_easy_getinfo(m_easy.get(), CURLINFO_ACTIVESOCKET, &socket) != CURLE_OK ||
        socket == CURL_SOCKET_BAD) {
        throw CameraError(FaultCode::Closed);
    }
    m_socket = socket;
}

std::size_t CameraLine::Write(std::string_view bytes) {
    std::size_t written = 0;
    const CURLcode error = curl_easy_send(m_easy.get(), bytes.data(), bytes.size(), &written);
    if (error != CURLE_OK && error != CURLE_AGAIN) {
        throw CameraError(FaultCode::Closed);
    }
    return error == CURLE_OK ? written : 0;
}

std::size_t CameraLine::Read(char* buffer, std::size_t size) {
    std::size_t read = 0;
    const CURLcode error = curl_easy_recv(m_easy.get(), buffer, size, &read);
    if (error == CURLE_AGAIN) {
        return 0;
    }
    if (error != CURLE_OK || read == 0) {
        throw CameraError(FaultCode::Closed);
    }
    return read;
}

}  // namespace kvrecorder
