// The pictures and the sound in a camera's RTP packets that lost none on their way.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <span>
#include <vector>

namespace kvrecorder {

struct RtpPacket {
    bool isLast = false;  // of a picture, as the camera says
    int payloadType = 0;
    std::uint32_t stamp = 0;
    std::span<const std::uint8_t> payload;
    int extensionKind = -1;  // as its first two bytes tell; -1: there is none
    std::span<const std::uint8_t> extension;
};
// Nothing for what is no such packet.
std::optional<RtpPacket> ReadRtpPacket(std::span<const std::uint8_t> bytes);

// Puts the units of H.264 or H.265 together, each behind a start code.
class RtpUnits {
public:
    explicit RtpUnits(bool isH265) : m_isH265(isH265) {}

    // Appends what the payload holds.
    void Add(std::span<const std::uint8_t> payload, std::vector<std::uint8_t>& to);

private:
    using Bytes = std::span<const std::uint8_t>;
    void AddMany(Bytes units, std::vector<std::uint8_t>& to);
    void AddPart(Bytes payload, std::vector<std::uint8_t>& to);

    const bool m_isH265;
    bool m_inUnit = false;  // of which a part came
};

// Puts the blocks of AAC together that have heads of 13 bits of size and 3 of index.
class RtpAac {
public:
    void Add(std::span<const std::uint8_t> payload, std::deque<std::vector<std::uint8_t>>& blocks);

private:
    std::vector<std::uint8_t> m_begun;
    std::size_t m_size = 0;  // of the block that was begun
};

}  // namespace kvrecorder
