// What streams are made of.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

namespace kvrecorder {

// One access unit, JPEG picture or block of sound, immutable and shared.
struct Packet {
    std::uint32_t fourcc = 0;  // a code of wire/frame_header.h
    bool key = false;
    int width = 0;
    int height = 0;
    std::int64_t timeMs = 0;  // since the source's start; packets follow each other in this order
    // How much later the picture is to be seen, where pictures are coded out of their order.
    std::int64_t delayMs = 0;
    // Of sound alone.
    std::uint32_t soundRate = 0;
    std::uint16_t soundBits = 0;
    std::uint16_t soundChannels = 0;
    std::vector<std::uint8_t> data;

    bool IsSound() const { return soundRate != 0; }
};
using PacketPtr = std::shared_ptr<const Packet>;

// Whether a packet was coded here, or is passed on as the source had it.
enum class PacketOrigin { PassedOn, Encoded };

}  // namespace kvrecorder
