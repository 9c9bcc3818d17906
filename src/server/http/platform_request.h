// One request of the platform's HTTP client to a recorder, with what holds for all of them. Inside this
// folder only.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

#include "platform/worker.h"
#include "server/http/curl_library.h"

namespace kvmon {

class PlatformRequest {
public:
    struct Limits {
        long connectMs;
        long wholeMs;
        std::size_t bodyBytes;
    };

    // `header` is one more line; `abortFlag` may be null, and ends the exchange.
    PlatformRequest(const std::string& url, const std::string& header, const Limits& limits,
                    const FlagWord* abortFlag);
    ~PlatformRequest();
    PlatformRequest(const PlatformRequest&) = delete;
    PlatformRequest& operator=(const PlatformRequest&) = delete;

    // False without memory, or without the client.
    bool IsMade() const { return m_easy != nullptr && m_headers != nullptr; }
    // Goes out with the first request.
    void LogIn(const std::string& user, const std::string& password);
    // For what is asked for beside the usual.
    template <typename Value>
    void Set(CURLoption option, Value value) {
        m_curl->easySetopt(m_easy, option, value);
    }
    // Gives the body in pieces.
    CURLcode Perform(std::function<void(const char* bytes, std::size_t count)> take);
    const char* Why(CURLcode code) const { return m_curl->easyStrerror(code); }
    // 0 if the recorder was not reached.
    int Status() const;

private:
    static std::size_t OnBody(char* bytes, std::size_t size, std::size_t count, void* self);
    static int OnProgress(void* self, curl_off_t, curl_off_t, curl_off_t, curl_off_t);

    const CurlLibrary* const m_curl;
    CURL* const m_easy;
    curl_slist* const m_headers;
    const FlagWord* const m_abortFlag;
    std::size_t m_left;  // of the body
    std::function<void(const char*, std::size_t)> m_take;
};

}  // namespace kvmon
