// The frames of a WebSocket, without the socket (RFC 6455, the server's side).
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kvmon {

enum class WsOpcode : std::uint8_t { Continuation = 0, Text = 1, Binary = 2, Close = 8, Ping = 9, Pong = 10 };

// Reasons for an end, as the protocol numbers them.
enum class WsClose : std::uint16_t {
    Normal = 1000,
    GoingAway = 1001,
    ProtocolError = 1002,
    BadText = 1007,
    Refused = 1008,
    TooLarge = 1009,
};

// The answer to a Sec-WebSocket-Key.
std::string WsAcceptKey(std::string_view key);

// The head of an unmasked frame for a payload of `length` bytes, whole in itself.
std::vector<std::uint8_t> WsFrameHead(WsOpcode opcode, std::uint64_t length);

// Takes the bytes of a client as they come, and gives whole messages. Messages over the limit are refused
// before they are kept; a message's pieces count towards it by their number, too, since an empty one costs
// time.
class WsFrameReader {
public:
    struct Message {
        WsOpcode opcode = WsOpcode::Text;  // never Continuation
        std::vector<std::uint8_t> payload;
    };
    enum class Result { Message, NeedMore, Failed };

    static constexpr std::size_t kPieceCost = 64;

    explicit WsFrameReader(std::size_t maxMessage) : m_maxMessage(maxMessage) {}

    // At most maxMessage and a head are kept; give no more than one reading of a socket at a time.
    void Feed(std::span<const std::uint8_t> bytes);
    // Call until it needs more. After Failed nothing comes any more, and Failure tells why.
    Result Next(Message& message);
    WsClose Failure() const { return m_failure; }

private:
    std::span<const std::uint8_t> Rest() const { return std::span(m_bytes).subspan(m_taken); }
    Result Fail(WsClose why);
    Result TakeFrame(std::uint8_t head, std::size_t headSize, std::size_t length, Message& message);

    const std::size_t m_maxMessage;
    std::vector<std::uint8_t> m_bytes;
    std::size_t m_taken = 0;  // bytes of them that are done with
    std::vector<std::uint8_t> m_fragments;
    std::size_t m_pieces = 0;
    WsOpcode m_fragmentOpcode = WsOpcode::Continuation;  // Continuation: no message is open
    bool m_bFailed = false;
    WsClose m_failure = WsClose::Normal;
};

}  // namespace kvmon
