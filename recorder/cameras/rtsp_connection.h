// A camera's RTSP connection by TCP, in which requests, replies and packets take turns. What it reads stays
// in place, and it waits for its bytes; RtspLink beside it reads little, may not wait for what it writes, and
// speaks to encrypted cameras.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cameras/camera_input.h"
#include "cameras/rtsp_login.h"
#include "cameras/rtsp_reply.h"
#include "media/descriptor.h"
#include "media/stream_config.h"

namespace kvrecorder {

// What the camera answers is not understood here, though another may.
struct StrangeRtsp {};

// One thread. All calls end within the limit, but for the look-up of the host's name, and throw CameraError.
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
    void Connect(const std::string& host, const std::string& port);
    void WaitFor(short events);
    [[noreturn]] void Fail(int error) const;
    RtspReply ReadReply();

    InputLimit& m_limit;
    std::optional<Descriptor> m_socket;
    bool m_isOpen = false;
    RtspLogin m_login;
    int m_sequence = 0;
    std::vector<std::uint8_t> m_buffer;
    std::size_t m_begin = 0;
    std::size_t m_end = 0;
    std::optional<RtspItem> m_item;
};

}  // namespace kvrecorder
