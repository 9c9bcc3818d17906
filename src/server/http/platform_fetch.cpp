#include "server/http/platform_fetch.h"

#include "persist/log_file.h"
#include "server/http/curl_library.h"
#include "server/http/resource_url.h"

namespace kvmon {

namespace {

constexpr long kPlatformConnectMs = 15000;
constexpr long kPlatformWholeMs = 120000;
constexpr long kStallSeconds = 30;
constexpr long kMaxRedirects = 5;

// One exchange of the client's.
class PlatformRequest {
public:
    PlatformRequest(const CurlLibrary& curl, const std::string& header, std::vector<std::uint8_t>& data,
                    const FlagWord* abortFlag)
        : m_curl(curl),
          m_easy(curl.easyInit()),
          m_headers(curl.slistAppend(nullptr, header.c_str())),
          m_data(data),
          m_abortFlag(abortFlag) {}
    ~PlatformRequest() {
        m_curl.easyCleanup(m_easy);
        m_curl.slistFreeAll(m_headers);
    }
    PlatformRequest(const PlatformRequest&) = delete;
    PlatformRequest& operator=(const PlatformRequest&) = delete;

    CURLcode Perform(const std::string& url, const std::string& user, const std::string& password) {
        if (m_easy == nullptr || m_headers == nullptr) {
            return CURLE_OUT_OF_MEMORY;
        }
        Set(CURLOPT_URL, url.c_str());
        Set(CURLOPT_HTTPHEADER, m_headers);
        Set(CURLOPT_USERAGENT, "KV Get Resource From URL/1.0");
        // What recorders speak.
        Set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_0));
        Set(CURLOPT_PROTOCOLS_STR, "http");
        Set(CURLOPT_REDIR_PROTOCOLS_STR, "http");
        Set(CURLOPT_FOLLOWLOCATION, 1L);
        Set(CURLOPT_MAXREDIRS, kMaxRedirects);
        // The other connections of the client go straight to the recorder too.
        Set(CURLOPT_PROXY, "");
        Set(CURLOPT_NOSIGNAL, 1L);
        Set(CURLOPT_CONNECTTIMEOUT_MS, kPlatformConnectMs);
        Set(CURLOPT_TIMEOUT_MS, kPlatformWholeMs);
        Set(CURLOPT_LOW_SPEED_LIMIT, 1L);
        Set(CURLOPT_LOW_SPEED_TIME, kStallSeconds);
        Set(CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(kMaxResourceBytes));
        Set(CURLOPT_WRITEFUNCTION, &PlatformRequest::OnBody);
        Set(CURLOPT_WRITEDATA, this);
        Set(CURLOPT_NOPROGRESS, 0L);
        Set(CURLOPT_XFERINFOFUNCTION, &PlatformRequest::OnProgress);
        Set(CURLOPT_XFERINFODATA, this);
        if (!user.empty()) {
            Set(CURLOPT_USERNAME, user.c_str());
            Set(CURLOPT_PASSWORD, password.c_str());
            // The one way alone goes out with the first request; with a choice the client would ask first.
            Set(CURLOPT_HTTPAUTH, static_cast<long>(CURLAUTH_BASIC));
        }
        return m_curl.easyPerform(m_easy);
    }
    // 0 if the server was not reached.
    int Status() const {
        long status = 0;
        if (m_easy != nullptr) {
            m_curl.easyGetinfo(m_easy, CURLINFO_RESPONSE_CODE, &status);
        }
        return static_cast<int>(status);
    }

private:
    template <typename Value>
    void Set(CURLoption option, Value value) {
        m_curl.easySetopt(m_easy, option, value);
    }
    static std::size_t OnBody(char* bytes, std::size_t size, std::size_t count, void* self) {
        std::vector<std::uint8_t>& data = static_cast<PlatformRequest*>(self)->m_data;
        const std::size_t length = size * count;
        if (data.size() + length > kMaxResourceBytes) {
            return 0;  // ends the exchange
        }
        data.insert(data.end(), bytes, bytes + length);
        return length;
    }
    static int OnProgress(void* self, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
        const FlagWord* const abortFlag = static_cast<PlatformRequest*>(self)->m_abortFlag;
        return abortFlag != nullptr && *abortFlag != 0 ? 1 : 0;
    }

    const CurlLibrary& m_curl;
    CURL* const m_easy;
    curl_slist* const m_headers;
    std::vector<std::uint8_t>& m_data;
    const FlagWord* const m_abortFlag;
};

}  // namespace

bool FetchByPlatform(std::vector<std::uint8_t>& data, const std::string& url, const std::string& contentType,
                     const std::string& user, const std::string& password, const FlagWord* abortFlag) {
    const CurlLibrary* const curl = LoadCurl();
    if (curl == nullptr) {
        return false;
    }
    PlatformRequest request(*curl, "Content-type: " + contentType, data, abortFlag);
    const CURLcode code = request.Perform(url, user, password);
    const int status = request.Status();
    if (code != CURLE_OK) {
        // Without a status the server was not reached; else the resource did not come whole.
        Trace(status == 0 ? "HTTP access error: %s\n" : "HTTP File Error: %s\n", curl->easyStrerror(code));
        return false;
    }
    return status == 200;
}

}  // namespace kvmon
