#include "server/http/resource_url.h"

#include <curl/curl.h>

#include <memory>

#include "server/documents/wire_number.h"

namespace kvmon {

namespace {

using Url = std::unique_ptr<CURLU, decltype(&curl_url_cleanup)>;

std::string UrlPart(CURLU* url, CURLUPart part, unsigned flags = 0) {
    char* text = nullptr;
    if (curl_url_get(url, part, &text, flags) != CURLUE_OK) {
        return {};
    }
    std::string result(text);
    curl_free(text);
    return result;
}

}  // namespace

bool SplitHttpUrl(const std::string& url, SplitUrl* pSplit) {
    const Url parsed(curl_url(), curl_url_cleanup);
    if (!parsed || curl_url_set(parsed.get(), CURLUPART_URL, url.c_str(), 0) != CURLUE_OK ||
        UrlPart(parsed.get(), CURLUPART_SCHEME) != "http") {
        return false;
    }
    pSplit->server = UrlPart(parsed.get(), CURLUPART_HOST);
    pSplit->port =
        static_cast<std::uint32_t>(WireInt(UrlPart(parsed.get(), CURLUPART_PORT, CURLU_DEFAULT_PORT)));
    pSplit->object = UrlPart(parsed.get(), CURLUPART_PATH);
    if (const std::string query = UrlPart(parsed.get(), CURLUPART_QUERY); !query.empty()) {
        pSplit->object += "?" + query;
    }
    return !pSplit->server.empty();
}

}  // namespace kvmon
