#include "server/http/platform_request.h"

#include <utility>

namespace kvmon {

PlatformRequest::PlatformRequest(const std::string& url, const std::string& header, const Limits& limits,
                                 const FlagWord* abortFlag)
    : m_curl(LoadCurl()),
      m_easy(m_curl != nullptr ? m_curl->easyInit() : nullptr),
      m_headers(m_curl != nullptr ? m_curl->slistAppend(nullptr, header.c_str()) : nullptr),
      m_abortFlag(abortFlag),
      m_left(limits.bodyBytes) {
    if (!IsMade()) {
        return;
    }
    Set(CURLOPT_URL, url.c_str());
    Set(CURLOPT_HTTPHEADER, m_headers);
    // What recorders speak.
    Set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_0));
    Set(CURLOPT_PROTOCOLS_STR, "http");
    // The other connections of the client go straight to the recorder too.
    Set(CURLOPT_PROXY, "");
    Set(CURLOPT_NOSIGNAL, 1L);
    Set(CURLOPT_CONNECTTIMEOUT_MS, limits.connectMs);
    Set(CURLOPT_TIMEOUT_MS, limits.wholeMs);
    Set(CURLOPT_WRITEFUNCTION, &PlatformRequest::OnBody);
    Set(CURLOPT_WRITEDATA, this);
    Set(CURLOPT_NOPROGRESS, 0L);
    Set(CURLOPT_XFERINFOFUNCTION, &PlatformRequest::OnProgress);
    Set(CURLOPT_XFERINFODATA, this);
}

PlatformRequest::~PlatformRequest() {
    if (m_curl != nullptr) {
        m_curl->easyCleanup(m_easy);
        m_curl->slistFreeAll(m_headers);
    }
}

void PlatformRequest::LogIn(const std::string& user, const std::string& password) {
    Set(CURLOPT_USERNAME, user.c_str());
    Set(CURLOPT_PASSWORD, password.c_str());
    // The one way alone goes out with the first request; with a choice the client would ask first.
    Set(CURLOPT_HTTPAUTH, static_cast<long>(CURLAUTH_BASIC));
}

CURLcode PlatformRequest::Perform(std::function<void(const char* bytes, std::size_t count)> take) {
    m_take = std::move(take);
    return m_curl->easyPerform(m_easy);
}

int PlatformRequest::Status() const {
    long status = 0;
    m_curl->easyGetinfo(m_easy, CURLINFO_RESPONSE_CODE, &status);
    return static_cast<int>(status);
}

std::size_t PlatformRequest::OnBody(char* bytes, std::size_t size, std::size_t count, void* self) {
    auto& request = *static_cast<PlatformRequest*>(self);
    const std::size_t length = size * count;
    if (length > request.m_left) {
        return 0;  // ends the exchange
    }
    request.m_left -= length;
    request.m_take(bytes, length);
    return length;
}

int PlatformRequest::OnProgress(void* self, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
    const FlagWord* const abortFlag = static_cast<PlatformRequest*>(self)->m_abortFlag;
    return abortFlag != nullptr && *abortFlag != 0 ? 1 : 0;
}

}  // namespace kvmon
