// One request of the platform's HTTP client to a recorder, with what holds for all of them. Inside this
// folder only.
#pragma once

#include <curl/curl.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "platform/worker.h"

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

    // False without memory.
    bool IsMade() const { return m_easy && m_headers; }
    // Goes out with the first request.
    void LogIn(const std::string& user, const std::string& password);
    // For what is asked for beside the usual.
    template <typename Value>
    void Set(CURLoption option, Value value) {
        curl_easy_setopt(m_easy.get(), option, value);
    }
    // Gives the body in pieces.
    CURLcode Perform(std::function<void(const char* bytes, std::size_t count)> take);
    // 0 if the recorder was not reached.
    int Status() const;

private:
    static std::size_t OnBody(char* bytes, std::size_t size, std::size_t count, void* self);
    static int OnProgress(void* self, curl_off_t, curl_off_t, curl_off_t, curl_off_t);

    const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> m_easy;
    const std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> m_headers;
    const FlagWord* const m_abortFlag;
    std::size_t m_left;  // of the body
    std::function<void(const char*, std::size_t)> m_take;
};

}  // namespace kvmon
