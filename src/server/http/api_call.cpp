#include "server/http/api_call.h"

#include <curl/curl.h>

#include <memory>

#include "persist/log_file.h"
#include "platform/text.h"
#include "server/http/platform_fetch.h"

namespace kvmon {

namespace {

constexpr long kConnectLimitMs = 5000;
constexpr long kCallLimitMs = 30000;
constexpr std::size_t kMostBodyBytes = 4 * 1024 * 1024;

struct Exchange {
    std::string* body;
    const FlagWord* abortFlag;
};

std::size_t OnBody(char* bytes, std::size_t size, std::size_t count, void* context) {
    std::string& body = *static_cast<Exchange*>(context)->body;
    if (size * count > kMostBodyBytes - body.size()) {
        return 0;  // ends the exchange
    }
    body.append(bytes, size * count);
    return size * count;
}

int OnProgress(void* context, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
    return *static_cast<Exchange*>(context)->abortFlag != 0 ? 1 : 0;
}

}  // namespace

ApiReply CallRecorderApi(const ApiTarget& target, const std::string& method, const std::string& path,
                         const std::string& body, const FlagWord& abortFlag) {
    InitHttpClient();
    const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> easy(curl_easy_init(), curl_easy_cleanup);
    const std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> headers(
        curl_slist_append(nullptr, "Content-Type: application/json"), curl_slist_free_all);
    if (!easy || !headers) {
        return {};
    }
    CURL* const handle = easy.get();
    ApiReply reply;
    Exchange exchange{&reply.body, &abortFlag};
    const std::string url = FormatText("http://%s:%u%s", target.host.c_str(), target.port, path.c_str());
    const std::string sent = body.empty() ? "{}" : body;
    curl_easy_setopt(handle, CURLOPT_URL, url.c_str());
    if (method != "GET") {
        curl_easy_setopt(handle, CURLOPT_POSTFIELDSIZE, static_cast<long>(sent.size()));
        curl_easy_setopt(handle, CURLOPT_POSTFIELDS, sent.c_str());
    }
    curl_easy_setopt(handle, CURLOPT_CUSTOMREQUEST, method.c_str());
    curl_easy_setopt(handle, CURLOPT_HTTPHEADER, headers.get());
    curl_easy_setopt(handle, CURLOPT_USERNAME, target.user.c_str());
    curl_easy_setopt(handle, CURLOPT_PASSWORD, target.password.c_str());
    curl_easy_setopt(handle, CURLOPT_HTTPAUTH, static_cast<long>(CURLAUTH_BASIC));
    curl_easy_setopt(handle, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_0));
    curl_easy_setopt(handle, CURLOPT_PROTOCOLS_STR, "http");
    curl_easy_setopt(handle, CURLOPT_PROXY, "");
    curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(handle, CURLOPT_CONNECTTIMEOUT_MS, kConnectLimitMs);
    curl_easy_setopt(handle, CURLOPT_TIMEOUT_MS, kCallLimitMs);
    curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, OnBody);
    curl_easy_setopt(handle, CURLOPT_WRITEDATA, &exchange);
    curl_easy_setopt(handle, CURLOPT_NOPROGRESS, 0L);
    curl_easy_setopt(handle, CURLOPT_XFERINFOFUNCTION, OnProgress);
    curl_easy_setopt(handle, CURLOPT_XFERINFODATA, &exchange);
    const CURLcode code = curl_easy_perform(handle);
    if (code != CURLE_OK) {
        Trace("%s %s: %s\n", method.c_str(), path.c_str(), curl_easy_strerror(code));
        return {};
    }
    long status = 0;
    curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status);
    reply.status = static_cast<int>(status);
    return reply;
}

}  // namespace kvmon
