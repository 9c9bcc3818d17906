// The status line of a reply.
#include <cstdlib>
#include <cstring>

#include "server/http_tran.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view line(static_cast<const char*>(static_cast<const void*>(data)), size);
    kvmon::HTTP_RESULT result{};
    if (kvmon::CHttpTran::ParseHttpHeader(line, &result) &&
        std::memchr(result.szReason, '\0', sizeof result.szReason) == nullptr) {
        std::abort();
    }
    return 0;
}
