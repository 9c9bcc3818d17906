#include "server/http/resource_url.h"

#include <memory>

#include "server/documents/wire_number.h"
#include "server/http/curl_library.h"

namespace kvmon {

namespace {

using Url = std::unique_ptr<CURLU, decltype(&curl_url_cleanup)>;

std::string UrlPart(const CurlLibrary& curl, const Url& url, CURLUPart part, unsigned flags = 0) {
    char* text = nullptr;
    if (curl.urlGet(url.get(), part, &text, flags) != CURLUE_OK) {
        return {};
    }
    std::string result(text);
    curl.free(text);
    return result;
}

}  // namespace

bool SplitHttpUrl(const std::string& url, SplitUrl* pSplit) {
    const CurlLibrary* const curl = LoadCurl();
    if (curl == nullptr) {
        return false;
    }
    const Url parsed(curl->url(), curl->urlCleanup);
    const auto part = [&](CURLUPart which, unsigned flags = 0) {
        return UrlPart(*curl, parsed, which, flags);
    };
    if (!parsed || curl->urlSet(parsed.get(), CURLUPART_URL, url.c_str(), 0) != CURLUE_OK ||
        part(CURLUPART_SCHEME) != "http") {
        return false;
    }
    pSplit->server = part(CURLUPART_HOST);
    pSplit->port = static_cast<std::uint32_t>(WireInt(part(CURLUPART_PORT, CURLU_DEFAULT_PORT)));
    pSplit->object = part(CURLUPART_PATH);
    if (const std::string query = part(CURLUPART_QUERY); !query.empty()) {
        pSplit->object += "?" + query;
    }
    return !pSplit->server.empty();
}

}  // namespace kvmon
