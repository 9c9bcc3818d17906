#include "state/record_queue.h"

#include <algorithm>

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
    const std::lock_guard lock(mutex_);
    if (packet->IsSound()) {
        return PushSound(packet);
    }
    const auto oldest = std::find_if(packets_.begin(), packets_.end(),
                                     [](const PacketPtr& waiting) { return !waiting->IsSound(); });
    const bool late = oldest != packets_.end() && packet->timeMs - (*oldest)->timeMs > maxLagMs_;
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
    begun_ = true;
    return Take(packet);
}

bool RecordQueue::PushSound(const PacketPtr& packet) {
    if (!begun_) {
        return false;
    }
    if (sounds_ >= kMaxSounds) {
        const auto oldest = std::find_if(packets_.begin(), packets_.end(),
                                         [](const PacketPtr& waiting) { return waiting->IsSound(); });
        bytes_ -= (*oldest)->data.size();
        packets_.erase(oldest);
        --sounds_;
        ++dropped_;
    }
    if (bytes_ + packet->data.size() > kMaxBytes) {
        ++dropped_;
        return false;
    }
    ++sounds_;
    return Take(packet);
}

bool RecordQueue::Take(const PacketPtr& packet) {
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
    sounds_ -= packet->IsSound() ? 1 : 0;
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
    sounds_ = 0;
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
