#include "channel/stream/digest_login.h"

#include <algorithm>
#include <map>

#include "persist/utilities.h"

namespace kvmon {

namespace {

constexpr std::string_view kScheme = "digest";
constexpr std::string_view kCount = "00000001";  // each challenge is answered once

std::string LowerCase(std::string_view text) {
    std::string lowered(text);
    std::transform(lowered.begin(), lowered.end(), lowered.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return lowered;
}

std::string_view Trimmed(std::string_view text) {
    const std::size_t begin = text.find_first_not_of(" \t\r\n");
    return begin == std::string_view::npos ? std::string_view()
                                           : text.substr(begin, text.find_last_not_of(" \t\r\n") - begin + 1);
}

// name=value and name="value", between commas; names in small letters, quoted pairs resolved.
std::map<std::string, std::string> ReadParameters(std::string_view text) {
    std::map<std::string, std::string> parameters;
    while (!text.empty()) {
        const std::size_t equals = text.find('=');
        if (equals == std::string_view::npos) {
            break;
        }
        const std::string name = LowerCase(Trimmed(text.substr(0, equals)));
        text = Trimmed(text.substr(equals + 1));
        std::string value;
        if (text.starts_with('"')) {
            std::size_t i = 1;
            for (; i < text.size() && text[i] != '"'; ++i) {
                i += text[i] == '\\' && i + 1 < text.size() ? 1 : 0;
                value += text[i];
            }
            text = text.substr(std::min(i + 1, text.size()));
        } else {
            value = Trimmed(text.substr(0, text.find(',')));
        }
        parameters.try_emplace(name, value);
        const std::size_t comma = text.find(',');
        text = comma == std::string_view::npos ? std::string_view() : Trimmed(text.substr(comma + 1));
    }
    return parameters;
}

std::string Quoted(std::string_view text) {
    std::string quoted = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            quoted += '\\';
        }
        if (static_cast<unsigned char>(c) >= ' ') {
            quoted += c;
        }
    }
    return quoted + '"';
}

std::string Hash(std::initializer_list<std::string_view> parts) {
    std::string text;
    for (const std::string_view part : parts) {
        text.append(part).append(":");
    }
    text.pop_back();
    return LowerCase(MD5String(text));
}

// True if "auth" is among the words that the server takes.
bool OffersAuth(std::string_view offer) {
    while (!offer.empty()) {
        const std::size_t comma = offer.find(',');
        if (LowerCase(Trimmed(offer.substr(0, comma))) == "auth") {
            return true;
        }
        offer = comma == std::string_view::npos ? std::string_view() : offer.substr(comma + 1);
    }
    return false;
}

}  // namespace

std::optional<std::string> AnswerDigestChallenge(std::string_view challenge, const DigestRequest& request) {
    challenge = Trimmed(challenge);
    if (LowerCase(challenge.substr(0, kScheme.size())) != kScheme ||
        challenge.find_first_of(" \t", kScheme.size()) != kScheme.size()) {
        return std::nullopt;
    }
    auto told = ReadParameters(challenge.substr(kScheme.size()));
    const std::string algorithm = LowerCase(told["algorithm"]);
    const std::string& nonce = told["nonce"];
    const std::string& realm = told["realm"];
    const bool bProtected = !told["qop"].empty();
    const bool bSession = algorithm == "md5-sess";
    if (nonce.empty() || (!algorithm.empty() && algorithm != "md5" && !bSession) ||
        (bProtected && !OffersAuth(told["qop"]))) {
        return std::nullopt;
    }
    std::string secret = Hash({request.user, realm, request.password});
    if (bSession) {
        secret = Hash({secret, nonce, request.clientNonce});
    }
    const std::string what = Hash({request.method, request.uri});
    const std::string response = bProtected ? Hash({secret, nonce, kCount, request.clientNonce, "auth", what})
                                            : Hash({secret, nonce, what});
    std::string answer = "Digest username=" + Quoted(request.user) + ", realm=" + Quoted(realm) +
                         ", nonce=" + Quoted(nonce) + ", uri=" + Quoted(request.uri) + ", response=\"" +
                         response + '"';
    if (!algorithm.empty()) {
        answer += bSession ? ", algorithm=MD5-sess" : ", algorithm=MD5";
    }
    if (const auto opaque = told.find("opaque"); opaque != told.end()) {
        answer += ", opaque=" + Quoted(opaque->second);
    }
    if (bProtected || bSession) {
        answer += ", cnonce=" + Quoted(request.clientNonce);
    }
    if (bProtected) {
        answer += ", qop=auth, nc=" + std::string(kCount);
    }
    return answer;
}

}  // namespace kvmon
