// The packets of a stream that a late comer begins with.
#pragma once

#include <cstddef>
#include <vector>

#include "media/packet.h"

namespace kvrecorder {

// All packets since the last key picture. One thread at a time.
class PacketGroup {
public:
    // A key picture begins the group anew; without one there is no group yet.
    void Add(const PacketPtr& packet);
    // A group beyond the bounds is dropped whole; late comers then wait for the next key picture.
    void DropIfTooLarge();
    void Clear() { m_packets.clear(); }

    bool IsEmpty() const { return m_packets.empty(); }
    const std::vector<PacketPtr>& Packets() const { return m_packets; }

private:
    std::vector<PacketPtr> m_packets;
    std::size_t m_bytes = 0;
};

}  // namespace kvrecorder
