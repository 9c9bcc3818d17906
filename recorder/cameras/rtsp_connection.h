// A camera's RTSP connection by TCP, in which requests, replies and packets take turns. What it reads stays
// in place, and it waits for its bytes; RtspLink beside it reads little, and may not wait for what it writes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cameras/camera_input.h"
#include "cameras/camera_line.h"
#include "cameras/rtsp_login.h"
#include "cameras/rtsp_reply.h"
#include "media/stream_config.h"

namespace kvrecorder {

// What the camera answers is not understood here, though another may.
struct StrangeRtsp {};

// One thread. All calls end within the limit, and throw CameraError.
class RtspConnection {
public:
    RtspConnection(const NetworkCamera& camera, const std::string& url, InputLimit& limit);

    // Signed where the camera wants it. A reply that refuses ends in CameraError, another that is none that
    // was hoped for in StrangeRtsp.
    RtspReply Ask(std::string_view method, const std::string& url, std::string_view fields = {});
    // Waits for no reply: NextItem gives it.
    void Tell(std::string_view method, const std::string& url, std::string_view fields = {});

    // Of what has come. Nothing: more is to be received. The item comes again until it is dropped, and its
    // bytes are valid as long.
    const RtspItem* NextItem();
    void DropItem();
    // Waits for more; `gather`: not for the first byte of it alone.
    void Receive(bool gather);
    // All is set up, and what is waited for are pictures.
    void Opened() { m_isOpen = true; }
    // Throws for a reply that refuses; true if the request is to be made again, signed anew.
    bool Judge(const RtspHead& head);

private:
    void CheckLimit() const;
    void WaitForBytes() const;
    RtspReply ReadReply();

    InputLimit& m_limit;
    CameraLine m_line;
    bool m_isOpen = false;
    RtspLogin m_login;
    int m_sequence = 0;
    std::vector<std::uint8_t> m_buffer;
    std::size_t m_begin = 0;
    std::size_t m_end = 0;
    std::optional<RtspItem> m_item;
};

}  // namespace kvrecorder
