#include "audio/g711.h"

#include <array>

namespace kvmon {

namespace {

constexpr std::int16_t MuLaw(std::uint8_t code) {
    constexpr int kBias = 0x84;
    const int bits = ~code & 0xFF;
    const int magnitude = (((bits & 0x0F) << 3) + kBias) << ((bits >> 4) & 7);
    return static_cast<std::int16_t>((bits & 0x80) != 0 ? kBias - magnitude : magnitude - kBias);
}

constexpr std::int16_t ALaw(std::uint8_t code) {
    const int bits = code ^ 0x55;  // every other bit travels inverted
    const int segment = (bits >> 4) & 7;
    int magnitude = ((bits & 0x0F) << 4) + 8;
    if (segment > 0) {
        magnitude = (magnitude + 0x100) << (segment - 1);
    }
    return static_cast<std::int16_t>((bits & 0x80) != 0 ? magnitude : -magnitude);
}

template <typename Expand>
constexpr std::array<std::int16_t, 256> Table(Expand expand) {
    std::array<std::int16_t, 256> table{};
    for (unsigned code = 0; code < table.size(); ++code) {
        table[code] = expand(static_cast<std::uint8_t>(code));
    }
    return table;
}

constexpr auto kMuLaw = Table(MuLaw);
constexpr auto kALaw = Table(ALaw);

}  // namespace

std::int16_t ExpandMuLaw(std::uint8_t code) {
    return kMuLaw[code];
}

std::int16_t ExpandALaw(std::uint8_t code) {
    return kALaw[code];
}

}  // namespace kvmon
