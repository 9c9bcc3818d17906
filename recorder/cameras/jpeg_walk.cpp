#include "cameras/jpeg_walk.h"

namespace kvrecorder {
namespace {

constexpr std::uint8_t kMarkByte = 0xFF;
constexpr std::uint8_t kBegin = 0xD8;
constexpr std::uint8_t kEnd = 0xD9;
constexpr std::uint8_t kScanBegin = 0xDA;

bool StandsAlone(std::uint8_t code) {
    return code == 0x01 || (code >= 0xD0 && code <= kBegin);
}

}  // namespace

std::optional<std::size_t> JpegWalk::Find(std::span<const std::uint8_t> data) {
    while (!m_broken && m_at + 1 < data.size()) {
        const std::uint8_t code = data[m_at + 1];
        if (m_inScan) {
            // Of the marks only those of a restart belong to the pixels.
            if (data[m_at] != kMarkByte || code == 0 || (code >= 0xD0 && code <= 0xD7)) {
                ++m_at;
                continue;
            }
            m_inScan = false;
        }
        if (data[m_at] != kMarkByte) {
            m_broken = true;
        } else if (code == kMarkByte) {
            ++m_at;  // filling
        } else if (code == kEnd) {
            return m_at + 2;
        } else if (StandsAlone(code)) {
            m_at += 2;
        } else if (m_at + 3 >= data.size()) {
            break;
        } else {
            m_at += 2 + (static_cast<std::size_t>(data[m_at + 2]) << 8 | data[m_at + 3]);
            m_inScan = code == kScanBegin;
            m_pixels = m_pixels || m_inScan;
        }
    }
    return std::nullopt;
}

}  // namespace kvrecorder
