// What a camera answers to requests of RTSP.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "cameras/camera_error.h"

namespace kvrecorder {

struct RtspReply {
    int status = 0;
    int sequence = -1;                                         // of the request that it answers
    std::vector<std::pair<std::string, std::string>> headers;  // names in lower case
    std::string body;

    // The first of this name; empty if there is none.
    std::string Header(std::string_view name) const;
};

// Takes the bytes of a connection apart. What lies between the answers, which is pieces of streams and the
// camera's own requests, is passed over.
class RtspReplies {
public:
    static constexpr std::size_t kMostHead = 16 << 10;
    static constexpr std::size_t kMostBody = 64 << 10;

    void Add(std::string_view bytes) { m_bytes += bytes; }
    // Nothing until one is whole. Throws CameraError for what is no RTSP.
    std::optional<RtspReply> Next();

private:
    bool PassOver();

    std::string m_bytes;
};

// "a" of "a; b=c".
std::string FirstPart(std::string_view value);

}  // namespace kvrecorder
