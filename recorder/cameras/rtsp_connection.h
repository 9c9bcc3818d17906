// A camera's RTSP connection by TCP, in which requests, replies and packets take turns.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "cameras/camera_input.h"
#include "cameras/rtsp_text.h"
#include "media/descriptor.h"
#include "media/stream_config.h"

namespace kvrecorder {

// Of what a camera sends within its connection.
struct RtspItem {
    bool isPacket = false;
    int channel = 0;                      // of the packet
    std::span<const std::uint8_t> bytes;  // valid until the next call
    RtspHead head;                        // of a reply, or a request of the camera's
};

// What the camera answers is not understood here, though another may.
struct StrangeRtsp {};

// One thread. All calls end within the limit, but for the look-up of the host's name, and throw CameraError.
class RtspConnection {
public:
    RtspConnection(const NetworkCamera& camera, const std::string& url, InputLimit& limit);

    struct Reply {
        RtspHead head;
        std::string body;
    };
    // Signed where the camera wants it. A reply that refuses ends in CameraError, another that is none that
    // was hoped for in StrangeRtsp.
    Reply Ask(std::string_view method, const std::string& url, std::string_view fields = {});
    // Waits for no reply: NextItem gives it.
    void Tell(std::string_view method, const std::string& url, std::string_view fields = {});

    using Item = RtspItem;
    // Of what has come. Nothing: more is to be received. The item comes again until it is dropped.
    const Item* NextItem();
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
    Reply ReadReply();

    const NetworkCamera& m_camera;
    InputLimit& m_limit;
    std::optional<Descriptor> m_socket;
    bool m_isOpen = false;
    std::optional<RtspChallenge> m_challenge;
    bool m_signed = false;  // the last request was
    std::uint32_t m_signedCount = 0;
    int m_sequence = 0;
    std::vector<std::uint8_t> m_buffer;
    std::size_t m_begin = 0;
    std::size_t m_end = 0;
    std::optional<Item> m_item;
    std::size_t m_itemSize = 0;
};

}  // namespace kvrecorder
