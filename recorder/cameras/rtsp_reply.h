// What a camera answers to requests of RTSP.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "cameras/rtsp_head.h"

namespace kvrecorder {

struct RtspReply {
    RtspHead head;
    std::string body;
};

// Takes the bytes of a connection apart whose packets nobody reads. They are passed over, as the camera's own
// requests are.
class RtspReplies {
public:
    void Add(std::string_view bytes) { m_bytes += bytes; }
    // Nothing until one is whole. Throws CameraError for what is no RTSP.
    std::optional<RtspReply> Next();

private:
    std::string m_bytes;
    std::size_t m_skipped = 0;  // without anything between
};

}  // namespace kvrecorder
