#include "cameras/rtp_packets.h"

#include <algorithm>
#include <array>

namespace kvrecorder {
namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t kHead = 12;
constexpr std::size_t kLargestBlock = 1 << 13;

std::size_t Read16(Bytes bytes, std::size_t at) {
    return static_cast<std::size_t>(bytes[at]) << 8 | bytes[at + 1];
}

void PutStart(std::vector<std::uint8_t>& to) {
    constexpr std::array<std::uint8_t, 4> kStart = {0, 0, 0, 1};
    to.insert(to.end(), kStart.begin(), kStart.end());
}

}  // namespace

std::optional<RtpPacket> ReadRtpPacket(Bytes bytes) {
    if (bytes.size() < kHead || bytes[0] >> 6 != 2) {
        return std::nullopt;
    }
    RtpPacket packet;
    packet.isLast = (bytes[1] & 0x80) != 0;
    packet.payloadType = bytes[1] & 0x7F;
    packet.stamp = static_cast<std::uint32_t>(Read16(bytes, 4) << 16 | Read16(bytes, 6));
    std::size_t begin = kHead + std::size_t{4} * (bytes[0] & 0x0F);
    if ((bytes[0] & 0x10) != 0) {
        if (bytes.size() < begin + 4) {
            return std::nullopt;
        }
        const std::size_t size = 4 * Read16(bytes, begin + 2);
        if (bytes.size() < begin + 4 + size) {
            return std::nullopt;
        }
        packet.extensionKind = static_cast<int>(Read16(bytes, begin));
        packet.extension = bytes.subspan(begin + 4, size);
        begin += 4 + size;
    }
    const std::size_t padding = (bytes[0] & 0x20) != 0 ? bytes.back() : 0;
    if (bytes.size() < begin + padding) {
        return std::nullopt;
    }
    packet.payload = bytes.subspan(begin, bytes.size() - begin - padding);
    return packet;
}

void RtpUnits::Add(Bytes payload, std::vector<std::uint8_t>& to) {
    const std::size_t head = m_isH265 ? 2 : 1;
    if (payload.size() <= head) {
        return;
    }
    const int type = m_isH265 ? payload[0] >> 1 & 63 : payload[0] & 31;
    if (type == (m_isH265 ? 49 : 28)) {
        AddPart(payload, to);
        return;
    }
    m_inUnit = false;
    if (type == (m_isH265 ? 48 : 24)) {
        AddMany(payload.subspan(head), to);
    } else if (m_isH265 ? type < 48 : type > 0 && type < 24) {
        PutStart(to);
        to.insert(to.end(), payload.begin(), payload.end());
    }
}

void RtpUnits::AddMany(Bytes units, std::vector<std::uint8_t>& to) {
    while (units.size() > 2) {
        const std::size_t size = std::min(Read16(units, 0), units.size() - 2);
        if (size > 0) {
            PutStart(to);
            to.insert(to.end(), units.begin() + 2, units.begin() + 2 + static_cast<std::ptrdiff_t>(size));
        }
        units = units.subspan(2 + size);
    }
}

// The unit's own head is made of that of the packet and of the one of its parts.
void RtpUnits::AddPart(Bytes payload, std::vector<std::uint8_t>& to) {
    const std::size_t head = m_isH265 ? 3 : 2;
    if (payload.size() <= head) {
        return;
    }
    const std::uint8_t part = payload[head - 1];
    if ((part & 0x80) != 0) {
        m_inUnit = true;
        PutStart(to);
        if (m_isH265) {
            to.push_back(static_cast<std::uint8_t>((payload[0] & 0x81) | (part & 0x3F) << 1));
            to.push_back(payload[1]);
        } else {
            to.push_back(static_cast<std::uint8_t>((payload[0] & 0xE0) | (part & 0x1F)));
        }
    }
    if (m_inUnit) {
        to.insert(to.end(), payload.begin() + static_cast<std::ptrdiff_t>(head), payload.end());
        m_inUnit = (part & 0x40) == 0;
    }
}

void RtpAac::Add(Bytes payload, std::deque<std::vector<std::uint8_t>>& blocks) {
    if (payload.size() < 2) {
        return;
    }
    const std::size_t count = Read16(payload, 0) / 16;
    if (payload.size() < 2 + 2 * count) {
        return;
    }
    Bytes rest = payload.subspan(2 + 2 * count);
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t size = Read16(payload, 2 + 2 * i) >> 3;
        if (m_size != size || size <= rest.size()) {
            m_begun.clear();
        }
        const std::size_t taken = std::min(rest.size(), size - std::min(size, m_begun.size()));
        m_begun.insert(m_begun.end(), rest.begin(), rest.begin() + static_cast<std::ptrdiff_t>(taken));
        m_size = size;
        rest = rest.subspan(taken);
        if (size > 0 && m_begun.size() >= size) {
            blocks.push_back(std::move(m_begun));
            m_begun = {};
            m_size = 0;
        } else if (size > kLargestBlock) {
            m_begun.clear();
        }
    }
}

}  // namespace kvrecorder
