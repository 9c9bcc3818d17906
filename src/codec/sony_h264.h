// A look into the H.264 of a Sony camera's own stream.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace kvmon {

// What parse_header has seen. One thread.
class TSonyH264VideoSource {
public:
    // Walks over one stored block and gives true once it has come to a slice. Lenient about a fault of these
    // cameras: a start code may begin with 0x80. Clears the key flag and the offset; the size stays from
    // block to block.
    bool parse_header(std::span<const std::uint8_t> block);

    // Of the last sequence parameter set; 0 x 0 before the first.
    int width() const { return m_width; }
    int height() const { return m_height; }
    bool is_key_frame() const { return m_bKeyFrame; }
    // Where the block's supplemental information begins, with its start code.
    std::optional<std::size_t> information_offset() const { return m_information; }

private:
    int m_width = 0;
    int m_height = 0;
    bool m_bKeyFrame = false;
    std::optional<std::size_t> m_information;
};

}  // namespace kvmon
