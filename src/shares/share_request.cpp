#include "shares/share_request.h"

namespace kvmon {

namespace {

constexpr std::size_t kMaxField = 255;  // the library's buffers hold one more
constexpr char kEnd = '\0';

bool IsField(std::string_view text) {
    return text.size() <= kMaxField && text.find(kEnd) == std::string_view::npos;
}

}  // namespace

std::optional<ShareRequest> MakeShareRequest(std::string url, std::string_view user,
                                             std::string_view password) {
    if (!IsField(user) || !IsField(password)) {
        return std::nullopt;
    }
    ShareRequest request{std::move(url), std::string(user), {}, std::string(password)};
    if (const std::size_t stroke = user.find('\\'); stroke != std::string_view::npos) {
        request.domain = user.substr(0, stroke);
        request.user = user.substr(stroke + 1);
    }
    return request;
}

std::string WriteShareRequest(const ShareRequest& request) {
    return request.url + kEnd + request.user + kEnd + request.domain + kEnd + request.password + kEnd;
}

std::optional<ShareRequest> ReadShareRequest(std::string_view bytes) {
    ShareRequest request;
    for (std::string* const field : {&request.url, &request.user, &request.domain, &request.password}) {
        const std::size_t end = bytes.find(kEnd);
        if (end == std::string_view::npos) {
            return std::nullopt;
        }
        *field = bytes.substr(0, end);
        bytes.remove_prefix(end + 1);
    }
    return request;
}

}  // namespace kvmon
