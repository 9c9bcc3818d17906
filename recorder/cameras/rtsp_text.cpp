#include "cameras/rtsp_text.h"

extern "C" {
#include <libavutil/base64.h>
#include <libavutil/hash.h>
#include <libavutil/mem.h>
}

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <memory>

#include "media/secret.h"

namespace kvrecorder {
namespace {

constexpr std::size_t kMostMedia = 16;
constexpr std::size_t kLongestName = 2048;

char Lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool IsName(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return Lower(x) == Lower(y); });
}

std::string_view Trim(std::string_view text) {
    const std::size_t begin = text.find_first_not_of(" \t\r");
    return begin == std::string_view::npos ? std::string_view()
                                           : text.substr(begin, text.find_last_not_of(" \t\r") - begin + 1);
}

// What stands before the mark; the text begins behind it afterwards.
std::string_view Cut(std::string_view& text, char mark) {
    const std::size_t at = text.find(mark);
    const std::string_view part = text.substr(0, at);
    text.remove_prefix(at == std::string_view::npos ? text.size() : at + 1);
    return part;
}

int ReadNumber(std::string_view text) {
    int number = -1;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() ? number : -1;
}

// `name="a value", other=value`
std::string ReadField(std::string_view fields, std::string_view name) {
    while (!(fields = Trim(fields)).empty()) {
        const std::string_view key = Trim(Cut(fields, '='));
        fields = Trim(fields);
        std::string_view value;
        if (fields.starts_with('"')) {
            fields.remove_prefix(1);
            value = Cut(fields, '"');
            Cut(fields, ',');
        } else {
            value = Trim(Cut(fields, ','));
        }
        if (IsName(key, name)) {
            return std::string(value);
        }
    }
    return {};
}

struct FreeHash {
    void operator()(AVHashContext* hash) const { av_hash_freep(&hash); }
};

std::string HexHash(RtspChallenge::Kind kind, std::string_view text) {
    AVHashContext* made = nullptr;
    if (av_hash_alloc(&made, kind == RtspChallenge::Kind::Sha256 ? "SHA256" : "MD5") < 0) {
        throw std::bad_alloc();
    }
    const std::unique_ptr<AVHashContext, FreeHash> hash(made);
    av_hash_init(made);
    av_hash_update(made, reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
    std::array<std::uint8_t, 2 * AV_HASH_MAX_SIZE + 1> hex{};
    av_hash_final_hex(made, hex.data(), static_cast<int>(hex.size()));
    return reinterpret_cast<const char*>(hex.data());
}

// A value may not end the field that it stands in.
std::string Quoted(std::string_view text) {
    std::string quoted = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            quoted += '\\';
        }
        quoted += c;
    }
    return quoted + '"';
}

std::string AnswerBasic(std::string_view user, std::string_view password) {
    std::string login;
    AppendSecret(login, user);
    AppendSecret(login, ":");
    AppendSecret(login, password);
    std::string coded(AV_BASE64_SIZE(login.size()), '\0');
    av_base64_encode(coded.data(), static_cast<int>(coded.size()),
                     reinterpret_cast<const std::uint8_t*>(login.data()), static_cast<int>(login.size()));
    Wipe(login);
    std::string answer = "Basic ";
    AppendSecret(answer, coded.c_str());
    Wipe(coded);
    return answer;
}

// What a payload of such a number is where nothing tells it.
void SetStatic(RtspMedia& media) {
    if (media.payload == 0 || media.payload == 8) {
        media.coding = media.payload == 0 ? "PCMU" : "PCMA";
        media.clock = 8000;
    } else if (media.payload == 26) {
        media.coding = "JPEG";
        media.clock = 90'000;
    }
}

