// The login of RTSP requests, in the forms that cameras want.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "media/secret.h"

namespace kvrecorder {

// One connection's. One thread.
class RtspLogin {
public:
    RtspLogin(std::string user, Secret password) : m_user(std::move(user)), m_password(std::move(password)) {}

    bool HasUser() const { return !m_user.empty(); }
    // Takes what the camera asks for; the best of it that can be had is chosen: a digest by SHA-256, by MD5,
    // the password itself. False if there is none of these, or the answer to just this was refused.
    bool Take(const std::vector<std::string>& challenges);
    // The header for a request, with the end of its line; empty as long as none is asked for.
    Secret Line(std::string_view method, std::string_view url);

private:
    enum class Kind { None, Basic, Md5, Sha256 };
    struct Challenge {
        Kind kind = Kind::None;
        std::string realm;
        std::string nonce;
        std::string opaque;
        std::string algorithm;  // as it is told; empty: not told
        bool protects = false;  // "auth"
        bool stale = false;
    };

    static Challenge Read(std::string_view text);
    std::string Hash(std::initializer_list<std::string_view> parts) const;

    const std::string m_user;
    const Secret m_password;
    Challenge m_challenge;
    unsigned m_count = 0;  // of requests with this nonce
};

}  // namespace kvrecorder
