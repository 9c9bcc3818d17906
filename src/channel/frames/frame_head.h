// The head of a stream record, read from its bytes.
#pragma once

#include <cstdint>
#include <span>

#include "wire/frame_header.h"

namespace kvmon {

struct KELVARA_FRAME_HDR {
    std::uint32_t dwFourccCode = 0;
    std::uint32_t dwKeyFlag = 0;
    std::uint32_t dwWidth = 0;   // to be read on key frames only
    std::uint32_t dwHeight = 0;  // likewise
    std::uint32_t dwReserved = 0;
    std::uint32_t dwFrameDataSize = 0;
    std::uint64_t capturedMs = 0;  // by some clock, if it is a time at all

    bool IsKeyFrame() const { return dwKeyFlag == 1; }
};

KELVARA_FRAME_HDR ReadFrameHead(std::span<const std::uint8_t, wire::kFrameHeaderSize> bytes);
// The head that a frame begins with; all zero, and so of no known code, if it is too short for one.
KELVARA_FRAME_HDR HeadOfFrame(std::span<const std::uint8_t> frame);

// What a coded picture of this size can have at the most: more than its bare pixels is a lie. Small ones are
// given room all the same, for heads tell sizes of their own, and those without a size what the largest
// cameras send.
std::uint64_t MostBytesOfPicture(std::uint32_t dwWidth, std::uint32_t dwHeight);

// "MJPG" for one plain JPEG picture, else the four characters of a video code; null for any other.
const char* GetVideoCodeName(std::uint32_t dwFourccCode);

}  // namespace kvmon