void ReadAttribute(std::string_view text, RtspMedia& media) {
    const std::string_view name = Cut(text, ':');
    if (name == "control") {
        media.control = Trim(text).substr(0, kLongestName);
    } else if (name == "sendonly") {
        // Seen from the viewer, who would be the one that sends.
        media.fromCamera = false;
    } else if (name == "rtpmap" && ReadNumber(text) == media.payload) {
        Cut(text, ' ');
        std::string_view coding = Trim(text);
        media.coding = Cut(coding, '/');
        std::transform(media.coding.begin(), media.coding.end(), media.coding.begin(),
                       [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
        media.clock = ReadNumber(Cut(coding, '/'));
        media.channels = coding.empty() ? 1 : ReadNumber(coding);
    } else if (name == "fmtp" && ReadNumber(text) == media.payload) {
        Cut(text, ' ');
        while (!text.empty()) {
            std::string_view value = Cut(text, ';');
            const std::string_view key = Trim(Cut(value, '='));
            media.parameters.emplace_back(key, Trim(value));
        }
    }
}

}  // namespace

std::string_view RtspHead::Field(std::string_view name) const {
    const auto found = std::find_if(fields.begin(), fields.end(),
                                    [&](const auto& field) { return IsName(field.first, name); });
    return found != fields.end() ? std::string_view(found->second) : std::string_view();
}

std::optional<std::size_t> RtspHead::BodySize() const {
    const std::string_view told = Field("Content-Length");
    const int size = told.empty() ? 0 : ReadNumber(told);
    return size >= 0 ? std::optional(static_cast<std::size_t>(size)) : std::nullopt;
}

std::optional<RtspHead> ReadRtspHead(std::string_view text) {
    std::string_view first = Cut(text, '\n');
    RtspHead head;
    if (first.starts_with("RTSP/")) {
        Cut(first, ' ');
        head.status = ReadNumber(Trim(first));
        if (head.status < 100 || head.status > 999) {
            return std::nullopt;
        }
    } else if (first.find(" RTSP/") == std::string_view::npos) {
        return std::nullopt;
    }
    while (!text.empty()) {
        std::string_view line = Cut(text, '\n');
        const std::string_view name = Trim(Cut(line, ':'));
        if (!name.empty()) {
            head.fields.emplace_back(name, Trim(line));
        }
    }
    return head;
}

std::optional<RtspChallenge> ReadRtspChallenge(const RtspHead& head) {
    std::optional<RtspChallenge> best;
    for (const auto& [name, value] : head.fields) {
        if (!IsName(name, "WWW-Authenticate")) {
            continue;
        }
        std::string_view fields = value;
        const std::string_view scheme = Cut(fields, ' ');
        RtspChallenge one;
        if (IsName(scheme, "Digest")) {
            const std::string algorithm = ReadField(fields, "algorithm");
            const std::string quality = ReadField(fields, "qop");
            if (IsName(algorithm, "SHA-256")) {
                one.kind = RtspChallenge::Kind::Sha256;
            } else if (algorithm.empty() || IsName(algorithm, "MD5")) {
                one.kind = RtspChallenge::Kind::Md5;
            } else {
                continue;
            }
            one.nonce = ReadField(fields, "nonce");
            one.opaque = ReadField(fields, "opaque");
            one.hasQuality = ("," + quality + ",").find("auth,") != std::string::npos;
        } else if (!IsName(scheme, "Basic")) {
            continue;
        }
        one.realm = ReadField(fields, "realm");
        if (!best || one.kind > best->kind) {
            best = std::move(one);
        }
    }
    return best;
}

std::string AnswerRtspChallenge(const RtspChallenge& challenge, std::string_view user,
                                std::string_view password, std::string_view method, std::string_view url,
                                std::uint32_t count, std::string_view random) {
    if (challenge.kind == RtspChallenge::Kind::Basic) {
        return AnswerBasic(user, password);
    }
    std::string login;
    for (const std::string_view part :
         {user, std::string_view(":"), std::string_view(challenge.realm), std::string_view(":"), password}) {
        AppendSecret(login, part);
    }
    std::string key = HexHash(challenge.kind, login);
    Wipe(login);
    const std::string asked = HexHash(challenge.kind, std::string(method) + ":" + std::string(url));
    std::array<char, 9> counted{};
    std::snprintf(counted.data(), counted.size(), "%08x", count);
    const std::string quality =
        challenge.hasQuality ? std::string(counted.data()) + ":" + std::string(random) + ":auth:" : "";
    std::string all;
    AppendSecret(all, key);
    AppendSecret(all, ":" + challenge.nonce + ":" + quality + asked);
    Wipe(key);
    std::string answer = "Digest username=" + Quoted(user) + ", realm=" + Quoted(challenge.realm) +
                         ", nonce=" + Quoted(challenge.nonce) + ", uri=" + Quoted(url) + ", response=\"" +
                         HexHash(challenge.kind, all) + "\"";
    Wipe(all);
    if (challenge.kind == RtspChallenge::Kind::Sha256) {
        answer += ", algorithm=SHA-256";
    }
    if (!challenge.opaque.empty()) {
        answer += ", opaque=" + Quoted(challenge.opaque);
    }
    if (challenge.hasQuality) {
        answer += ", qop=auth, nc=" + std::string(counted.data()) + ", cnonce=" + Quoted(random);
    }
    return answer;
}

std::string_view RtspMedia::Parameter(std::string_view name) const {
    const auto found = std::find_if(parameters.begin(), parameters.end(),
                                    [&](const auto& one) { return IsName(one.first, name); });
    return found != parameters.end() ? std::string_view(found->second) : std::string_view();
}

RtspDescription ReadRtspDescription(std::string_view text) {
    RtspDescription description;
    while (!text.empty()) {
        std::string_view line = Trim(Cut(text, '\n'));
        if (line.starts_with("m=")) {
            if (description.media.size() == kMostMedia) {
                break;
            }
            line.remove_prefix(2);
            RtspMedia media;
            const std::string_view kind = Cut(line, ' ');
            media.isVideo = kind == "video";
            media.isSound = kind == "audio";
            Cut(line, ' ');  // the port
            Cut(line, ' ');  // the profile
            media.payload = ReadNumber(line);
            SetStatic(media);
            description.media.push_back(std::move(media));
        } else if (line.starts_with("a=")) {
            line.remove_prefix(2);
            if (!description.media.empty()) {
                ReadAttribute(line, description.media.back());
            } else if (Cut(line, ':') == "control") {
                description.control = Trim(line).substr(0, kLongestName);
            }
        }
    }
    return description;
}

std::string JoinRtspUrl(std::string_view base, std::string_view control) {
    if (control.empty() || control == "*") {
        return std::string(base);
    }
    if (control.find("://") != std::string_view::npos) {
        return std::string(control);
    }
    return std::string(base) + (base.ends_with('/') || control.starts_with('/') ? "" : "/") +
           std::string(control);
}

std::vector<std::uint8_t> ReadBase64(std::string_view text) {
    const std::string coded(Trim(text));
    std::vector<std::uint8_t> bytes(AV_BASE64_DECODE_SIZE(coded.size()) + 1);
    const int size = av_base64_decode(bytes.data(), coded.c_str(), static_cast<int>(bytes.size()));
    bytes.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
    return bytes;
}

std::vector<std::uint8_t> ReadHex(std::string_view text) {
    std::vector<std::uint8_t> bytes;
    for (text = Trim(text); text.size() >= 2; text.remove_prefix(2)) {
        std::uint8_t byte = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + 2, byte, 16);
        if (error != std::errc() || end != text.data() + 2) {
            return {};
        }
        bytes.push_back(byte);
    }
    return bytes;
}

}  // namespace kvrecorder
