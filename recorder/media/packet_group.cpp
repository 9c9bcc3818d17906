#include "media/packet_group.h"

namespace kvrecorder {
namespace {

constexpr std::size_t kMostPackets = 600;
constexpr std::size_t kMostBytes = 16 << 20;

}  // namespace

void PacketGroup::Add(const PacketPtr& packet) {
    if (packet->key) {
        m_packets.clear();
        m_bytes = 0;
    }
    if (packet->key || !m_packets.empty()) {
        m_bytes += packet->data.size();
        m_packets.push_back(packet);
    }
}

void PacketGroup::DropIfTooLarge() {
    if (m_packets.size() > kMostPackets || m_bytes > kMostBytes) {
        m_packets.clear();
    }
}

}  // namespace kvrecorder
