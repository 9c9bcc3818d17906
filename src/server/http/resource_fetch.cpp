#include "server/http/resource_fetch.h"

#include "server/http/platform_fetch.h"
#include "server/http/resource_url.h"
#include "server/http/socket_fetch.h"

namespace kvmon {

bool GetResourceFromURL(std::vector<std::uint8_t>* pData, const std::string& url,
                        const std::string& contentType, const std::string& user, const std::string& password,
                        FetchTransport transport, const FlagWord* pAbortFlag) {
    const std::string type = contentType.empty() ? "text/*" : contentType;
    SplitUrl split;
    std::vector<std::uint8_t> data;
    if ((pAbortFlag != nullptr && *pAbortFlag != 0) || !SplitHttpUrl(url, &split)) {
        return false;
    }
    SystemSocket socket;
    const bool fetched = transport == FetchTransport::Socket
                             ? FetchBySocket(socket, data, split, type, user, password, pAbortFlag)
                             : FetchByPlatform(data, url, type, user, password, pAbortFlag);
    if (fetched) {
        *pData = std::move(data);
    }
    return fetched;
}

}  // namespace kvmon
