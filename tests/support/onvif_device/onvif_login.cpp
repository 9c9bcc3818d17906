#include "support/onvif_device/onvif_login.h"

#include <nettle/base64.h>
#include <nettle/md5.h>
#include <nettle/sha1.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <regex>

namespace kvtest {
namespace {

const char* const kNonce = "5f0c6a";

const std::uint8_t* Bytes(const std::string& text) {
    return reinterpret_cast<const std::uint8_t*>(text.data());
}

std::string Decode(const std::string& text) {
    base64_decode_ctx context;
    ::nettle_base64_decode_init(&context);
    std::string out(BASE64_DECODE_LENGTH(text.size()), '\0');
    std::size_t count = out.size();
    if (::nettle_base64_decode_update(&context, &count, reinterpret_cast<std::uint8_t*>(out.data()),
                                      text.size(), text.data()) == 0) {
        return "";
    }
    out.resize(count);
    return out;
}

std::string Md5(const std::string& text) {
    md5_ctx context;
    ::nettle_md5_init(&context);
    ::nettle_md5_update(&context, text.size(), Bytes(text));
    std::array<std::uint8_t, MD5_DIGEST_SIZE> digest{};
    ::nettle_md5_digest(&context, digest.size(), digest.data());
    std::string hex;
    for (const std::uint8_t byte : digest) {
        hex += "0123456789abcdef"[byte >> 4];
        hex += "0123456789abcdef"[byte & 15];
    }
    return hex;
}

std::string Parameter(const std::string& head, const std::string& name) {
    std::smatch match;
    return std::regex_search(head, match, std::regex("[ ,]" + name + "=\"?([^\",\r\n]*)")) ? match[1].str()
                                                                                           : "";
}

}  // namespace

std::string ElementText(const std::string& xml, const std::string& name) {
    std::smatch match;
    const std::regex pattern("<(?:[\\w.-]+:)?" + name + "(?:\\s[^>]*)?>([^<]*)<");
    return std::regex_search(xml, match, pattern) ? match[1].str() : "";
}

std::string AttributeText(const std::string& xml, const std::string& element, const std::string& name) {
    std::smatch match;
    const std::regex pattern("<(?:[\\w.-]+:)?" + element + "\\s[^>]*?" + name + "=\"([^\"]*)\"");
    return std::regex_search(xml, match, pattern) ? match[1].str() : "";
}

bool IsGoodToken(const std::string& envelope, const std::string& user, const std::string& password,
                 std::time_t now) {
    const std::string created = ElementText(envelope, "Created");
    const std::string all = Decode(ElementText(envelope, "Nonce")) + created + password;
    sha1_ctx context;
    ::nettle_sha1_init(&context);
    ::nettle_sha1_update(&context, all.size(), Bytes(all));
    std::string digest(SHA1_DIGEST_SIZE, '\0');
    ::nettle_sha1_digest(&context, digest.size(), reinterpret_cast<std::uint8_t*>(digest.data()));
    std::tm parts{};
    if (!::strptime(created.c_str(), "%Y-%m-%dT%H:%M:%SZ", &parts) || std::abs(::timegm(&parts) - now) > 60) {
        return false;
    }
    return ElementText(envelope, "Username") == user && Decode(ElementText(envelope, "Password")) == digest;
}

std::string DigestChallenge() {
    return std::string("WWW-Authenticate: Digest realm=\"camera\", qop=\"auth\", nonce=\"") + kNonce +
           "\", algorithm=MD5\r\n";
}

bool IsGoodDigest(const std::string& head, const std::string& user, const std::string& password) {
    if (head.find("Authorization: Digest") == std::string::npos || Parameter(head, "username") != user ||
        Parameter(head, "nonce") != kNonce) {
        return false;
    }
    const std::string uri = Parameter(head, "uri");
    return Parameter(head, "response") ==
           Md5(Md5(user + ":camera:" + password) + ":" + kNonce + ":" + Parameter(head, "nc") + ":" +
               Parameter(head, "cnonce") + ":auth:" + Md5("POST:" + uri));
}

}  // namespace kvtest
