#include "state/record_queue.h"

#include <algorithm>
#include <new>

namespace kvrecorder {
namespace {

void Put(std::span<char> bytes, std::size_t offset, std::uint64_t value, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) {
        bytes[offset + i] = static_cast<char>(value >> (8 * i) & 0xFF);
    }
}

}  // namespace

bool RecordQueue::Push(const PacketPtr& packet) {
    if (!packet || packet->data.empty()) {
        return false;
    }
    const std::lock_guard lock(m_mutex);
    if (packet->IsSound()) {
        return PushSound(packet);
    }
    const auto oldest = std::find_if(m_packets.begin(), m_packets.end(),
                                     [](const PacketPtr& waiting) { return !waiting->IsSound(); });
    const bool late = oldest != m_packets.end() && packet->timeMs - (*oldest)->timeMs > m_maxLagMs;
    if (packet->key && late) {
        Clear();
    }
    if (m_bytes + packet->data.size() > kMaxBytes || m_packets.size() >= kMaxRecords) {
        Clear();
        m_waitKey = true;
    }
    if ((m_waitKey && !packet->key) || packet->data.size() > kMaxBytes) {
        ++m_dropped;
        m_waitKey = true;
        return false;
    }
    m_waitKey = false;
    m_begun = true;
    return Take(packet);
}

bool RecordQueue::PushSound(const PacketPtr& packet) {
    if (!m_begun) {
        return false;
    }
    if (m_sounds >= kMaxSounds) {
        const auto oldest = std::find_if(m_packets.begin(), m_packets.end(),
                                         [](const PacketPtr& waiting) { return waiting->IsSound(); });
        m_bytes -= (*oldest)->data.size();
        m_packets.erase(oldest);
        --m_sounds;
        ++m_dropped;
    }
    if (m_bytes + packet->data.size() > kMaxBytes) {
        ++m_dropped;
        return false;
    }
    ++m_sounds;
    return Take(packet);
}

bool RecordQueue::Take(const PacketPtr& packet) {
    try {
        m_packets.push_back(packet);
    } catch (const std::bad_alloc&) {
        ++m_dropped;
        m_waitKey = m_waitKey || !packet->IsSound();
        m_sounds -= packet->IsSound() ? 1 : 0;
        return false;
    }
    m_bytes += packet->data.size();
    const bool wake = m_idle;
    m_idle = false;
    return wake;
}

void RecordQueue::TakerIsAtWork() {
    const std::lock_guard lock(m_mutex);
    m_idle = false;
}

void RecordQueue::NotWoken() {
    const std::lock_guard lock(m_mutex);
    m_idle = true;
}

void RecordQueue::Restart() {
    const std::lock_guard lock(m_mutex);
    Clear();
    m_waitKey = true;
}

PacketPtr RecordQueue::Pop() {
    const std::lock_guard lock(m_mutex);
    if (m_packets.empty()) {
        m_idle = true;
        return nullptr;
    }
    PacketPtr packet = std::move(m_packets.front());
    m_packets.pop_front();
    m_bytes -= packet->data.size();
    m_sounds -= packet->IsSound() ? 1 : 0;
    return packet;
}

std::size_t RecordQueue::Bytes() const {
    const std::lock_guard lock(m_mutex);
    return m_bytes;
}

std::uint64_t RecordQueue::Dropped() const {
    const std::lock_guard lock(m_mutex);
    return m_dropped;
}

void RecordQueue::Clear() {
    m_dropped += m_packets.size();
    m_packets.clear();
    m_bytes = 0;
    m_sounds = 0;
}

std::array<char, wire::kFrameHeaderSize> MakeRecordHead(const Packet& packet, std::uint32_t number) {
    std::array<char, wire::kFrameHeaderSize> head{};
    const auto put = [&](std::size_t offset, std::uint64_t value) { Put(head, offset, value, 4); };
    const std::uint32_t block = packet.IsSound() ? wire::kAudioReserved : wire::kVideoReserved;
    put(wire::kFourccOffset, packet.fourcc);
    put(wire::kKeyFlagOffset, packet.key ? 1 : 0);
    put(wire::kWidthOffset, static_cast<std::uint64_t>(packet.width));
    put(wire::kHeightOffset, static_cast<std::uint64_t>(packet.height));
    const auto time = static_cast<std::uint64_t>(packet.timeMs + packet.delayMs);
    put(wire::kOpaqueOffset, time);
    put(wire::kOpaqueOffset + 4, time >> 32);
    put(wire::kOpaqueOffset + 8, number);
    put(wire::kReservedOffset, block);
    put(wire::kDataSizeOffset, packet.data.size() + block);
    return head;
}

std::array<char, wire::kAudioReserved> MakeSoundBlock(const Packet& packet) {
    std::array<char, wire::kAudioReserved> block{};
    Put(block, 0, packet.soundRate, 4);
    Put(block, 4, packet.soundBits, 2);
    Put(block, 6, packet.soundChannels, 2);
    return block;
}

}  // namespace kvrecorder
