// MxPEG: JPEG pictures, whole ones and such that carry only the blocks that have changed since.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "media/av_ptr.h"

namespace kvrecorder {

// A whole picture is plain JPEG. A partial one has neither sizes nor tables, but a comment "MXM" with a bit
// for each block of 16 x 16 pixels, and the coded blocks whose bits are set; the others stay as they were.
// One thread at a time.
class MxpegWriter {
public:
    enum class Kind { Whole, Changes };

    MxpegWriter(int width, int height);

    // Codes a picture of 4:2:0 planes, full range. A partial picture becomes a whole one where that is
    // shorter. False if the library failed.
    bool Write(const AVFrame& picture, Kind kind);
    // What Write made.
    const std::vector<std::uint8_t>& Data() const { return m_data; }
    bool IsWhole() const { return m_whole; }

private:
    struct Block {
        std::array<std::uint8_t, 256> y;
        std::array<std::uint8_t, 64> u;
        std::array<std::uint8_t, 64> v;
    };

    void Load(const AVFrame& picture);
    void FindChanges();
    void KeepEndMarksOut();
    bool Compress(const std::vector<std::size_t>& blocks, int width, int height);
    bool WriteWhole();
    bool WritePartial();

    const int m_width;
    const int m_height;
    const std::size_t m_columns;
    std::vector<Block> m_blocks;  // of this picture
    std::vector<Block> m_sent;    // as the receiver has them; empty: it has none
    std::vector<std::size_t> m_all;
    std::vector<std::size_t> m_changed;
    std::vector<std::uint8_t> m_mask;
    std::vector<std::uint8_t> m_rows;
    std::vector<std::uint8_t> m_jpeg;
    std::vector<std::uint8_t> m_data;
    bool m_whole = false;
};

}  // namespace kvrecorder
