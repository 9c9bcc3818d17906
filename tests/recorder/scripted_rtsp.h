// What a camera sends that speaks RTSP within one connection, for a scripted server.
#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "support/scripted_server.h"

namespace kvtest {

// With the request's number. `headers` are whole lines.
inline std::string RtspAnswer(const std::string& request, int status, const std::string& headers = "",
                              const std::string& body = "") {
    const std::size_t at = std::min(request.find("CSeq: "), request.size());
    return "RTSP/1.0 " + std::to_string(status) + " Word\r\n" +
           request.substr(at, request.find("\r\n", at) - at) + "\r\n" + headers +
           (body.empty() ? "" : "Content-Length: " + std::to_string(body.size()) + "\r\n") + "\r\n" + body;
}

// A packet of RTP in its frame. `extension`: its kind in two bytes, and what it holds.
inline std::string FramedPacket(int channel, bool mark, std::uint32_t stamp, std::string_view payload,
                                const std::string& extension = "") {
    std::string packet = {extension.empty() ? '\x80' : '\x90', static_cast<char>(mark ? 0xE0 : 0x60), 0, 0};
    for (int shift = 24; shift >= 0; shift -= 8) {
        packet += static_cast<char>(stamp >> shift);
    }
    packet += std::string("\0\0\0\1", 4);
    if (!extension.empty()) {
        std::string words = extension.substr(2);
        words.append((4 - words.size() % 4) % 4, '\xFF');
        const std::size_t count = words.size() / 4;
        packet += extension.substr(0, 2) + static_cast<char>(count >> 8) + static_cast<char>(count) + words;
    }
    packet += payload;
    return std::string("$") + static_cast<char>(channel) + static_cast<char>(packet.size() >> 8) +
           static_cast<char>(packet.size()) + packet;
}

// The channel that ServeRtsp's camera sends by, whatever it was asked for.
inline constexpr int kRtspChannel = 4;

// Answers as a camera should that has what the description tells, and plays it, which ends the session.
// `oddly` comes first, and says whether it has done with a request.
inline void ServeRtsp(Peer& peer, const std::string& description, const std::function<void(Peer&)>& play = {},
                      const std::function<bool(Peer&, const std::string& request)>& oddly = {}) {
    for (std::string request = peer.ReadHead(); !request.empty(); request = peer.ReadHead()) {
        if (oddly && oddly(peer, request)) {
            continue;
        }
        const bool setsUp = request.starts_with("SETUP");
        peer.Write(RtspAnswer(
            request, 200,
            setsUp ? "Session: 77;timeout=60\r\nTransport: RTP/AVP/TCP;unicast;interleaved=4-5\r\n" : "",
            request.starts_with("DESCRIBE") ? description : ""));
        if (play && request.starts_with("PLAY")) {
            return play(peer);
        }
    }
}

}  // namespace kvtest
