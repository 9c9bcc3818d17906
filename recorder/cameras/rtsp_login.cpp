#include "cameras/rtsp_login.h"

#include <nettle/md5.h>
#include <nettle/sha2.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <random>

#include "cameras/rtsp_words.h"
#include "media/base64.h"

namespace kvrecorder {
namespace {

constexpr std::size_t kMostValue = 512;
constexpr int kRefused = 401;
// A camera may ask twice for a request, first for a login and then for a newer one.
constexpr int kMostInRow = 2;

bool BreaksLine(char c) {
    return static_cast<unsigned char>(c) < ' ' || c == 127;
}

// A name may not end the field that it stands in.
std::string Quoted(std::string_view text) {
    std::string quoted = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            quoted += '\\';
        }
        if (!BreaksLine(c)) {
            quoted += c;
        }
    }
    return quoted + '"';
}

// Takes the next `name=value` or `name="value"`; false at the end.
bool TakePair(std::string_view& rest, std::string_view& name, std::string& value) {
    rest.remove_prefix(std::min(rest.find_first_not_of(" \t,"), rest.size()));
    if (rest.find('=') == std::string_view::npos) {
        return false;
    }
    name = rtsp::Trim(rtsp::Cut(rest, '='));
    rest.remove_prefix(std::min(rest.find_first_not_of(" \t"), rest.size()));
    const bool quoted = rest.starts_with('"');
    rest.remove_prefix(quoted ? 1 : 0);
    const std::string_view told = rtsp::Cut(rest, quoted ? '"' : ',');
    value = (quoted ? told : rtsp::Trim(told)).substr(0, kMostValue);
    // Where no mark closes it, it begins with none either.
    std::erase_if(value, [](char c) { return BreaksLine(c) || c == '"'; });
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

const std::uint8_t* BytesOf(std::string_view text) {
    return reinterpret_cast<const std::uint8_t*>(text.data());
}

}  // namespace

std::string DrawWord() {
    std::random_device source;
    std::string word;
    for (int i = 0; i < 2; ++i) {
        std::array<char, 9> text{};
        std::snprintf(text.data(), text.size(), "%08x", source());
        word += text.data();
    }
    return word;
}

RtspLogin::Challenge RtspLogin::Read(std::string_view text) {
    Challenge challenge;
    const std::string_view scheme = rtsp::Cut(text, ' ');
    if (rtsp::IsName(scheme, "Basic")) {
        challenge.kind = Kind::Basic;
        return challenge;
    }
    if (!rtsp::IsName(scheme, "Digest")) {
        return challenge;
    }
    std::string_view name;
    std::string value;
    std::string protection;
    while (TakePair(text, name, value)) {
        if (rtsp::IsName(name, "realm")) {
            challenge.realm = value;
        } else if (rtsp::IsName(name, "nonce")) {
            challenge.nonce = value;
        } else if (rtsp::IsName(name, "opaque")) {
            challenge.opaque = value;
        } else if (rtsp::IsName(name, "algorithm")) {
            challenge.algorithm = value;
        } else if (rtsp::IsName(name, "qop")) {
            protection = value;
        }
    }
    // "auth,auth-int"
    for (std::string_view rest = protection; !rest.empty();) {
        const std::string_view one = rtsp::Trim(rtsp::Cut(rest, ','));
        challenge.protects = challenge.protects || rtsp::IsName(one, "auth");
    }
    const bool can = !challenge.nonce.empty() && (protection.empty() || challenge.protects);
    if (can && (challenge.algorithm.empty() || rtsp::IsName(challenge.algorithm, "MD5"))) {
        challenge.kind = Kind::Md5;
    } else if (can && rtsp::IsName(challenge.algorithm, "SHA-256")) {
        challenge.kind = Kind::Sha256;
    }
    return challenge;
}

RtspLogin::Verdict RtspLogin::Judge(const RtspHead& reply) {
    if (reply.status != kRefused) {
        m_inRow = 0;
        return Verdict::GoesOn;
    }
    if (m_user.empty()) {
        return Verdict::WantsUser;
    }
    Challenge best;
    for (const auto& [name, value] : reply.fields) {
        if (rtsp::IsName(name, "WWW-Authenticate")) {
            Challenge challenge = Read(value);
            if (challenge.kind > best.kind) {
                best = std::move(challenge);
            }
        }
    }
    if (best.kind == Kind::None) {
        return Verdict::NotKnown;
    }
    const bool again =
        m_challenge.kind != Kind::None && (best.kind == Kind::Basic || best.nonce == m_challenge.nonce);
    if (again || ++m_inRow > kMostInRow) {
        return Verdict::Refuses;
    }
    m_challenge = std::move(best);
    m_count = 0;
    return Verdict::Again;
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

Secret RtspLogin::BasicLine() const {
    std::string login;
    for (const std::string_view part : {std::string_view(m_user), std::string_view(":"), m_password.View()}) {
        AppendSecret(login, part);
    }
    std::string coded = Base64Encode(login);
    Wipe(login);
    std::string line = "Authorization: Basic ";
    AppendSecret(line, coded);
    AppendSecret(line, "\r\n");
    Wipe(coded);
    Secret whole(line);
    Wipe(line);
    return whole;
}

Secret RtspLogin::Line(std::string_view method, std::string_view url) {
    if (m_challenge.kind == Kind::None) {
        return {};
    }
    if (m_challenge.kind == Kind::Basic) {
        return BasicLine();
    }
    // As good as the password.
    std::string who = Hash({m_user, ":", m_challenge.realm, ":", m_password.View()});
    const std::string what = Hash({method, ":", url});
    std::string line = "Authorization: Digest username=" + Quoted(m_user) + ", realm=\"" + m_challenge.realm +
                       "\", nonce=\"" + m_challenge.nonce + "\", uri=\"" + std::string(url) + "\"";
    if (m_challenge.protects) {
        std::array<char, 9> count{};
        std::snprintf(count.data(), count.size(), "%08x", ++m_count);
        const std::string own = m_draw();
        line += ", qop=auth, nc=" + std::string(count.data()) + ", cnonce=\"" + own + "\", response=\"" +
                Hash({who, ":", m_challenge.nonce, ":", count.data(), ":", own, ":auth:", what}) + "\"";
    } else {
        line += ", response=\"" + Hash({who, ":", m_challenge.nonce, ":", what}) + "\"";
    }
    Wipe(who);
    if (!m_challenge.algorithm.empty()) {
        line += ", algorithm=" + std::string(m_challenge.kind == Kind::Sha256 ? "SHA-256" : "MD5");
    }
    if (!m_challenge.opaque.empty()) {
        line += ", opaque=\"" + m_challenge.opaque + "\"";
    }
    return line + "\r\n";
}

}  // namespace kvrecorder
