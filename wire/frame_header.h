// The head of each record of a channel's stream, and the codes that it carries.
#pragma once

#include <cstddef>
#include <cstdint>

namespace wire {

// Every stream record opens with this many bytes, little-endian.
inline constexpr std::size_t kFrameHeaderSize = 56;

inline constexpr std::size_t kFourccOffset = 0;
inline constexpr std::size_t kKeyFlagOffset = 4;
inline constexpr std::size_t kWidthOffset = 8;
inline constexpr std::size_t kHeightOffset = 12;
// Eight words that are passed on with the frame. Of the first two, which may be anything, the difference
// between two pictures tells their distance in milliseconds if it can be one.
inline constexpr std::size_t kOpaqueOffset = 16;
inline constexpr std::size_t kReservedOffset = 48;
inline constexpr std::size_t kDataSizeOffset = 52;

// Length of the format block between head and payload.
inline constexpr std::uint32_t kVideoReserved = 0;
inline constexpr std::uint32_t kAudioReserved = 8;

// Four characters in memory order, as a little-endian word.
constexpr std::uint32_t FourCC(char a, char b, char c, char d) {
    return static_cast<std::uint32_t>(static_cast<unsigned char>(a)) |
           static_cast<std::uint32_t>(static_cast<unsigned char>(b)) << 8 |
           static_cast<std::uint32_t>(static_cast<unsigned char>(c)) << 16 |
           static_cast<std::uint32_t>(static_cast<unsigned char>(d)) << 24;
}

// Video.
inline constexpr std::uint32_t kZIVG = FourCC('Z', 'I', 'V', 'G');  // one plain JPEG picture
inline constexpr std::uint32_t kZMP4 = FourCC('Z', 'M', 'P', '4');  // MPEG-4
inline constexpr std::uint32_t kAVM4 = FourCC('A', 'V', 'M', '4');  // MPEG-4, two stacked fields
inline constexpr std::uint32_t kZ264 = FourCC('Z', '2', '6', '4');  // H.264
inline constexpr std::uint32_t kZ265 = FourCC('Z', '2', '6', '5');  // H.265, which only kvmon knows
inline constexpr std::uint32_t kZXPG = FourCC('Z', 'X', 'P', 'G');  // MxPEG
inline constexpr std::uint32_t kZV7K = FourCC('Z', 'V', '7', 'K');  // Vivotek 7000 series
inline constexpr std::uint32_t kZV6K = FourCC('Z', 'V', '6', 'K');  // Vivotek 6000 series
inline constexpr std::uint32_t kZV3K = FourCC('Z', 'V', '3', 'K');  // Vivotek 3000 series

// Audio.
inline constexpr std::uint32_t kG726 = FourCC('G', '7', '2', '6');
inline constexpr std::uint32_t kZ726 = FourCC('Z', '7', '2', '6');
inline constexpr std::uint32_t kG711 = FourCC('G', '7', '1', '1');
inline constexpr std::uint32_t kA711 = FourCC('A', '7', '1', '1');
inline constexpr std::uint32_t kPCM = FourCC('P', 'C', 'M', '\0');
inline constexpr std::uint32_t kFAAC = FourCC('F', 'A', 'A', 'C');
inline constexpr std::uint32_t kF729 = FourCC('F', '7', '2', '9');

}  // namespace wire
