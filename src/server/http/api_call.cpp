#include "server/http/api_call.h"

#include "persist/log_file.h"
#include "platform/text.h"
#include "server/http/platform_request.h"

namespace kvmon {

namespace {

constexpr PlatformRequest::Limits kLimits = {5000, 30000, 4 * 1024 * 1024};

}  // namespace

ApiReply CallRecorderApi(const ApiTarget& target, const std::string& method, const std::string& path,
                         const std::string& body, const FlagWord& abortFlag) {
    const std::string url = FormatText("http://%s:%u%s", target.host.c_str(), target.port, path.c_str());
    PlatformRequest request(url, "Content-Type: application/json", kLimits, &abortFlag);
    if (!request.IsMade()) {
        return {};
    }
    const std::string sent = body.empty() ? "{}" : body;
    if (method != "GET") {
        request.Set(CURLOPT_POSTFIELDSIZE, static_cast<long>(sent.size()));
        request.Set(CURLOPT_POSTFIELDS, sent.c_str());
    }
    request.Set(CURLOPT_CUSTOMREQUEST, method.c_str());
    request.LogIn(target.user, target.password);
    ApiReply reply;
    const CURLcode code =
        request.Perform([&reply](const char* bytes, std::size_t count) { reply.body.append(bytes, count); });
    if (code != CURLE_OK) {
        Trace("%s %s: %s\n", method.c_str(), path.c_str(), curl_easy_strerror(code));
        return {};
    }
    reply.status = request.Status();
    return reply;
}

}  // namespace kvmon
