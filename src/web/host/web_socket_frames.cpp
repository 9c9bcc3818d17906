#include "web/host/web_socket_frames.h"

#include <QtCore/QCryptographicHash>
#include <utility>

#include "platform/text.h"

namespace kvmon {

namespace {

constexpr std::uint8_t kFinal = 0x80;
constexpr std::uint8_t kReserved = 0x70;
constexpr std::uint8_t kMasked = 0x80;
constexpr std::size_t kMaxControl = 125;
constexpr std::size_t kMaskSize = 4;

bool IsControl(WsOpcode opcode) {
    return static_cast<int>(opcode) >= 8;
}

bool IsKnown(WsOpcode opcode) {
    const int number = static_cast<int>(opcode);
    return number <= 2 || (number >= 8 && number <= 10);
}

}  // namespace

std::string WsAcceptKey(std::string_view key) {
    QByteArray text(key.data(), static_cast<qsizetype>(key.size()));
    text += "258EAFA5-E914-47DA-95CA-C5AB0DC85B11";
    return QCryptographicHash::hash(text, QCryptographicHash::Sha1).toBase64().toStdString();
}

std::vector<std::uint8_t> WsFrameHead(WsOpcode opcode, std::uint64_t length) {
    std::vector<std::uint8_t> head{static_cast<std::uint8_t>(kFinal | static_cast<std::uint8_t>(opcode))};
    int bytes = 0;
    if (length <= kMaxControl) {
        head.push_back(static_cast<std::uint8_t>(length));
    } else if (length <= 0xFFFF) {
        head.push_back(126);
        bytes = 2;
    } else {
        head.push_back(127);
        bytes = 8;
    }
    for (int i = bytes - 1; i >= 0; --i) {
        head.push_back(static_cast<std::uint8_t>(length >> (8 * i)));
    }
    return head;
}

void WsFrameReader::Feed(std::span<const std::uint8_t> bytes) {
    if (!m_bFailed) {
        m_bytes.erase(m_bytes.begin(),
                      m_bytes.begin() + static_cast<std::ptrdiff_t>(std::exchange(m_taken, 0)));
        m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
    }
}

WsFrameReader::Result WsFrameReader::Fail(WsClose why) {
    m_bFailed = true;
    m_failure = why;
    m_bytes.clear();
    m_taken = 0;
    m_fragments.clear();
    return Result::Failed;
}

WsFrameReader::Result WsFrameReader::Next(Message& message) {
    while (!m_bFailed) {
        const std::span<const std::uint8_t> bytes = Rest();
        if (bytes.size() < 2) {
            return Result::NeedMore;
        }
        const std::uint8_t head = bytes[0];
        const auto opcode = static_cast<WsOpcode>(head & 0x0F);
        if ((head & kReserved) != 0 || !IsKnown(opcode) || (bytes[1] & kMasked) == 0) {
            return Fail(WsClose::ProtocolError);
        }
        std::uint64_t length = bytes[1] & 0x7F;
        const std::size_t extra = length == 126 ? 2 : length == 127 ? 8 : 0;
        if (IsControl(opcode) && (extra > 0 || (head & kFinal) == 0)) {
            return Fail(WsClose::ProtocolError);
        }
        if (bytes.size() < 2 + extra) {
            return Result::NeedMore;
        }
        if (extra > 0) {
            length = 0;
            for (std::size_t i = 0; i < extra; ++i) {
                length = length << 8 | bytes[2 + i];
            }
        }
        const std::size_t kept = m_fragments.size() + m_pieces * kPieceCost;
        if (!IsControl(opcode) && (length > m_maxMessage || length + kept > m_maxMessage)) {
            return Fail(WsClose::TooLarge);
        }
        const std::size_t headSize = 2 + extra + kMaskSize;
        if (bytes.size() < headSize + length) {
            return Result::NeedMore;
        }
        const Result result = TakeFrame(head, headSize, static_cast<std::size_t>(length), message);
        if (result != Result::NeedMore) {
            return result;
        }
    }
    return Result::Failed;
}

// NeedMore: a part of a message, the next frame's turn.
WsFrameReader::Result WsFrameReader::TakeFrame(std::uint8_t head, std::size_t headSize, std::size_t length,
                                               Message& message) {
    const auto opcode = static_cast<WsOpcode>(head & 0x0F);
    const std::span<const std::uint8_t> mask = Rest().subspan(headSize - kMaskSize, kMaskSize);
    const std::span<const std::uint8_t> masked = Rest().subspan(headSize, length);
    std::vector<std::uint8_t> payload(masked.begin(), masked.end());
    for (std::size_t i = 0; i < length; ++i) {
        payload[i] ^= mask[i % kMaskSize];
    }
    m_taken += headSize + length;
    if (IsControl(opcode)) {
        message = {opcode, std::move(payload)};
        return Result::Message;
    }
    const bool bOpen = m_fragmentOpcode != WsOpcode::Continuation;
    if ((opcode == WsOpcode::Continuation) != bOpen) {
        return Fail(WsClose::ProtocolError);
    }
    if (!bOpen) {
        m_fragmentOpcode = opcode;
    }
    m_fragments.insert(m_fragments.end(), payload.begin(), payload.end());
    if ((head & kFinal) == 0) {
        ++m_pieces;
        return Result::NeedMore;
    }
    m_pieces = 0;
    message = {std::exchange(m_fragmentOpcode, WsOpcode::Continuation), std::exchange(m_fragments, {})};
    const std::string_view text(reinterpret_cast<const char*>(message.payload.data()),
                                message.payload.size());
    if (message.opcode == WsOpcode::Text && !IsValidUtf8(text)) {
        return Fail(WsClose::BadText);
    }
    return Result::Message;
}

}  // namespace kvmon
