// Where a JPEG picture ends that comes bit by bit.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace kvrecorder {

// Each call goes on where the last one stopped. Pictures within the picture, such as a small one in its head,
// do not end it. One thread at a time.
class JpegWalk {
public:
    // `data` is all that came of the picture so far. Gives the place behind its end, once that has come.
    std::optional<std::size_t> Find(std::span<const std::uint8_t> data);
    // It has come as far as the pixels; without this it is no picture.
    bool HasPixels() const { return m_pixels; }

private:
    std::size_t m_at = 0;
    bool m_inScan = false;
    bool m_pixels = false;
    bool m_broken = false;
};

inline bool IsJpeg(std::span<const std::uint8_t> data) {
    return data.size() >= 3 && data[0] == 0xFF && data[1] == 0xD8 && data[2] == 0xFF;
}

}  // namespace kvrecorder
