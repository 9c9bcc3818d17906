// What cameras and their viewers write to each other by RTSP: replies, logins and descriptions of sessions.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kvrecorder {

// The head of a reply, or of a request that a camera makes.
struct RtspHead {
    int status = 0;  // 0: no reply
    std::vector<std::pair<std::string, std::string>> fields;

    // Empty: there is none. Names are the same in any case of letters.
    std::string_view Field(std::string_view name) const;
    // Of what follows; nothing where no number is told that can be.
    std::optional<std::size_t> BodySize() const;
};
// Of all up to the empty line. Nothing for what is no head.
std::optional<RtspHead> ReadRtspHead(std::string_view text);

// How a camera wants to be told who asks.
struct RtspChallenge {
    enum class Kind { Basic, Md5, Sha256 };
    Kind kind = Kind::Basic;
    std::string realm;
    std::string nonce;
    std::string opaque;
    bool hasQuality = false;  // "auth" is among what it offers
};
// The safest one that is known here.
std::optional<RtspChallenge> ReadRtspChallenge(const RtspHead& head);
// The value of the field Authorization; wiped by the caller. `count` is that of the answers to this
// challenge.
std::string AnswerRtspChallenge(const RtspChallenge& challenge, std::string_view user,
                                std::string_view password, std::string_view method, std::string_view url,
                                std::uint32_t count, std::string_view random);

// One kind of media of a session.
struct RtspMedia {
    bool isVideo = false;
    bool isSound = false;
    int payload = -1;
    std::string coding;  // in capital letters: "H264"
    int clock = 0;
    int channels = 1;
    std::string control;
    bool fromCamera = true;  // false: the camera is the one that listens
    std::vector<std::pair<std::string, std::string>> parameters;

    // Empty: there is none.
    std::string_view Parameter(std::string_view name) const;
};
struct RtspDescription {
    std::string control;
    std::vector<RtspMedia> media;
};
RtspDescription ReadRtspDescription(std::string_view text);

// Where a control stands whose address may be a part.
std::string JoinRtspUrl(std::string_view base, std::string_view control);

std::vector<std::uint8_t> ReadBase64(std::string_view text);
std::vector<std::uint8_t> ReadHex(std::string_view text);

}  // namespace kvrecorder
