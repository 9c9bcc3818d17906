// What a camera sends that speaks HTTP, for a scripted server.
#pragma once

#include <cctype>
#include <string>
#include <vector>

#include "media_tools.h"

extern "C" {
#include <libavutil/md5.h>
}

namespace kvtest {

inline const std::vector<kvrecorder::PacketPtr>& TestJpegs() {
    static const auto made = EncodeTestPictures({kvrecorder::Codec::Mjpeg, 320, 240, 25, 1}, 12);
    return made;
}
inline std::string TestJpeg(std::size_t i) {
    const auto& data = TestJpegs()[i % TestJpegs().size()]->data;
    return {data.begin(), data.end()};
}

inline std::string Md5(const std::string& text) {
    unsigned char sum[16];
    av_md5_sum(sum, reinterpret_cast<const unsigned char*>(text.data()), text.size());
    std::string hex;
    for (const unsigned char byte : sum) {
        hex += "0123456789abcdef"[byte >> 4];
        hex += "0123456789abcdef"[byte & 15];
    }
    return hex;
}

// What stands behind NAME= in a request's Digest login.
inline std::string DigestValue(const std::string& head, const std::string& name) {
    const std::size_t at = head.find(" " + name + "=");
    if (at == std::string::npos) {
        return {};
    }
    std::string value = head.substr(at + name.size() + 2);
    const bool quoted = value.starts_with('"');
    value = quoted ? value.substr(1, value.find('"', 1) - 1) : value.substr(0, value.find_first_of(",\r"));
    return value;
}

inline const char* const kDigestWanted =
    "HTTP/1.1 401 No\r\nWWW-Authenticate: Digest realm=\"cam\", nonce=\"a1b2\", qop=\"auth\"\r\n"
    "Content-Length: 2\r\n\r\nno";

inline bool HasDigest(const std::string& head, const std::string& user, const std::string& password) {
    const std::string path = head.substr(4, head.find(' ', 4) - 4);
    const std::string first = Md5(user + ":cam:" + password);
    const std::string second = Md5("GET:" + path);
    return DigestValue(head, "response") == Md5(first + ":a1b2:" + DigestValue(head, "nc") + ":" +
                                                DigestValue(head, "cnonce") + ":auth:" + second);
}

}  // namespace kvtest
