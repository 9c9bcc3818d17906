// The head of a reply, for both readers of one.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "server/http/http_tran.h"
#include "server/http/resource_url.h"
#include "server/http/socket_fetch.h"

using namespace kvmon;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(data, data + size);
    HTTP_RESULT result;
    const bool parsed = CHttpTran::ParseHttpHeader(text, &result);
    if (!parsed && (result.nStatus != 0 || result.szReason[0] != '\0')) {
        std::abort();  // a line that is no status line must leave the result alone
    }
    if (std::memchr(result.szReason, '\0', sizeof result.szReason) == nullptr) {
        std::abort();
    }
    ParseResourceHead(text);
    SplitUrl url;
    SplitHttpUrl(text, &url);
    return 0;
}
