// A share's name as a page gives it: what is accepted is an address of that share and of nothing else.
#include <cstdlib>
#include <string>

#include "shares/share_name.h"
#include "shares/share_request.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto name = kvmon::ParseShareName(text);
    if (!name) {
        return 0;
    }
    const std::string url = kvmon::ShareUrl(*name);
    constexpr std::string_view kPlain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789/-_.%";
    constexpr std::string_view kScheme = "smb://";
    const bool bEscaped =
        url.starts_with(kScheme) && url.find_first_not_of(kPlain, kScheme.size()) == std::string::npos;
    const auto request = kvmon::MakeShareRequest(url, text.substr(0, 40), "secret");
    const auto read = request ? kvmon::ReadShareRequest(kvmon::WriteShareRequest(*request)) : std::nullopt;
    if (!bEscaped || (request && (!read || read->url != url || read->password != "secret"))) {
        std::abort();
    }
    return 0;
}
