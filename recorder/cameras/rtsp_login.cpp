#include "cameras/rtsp_login.h"

#include <nettle/base64.h>
#include <nettle/md5.h>
#include <nettle/sha2.h>
#include <strings.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <random>

namespace kvrecorder {
namespace {

constexpr std::size_t kMostValue = 512;

bool StartsWith(std::string_view text, std::string_view with) {
    return text.size() >= with.size() && ::strncasecmp(text.data(), with.data(), with.size()) == 0;
}

bool Same(std::string_view a, std::string_view b) {
    return a.size() == b.size() && StartsWith(a, b);
}

bool BreaksLine(char c) {
    return static_cast<unsigned char>(c) < ' ' || c == '"' || c == 127;
}

// Takes the next `name=value` or `name="value"`; false at the end.
bool TakePair(std::string_view& rest, std::string_view& name, std::string& value) {
    rest.remove_prefix(std::min(rest.find_first_not_of(" \t,"), rest.size()));
    const std::size_t equals = rest.find('=');
    if (equals == std::string_view::npos) {
        return false;
    }
    name = rest.substr(0, equals);
    while (name.ends_with(' ')) {
        name.remove_suffix(1);
    }
    rest.remove_prefix(equals + 1);
    rest.remove_prefix(std::min(rest.find_first_not_of(' '), rest.size()));
    const bool quoted = rest.starts_with('"');
    if (quoted) {
        rest.remove_prefix(1);
    }
    const std::size_t end = std::min(rest.find(quoted ? '"' : ','), rest.size());
    value = rest.substr(0, std::min(end, kMostValue));
    std::erase_if(value, BreaksLine);
    rest.remove_prefix(std::min(end + (quoted ? 1 : 0), rest.size()));
    return true;
}

std::string Hex(const std::uint8_t* bytes, std::size_t count) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
        text.push_back(kDigits[bytes[i] >> 4]);
        text.push_back(kDigits[bytes[i] & 15]);
    }
    return text;
}

std::string MakeNonce() {
    std::random_device source;
    char text[9];
    std::snprintf(text, sizeof text, "%08x", source());
    return text;
}

const std::uint8_t* BytesOf(std::string_view text) {
    return reinterpret_cast<const std::uint8_t*>(text.data());
}

}  // namespace

RtspLogin::Challenge RtspLogin::Read(std::string_view text) {
    Challenge challenge;
    if (StartsWith(text, "Basic")) {
        challenge.kind = Kind::Basic;
        return challenge;
    }
    if (!StartsWith(text, "Digest ")) {
        return challenge;
    }
    text.remove_prefix(7);
    std::string_view name;
    std::string value;
    std::string protection;
    while (TakePair(text, name, value)) {
        if (Same(name, "realm")) {
            challenge.realm = value;
        } else if (Same(name, "nonce")) {
            challenge.nonce = value;
        } else if (Same(name, "opaque")) {
            challenge.opaque = value;
        } else if (Same(name, "algorithm")) {
            challenge.algorithm = value;
        } else if (Same(name, "qop")) {
            protection = value;
        } else if (Same(name, "stale")) {
            challenge.stale = Same(value, "true");
        }
    }
    // "auth,auth-int"
    challenge.protects = StartsWith(protection, "auth,") || protection.ends_with("auth");
    const bool can = !challenge.nonce.empty() && (protection.empty() || challenge.protects);
    if (can && (challenge.algorithm.empty() || Same(challenge.algorithm, "MD5"))) {
        challenge.kind = Kind::Md5;
    } else if (can && Same(challenge.algorithm, "SHA-256")) {
        challenge.kind = Kind::Sha256;
    }
    return challenge;
}

bool RtspLogin::Take(const std::vector<std::string>& challenges) {
    Challenge best;
    for (const std::string& text : challenges) {
        Challenge challenge = Read(text);
        if (challenge.kind > best.kind) {
            best = std::move(challenge);
        }
    }
    // Refused already, but for a nonce that has grown old.
    const bool again = m_challenge.kind != Kind::None && !(best.stale && best.nonce != m_challenge.nonce);
    m_challenge = std::move(best);
    m_count = 0;
    return HasUser() && m_challenge.kind != Kind::None && !again;
}

std::string RtspLogin::Hash(std::initializer_list<std::string_view> parts) const {
    std::array<std::uint8_t, SHA256_DIGEST_SIZE> digest{};
    if (m_challenge.kind == Kind::Sha256) {
        sha256_ctx context;
        ::nettle_sha256_init(&context);
        for (const std::string_view part : parts) {
            ::nettle_sha256_update(&context, part.size(), BytesOf(part));
        }
        ::nettle_sha256_digest(&context, SHA256_DIGEST_SIZE, digest.data());
        return Hex(digest.data(), SHA256_DIGEST_SIZE);
    }
    md5_ctx context;
    ::nettle_md5_init(&context);
    for (const std::string_view part : parts) {
        ::nettle_md5_update(&context, part.size(), BytesOf(part));
    }
    ::nettle_md5_digest(&context, MD5_DIGEST_SIZE, digest.data());
    return Hex(digest.data(), MD5_DIGEST_SIZE);
}

Secret RtspLogin::Line(std::string_view method, std::string_view url) {
    if (m_challenge.kind == Kind::None) {
        return {};
    }
    if (m_challenge.kind == Kind::Basic) {
        std::string login;
        for (const std::string_view part :
             {std::string_view(m_user), std::string_view(":"), m_password.View()}) {
            AppendSecret(login, part);
        }
        std::string coded(BASE64_ENCODE_RAW_LENGTH(login.size()), '\0');
        ::nettle_base64_encode_raw(coded.data(), login.size(), BytesOf(login));
        Wipe(login);
        std::string line = "Authorization: Basic ";
        AppendSecret(line, coded);
        AppendSecret(line, "\r\n");
        Wipe(coded);
        const Secret whole(line);
        Wipe(line);
        return whole;
    }
    std::string user = m_user;
    std::erase_if(user, BreaksLine);
    const std::string who = Hash({m_user, ":", m_challenge.realm, ":", m_password.View()});
    const std::string what = Hash({method, ":", url});
    std::string line = "Authorization: Digest username=\"" + user + "\", realm=\"" + m_challenge.realm +
                       "\", nonce=\"" + m_challenge.nonce + "\", uri=\"" + std::string(url) + "\"";
    if (m_challenge.protects) {
        char count[9];
        std::snprintf(count, sizeof count, "%08x", ++m_count);
        const std::string own = MakeNonce();
        line += ", qop=auth, nc=" + std::string(count) + ", cnonce=\"" + own + "\", response=\"" +
                Hash({who, ":", m_challenge.nonce, ":", count, ":", own, ":auth:", what}) + "\"";
    } else {
        line += ", response=\"" + Hash({who, ":", m_challenge.nonce, ":", what}) + "\"";
    }
    if (!m_challenge.algorithm.empty()) {
        line += ", algorithm=" + std::string(m_challenge.kind == Kind::Sha256 ? "SHA-256" : "MD5");
    }
    if (!m_challenge.opaque.empty()) {
        line += ", opaque=\"" + m_challenge.opaque + "\"";
    }
    return line + "\r\n";
}

}  // namespace kvrecorder
