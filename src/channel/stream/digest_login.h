// A login that does not send its password. Inside this folder and its tests only.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kvmon {

struct DigestRequest {
    std::string_view method;
    std::string_view uri;
    std::string_view user;
    std::string_view password;
    std::string_view clientNonce;  // another one for each request
};

// The value of the Authorization line that answers a WWW-Authenticate line's value, by RFC 7616 with MD5.
// Nothing for another scheme, hash or protection, or a challenge without a nonce.
std::optional<std::string> AnswerDigestChallenge(std::string_view challenge, const DigestRequest& request);

}  // namespace kvmon
