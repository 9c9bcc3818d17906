#include "service/record_queue.h"

namespace kvrecorder {

bool RecordQueue::Push(const PacketPtr& packet) {
    if (!packet || packet->data.empty()) {
        return false;
    }
    const std::lock_guard lock(mutex_);
    const bool late = !packets_.empty() && packet->timeMs - packets_.front()->timeMs > maxLagMs_;
    if (packet->key && late) {
        Clear();
    }
    if (bytes_ + packet->data.size() > kMaxBytes || packets_.size() >= kMaxRecords) {
        Clear();
        waitKey_ = true;
    }
    if ((waitKey_ && !packet->key) || packet->data.size() > kMaxBytes) {
        ++dropped_;
        waitKey_ = true;
        return false;
    }
    waitKey_ = false;
    packets_.push_back(packet);
    bytes_ += packet->data.size();
    const bool wake = idle_;
    idle_ = false;
    return wake;
}

void RecordQueue::Restart() {
    const std::lock_guard lock(mutex_);
    Clear();
    waitKey_ = true;
}

PacketPtr RecordQueue::Pop() {
    const std::lock_guard lock(mutex_);
    if (packets_.empty()) {
        idle_ = true;
        return nullptr;
    }
    PacketPtr packet = std::move(packets_.front());
    packets_.pop_front();
    bytes_ -= packet->data.size();
    return packet;
}

std::size_t RecordQueue::Bytes() const {
    const std::lock_guard lock(mutex_);
    return bytes_;
}

std::uint64_t RecordQueue::Dropped() const {
    const std::lock_guard lock(mutex_);
    return dropped_;
}

void RecordQueue::Clear() {
    dropped_ += packets_.size();
    packets_.clear();
    bytes_ = 0;
}

std::array<char, wire::kFrameHeaderSize> MakeRecordHead(const Packet& packet, std::uint32_t number) {
    std::array<char, wire::kFrameHeaderSize> head{};
    const auto put = [&](std::size_t offset, std::uint64_t value) {
        for (std::size_t i = 0; i < 4; ++i) {
            head[offset + i] = static_cast<char>(value >> (8 * i) & 0xFF);
        }
    };
    put(wire::kFourccOffset, packet.fourcc);
    put(wire::kKeyFlagOffset, packet.key ? 1 : 0);
    put(wire::kWidthOffset, static_cast<std::uint64_t>(packet.width));
    put(wire::kHeightOffset, static_cast<std::uint64_t>(packet.height));
    put(wire::kOpaqueOffset, static_cast<std::uint64_t>(packet.timeMs));
    put(wire::kOpaqueOffset + 4, static_cast<std::uint64_t>(packet.timeMs) >> 32);
    put(wire::kOpaqueOffset + 8, number);
    put(wire::kReservedOffset, wire::kVideoReserved);
    put(wire::kDataSizeOffset, packet.data.size());
    return head;
}

}  // namespace kvrecorder
