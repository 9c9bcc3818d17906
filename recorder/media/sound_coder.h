// Sound to and from its form on the wire.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "media/sound_source.h"

namespace kvrecorder {

// What is told of a sound before its bytes.
struct SoundBlock {
    std::uint32_t fourcc = 0;
    std::uint32_t rate = 0;
    std::uint16_t bits = 0;
    std::uint16_t channels = 1;
};
SoundBlock BlockOf(const SoundConfig& config);

// One direction of one sound; its state goes on from block to block. A block of samples codes to whole bytes
// if their number is a multiple of eight.
class SoundEncoder {
public:
    virtual ~SoundEncoder() = default;
    virtual std::vector<std::uint8_t> Encode(std::span<const std::int16_t> samples) = 0;
};
// Throws std::runtime_error if the library has no such coder.
std::unique_ptr<SoundEncoder> CreateSoundEncoder(const SoundConfig& config);

class SoundDecoder {
public:
    virtual ~SoundDecoder() = default;
    virtual std::vector<std::int16_t> Decode(std::span<const std::uint8_t> bytes) = 0;
};
// For what clients send: G.726 of four bits, packed from the low bits on. Throws as above.
std::unique_ptr<SoundDecoder> CreateTalkDecoder();

}  // namespace kvrecorder
