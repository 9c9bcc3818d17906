// The login of RTSP requests, in the forms that cameras want.
#pragma once

#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>

#include "cameras/rtsp_head.h"
#include "media/secret.h"

namespace kvrecorder {

// A new word that nobody guesses.
std::string DrawWord();

// One connection's. One thread.
class RtspLogin {
public:
    RtspLogin(std::string user, Secret password, std::function<std::string()> draw = DrawWord)
        : m_user(std::move(user)), m_password(std::move(password)), m_draw(std::move(draw)) {}

    bool HasUser() const { return !m_user.empty(); }
    enum class Verdict { GoesOn, Again, WantsUser, Refuses, NotKnown };
    // Of a reply. After a 401 the request is to be made again with what the camera asks for now; the best of
    // it that can be had is chosen: a digest by SHA-256, by MD5, the password itself. Refused is an answer to
    // just this. Another nonce, as the old one is too old, is no refusal, but for a few in a row.
    Verdict Judge(const RtspHead& reply);
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
    };

    static Challenge Read(std::string_view text);
    std::string Hash(std::initializer_list<std::string_view> parts) const;
    Secret BasicLine() const;

    const std::string m_user;
    const Secret m_password;
    const std::function<std::string()> m_draw;
    Challenge m_challenge;
    unsigned m_count = 0;  // of requests with this nonce
    int m_inRow = 0;       // challenges, without a reply of another kind between
};

}  // namespace kvrecorder
