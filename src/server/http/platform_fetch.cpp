#include "server/http/platform_fetch.h"

#include <curl/curl.h>

#include <memory>
#include <mutex>

#include "persist/log_file.h"
#include "server/http/resource_url.h"

namespace kvmon {

namespace {

constexpr long kConnectLimitMs = 15000;
constexpr long kFetchLimitMs = 120000;
constexpr long kStallSeconds = 30;
constexpr long kMaxRedirects = 5;

struct Exchange {
    std::vector<std::uint8_t>* data;
    const FlagWord* abortFlag;
};

std::size_t OnBody(char* bytes, std::size_t size, std::size_t count, void* context) {
    auto& data = *static_cast<Exchange*>(context)->data;
    const std::size_t length = size * count;
    if (length > kMaxResourceBytes - data.size()) {
        return 0;  // ends the exchange
    }
    data.insert(data.end(), bytes, bytes + length);
    return length;
}

int OnProgress(void* context, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
    const FlagWord* const abortFlag = static_cast<Exchange*>(context)->abortFlag;
    return abortFlag != nullptr && *abortFlag != 0 ? 1 : 0;
}

using Easy = std::unique_ptr<CURL, decltype(&curl_easy_cleanup)>;
using List = std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)>;

}  // namespace

void InitHttpClient() {
    static std::once_flag once;
    std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

bool FetchByPlatform(std::vector<std::uint8_t>& data, const std::string& url, const std::string& contentType,
                     const std::string& user, const std::string& password, const FlagWord* abortFlag) {
    InitHttpClient();
    const Easy easy(curl_easy_init(), curl_easy_cleanup);
    const List headers(curl_slist_append(nullptr, ("Content-type: " + contentType).c_str()),
                       curl_slist_free_all);
    if (!easy || !headers) {
        return false;
    }
    CURL* const handle = easy.get();
    Exchange exchange{&data, abortFlag};
    curl_easy_setopt(handle, CURLOPT_URL, url.c_str());
    curl_easy_setopt(handle, CURLOPT_USERAGENT, "KV Get Resource From URL/1.0");
    curl_easy_setopt(handle, CURLOPT_HTTPHEADER, headers.get());
    if (!user.empty()) {
        curl_easy_setopt(handle, CURLOPT_USERNAME, user.c_str());
        curl_easy_setopt(handle, CURLOPT_PASSWORD, password.c_str());
        // The one way alone goes out with the first request; with a choice the client would ask first.
        curl_easy_setopt(handle, CURLOPT_HTTPAUTH, static_cast<long>(CURLAUTH_BASIC));
    }
    // What recorders speak.
    curl_easy_setopt(handle, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_0));
    curl_easy_setopt(handle, CURLOPT_PROTOCOLS_STR, "http");
    curl_easy_setopt(handle, CURLOPT_REDIR_PROTOCOLS_STR, "http");
    curl_easy_setopt(handle, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(handle, CURLOPT_MAXREDIRS, kMaxRedirects);
    // The other connections of the client go straight to the recorder too.
    curl_easy_setopt(handle, CURLOPT_PROXY, "");
    curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(handle, CURLOPT_CONNECTTIMEOUT_MS, kConnectLimitMs);
    curl_easy_setopt(handle, CURLOPT_TIMEOUT_MS, kFetchLimitMs);
    curl_easy_setopt(handle, CURLOPT_LOW_SPEED_LIMIT, 1L);
    curl_easy_setopt(handle, CURLOPT_LOW_SPEED_TIME, kStallSeconds);
    curl_easy_setopt(handle, CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(kMaxResourceBytes));
    curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, OnBody);
    curl_easy_setopt(handle, CURLOPT_WRITEDATA, &exchange);
    curl_easy_setopt(handle, CURLOPT_NOPROGRESS, 0L);
    curl_easy_setopt(handle, CURLOPT_XFERINFOFUNCTION, OnProgress);
    curl_easy_setopt(handle, CURLOPT_XFERINFODATA, &exchange);

    const CURLcode code = curl_easy_perform(handle);
    long status = 0;
    curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status);
    if (code == CURLE_OK) {
        return status == 200;
    }
    // Without a status the server was not reached; else the resource did not come whole.
    const char* const reason = curl_easy_strerror(code);
    if (status == 0) {
        Trace("HTTP access error: %s\n", reason);
    } else {
        Trace("HTTP File Error: %s\n", reason);
    }
    return false;
}

}  // namespace kvmon
