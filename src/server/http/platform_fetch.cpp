#include "server/http/platform_fetch.h"

#include "persist/log_file.h"
#include "server/http/platform_request.h"
#include "server/http/resource_url.h"

namespace kvmon {

namespace {

constexpr PlatformRequest::Limits kResourceLimits = {15000, 120000, kMaxResourceBytes};
constexpr long kStallSeconds = 30;
constexpr long kMaxRedirects = 5;

}  // namespace

bool FetchByPlatform(std::vector<std::uint8_t>& data, const std::string& url, const std::string& contentType,
                     const std::string& user, const std::string& password, const FlagWord* abortFlag) {
    PlatformRequest request(url, "Content-type: " + contentType, kResourceLimits, abortFlag);
    if (!request.IsMade()) {
        return false;
    }
    request.Set(CURLOPT_USERAGENT, "KV Get Resource From URL/1.0");
    if (!user.empty()) {
        request.LogIn(user, password);
    }
    request.Set(CURLOPT_REDIR_PROTOCOLS_STR, "http");
    request.Set(CURLOPT_FOLLOWLOCATION, 1L);
    request.Set(CURLOPT_MAXREDIRS, kMaxRedirects);
    request.Set(CURLOPT_LOW_SPEED_LIMIT, 1L);
    request.Set(CURLOPT_LOW_SPEED_TIME, kStallSeconds);
    request.Set(CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(kMaxResourceBytes));
    const CURLcode code = request.Perform(
        [&data](const char* bytes, std::size_t count) { data.insert(data.end(), bytes, bytes + count); });
    if (code == CURLE_OK) {
        return request.Status() == 200;
    }
    // Without a status the server was not reached; else the resource did not come whole.
    const char* const reason = request.Why(code);
    if (request.Status() == 0) {
        Trace("HTTP access error: %s\n", reason);
    } else {
        Trace("HTTP File Error: %s\n", reason);
    }
    return false;
}

}  // namespace kvmon
