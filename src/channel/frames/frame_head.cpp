#include "channel/frames/frame_head.h"

#include <algorithm>

namespace kvmon {

namespace {

constexpr struct {
    std::uint32_t code;
    const char* name;
} kVideoCodes[] = {
    {wire::kZIVG, "MJPG"}, {wire::kZMP4, "ZMP4"}, {wire::kAVM4, "AVM4"},
    {wire::kZ264, "Z264"}, {wire::kZXPG, "ZXPG"}, {wire::kZV7K, "ZV7K"},
    {wire::kZV6K, "ZV6K"}, {wire::kZV3K, "ZV3K"}, {wire::kZ265, "Z265"},
};

}  // namespace

KELVARA_FRAME_HDR ReadFrameHead(std::span<const std::uint8_t, wire::kFrameHeaderSize> bytes) {
    const auto word = [&](std::size_t offset) {
        return std::uint32_t{bytes[offset]} | std::uint32_t{bytes[offset + 1]} << 8 |
               std::uint32_t{bytes[offset + 2]} << 16 | std::uint32_t{bytes[offset + 3]} << 24;
    };
    KELVARA_FRAME_HDR head;
    head.dwFourccCode = word(wire::kFourccOffset);
    head.dwKeyFlag = word(wire::kKeyFlagOffset);
    head.dwWidth = word(wire::kWidthOffset);
    head.dwHeight = word(wire::kHeightOffset);
    head.capturedMs = word(wire::kOpaqueOffset) | std::uint64_t{word(wire::kOpaqueOffset + 4)} << 32;
    head.dwReserved = word(wire::kReservedOffset);
    head.dwFrameDataSize = word(wire::kDataSizeOffset);
    return head;
}

KELVARA_FRAME_HDR HeadOfFrame(std::span<const std::uint8_t> frame) {
    return frame.size() < wire::kFrameHeaderSize ? KELVARA_FRAME_HDR()
                                                 : ReadFrameHead(frame.first<wire::kFrameHeaderSize>());
}

std::uint64_t MostBytesOfPicture(std::uint32_t dwWidth, std::uint32_t dwHeight) {
    constexpr std::uint64_t kLeast = 1u << 20;
    constexpr std::uint64_t kOfUnknownSize = 16u << 20;
    constexpr std::uint32_t kMaxSide = 16384;  // no decoder takes more
    constexpr std::uint64_t kBytesPerPixel = 4;
    if (dwWidth == 0 || dwHeight == 0 || dwWidth > kMaxSide || dwHeight > kMaxSide) {
        return kOfUnknownSize;
    }
    return std::max(kLeast, kBytesPerPixel * dwWidth * dwHeight);
}

const char* GetVideoCodeName(std::uint32_t dwFourccCode) {
    for (const auto& entry : kVideoCodes) {
        if (entry.code == dwFourccCode) {
            return entry.name;
        }
    }
    return nullptr;
}

}  // namespace kvmon
