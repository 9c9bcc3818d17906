#include "media/mxpeg_writer.h"

#include <algorithm>
#include <cstdlib>
#include <numeric>

#include "media/jpeg_writer.h"

namespace kvrecorder {
namespace {

constexpr std::size_t kTile = 16;
constexpr std::size_t kHalfTile = kTile / 2;
constexpr int kQuality = 85;
// Differences that nobody sees.
constexpr int kNoise = 3;
// Blocks that one row of JPEG blocks can hold.
constexpr std::size_t kMostBlocks = 65500 / kTile;
// Receivers look for the end mark from this byte on.
constexpr std::size_t kShortest = 256;
constexpr std::size_t kMaskHead = 12;

constexpr std::uint8_t kBegin[] = {0xFF, 0xD8, 0xFF, 0xE0, 0, 16, 'J', 'F', 'I', 'F',
                                   0,    1,    1,    0,    0, 1,  0,   1,   0,   0};
constexpr std::uint8_t kScan[] = {0xFF, 0xDA, 0, 12, 3, 1, 0x00, 2, 0x11, 3, 0x11, 0, 63, 0};
constexpr std::uint8_t kMarker = 0xFF;
constexpr std::uint8_t kStartOfScan = 0xDA;
constexpr std::uint8_t kEndOfImage = 0xD9;
constexpr std::uint8_t kComment = 0xFE;

template <std::size_t side, std::size_t size>
void LoadSquare(const AVFrame& picture, int plane, int width, int height, std::size_t column, std::size_t row,
                std::array<std::uint8_t, size>& out) {
    const std::size_t lastX = static_cast<std::size_t>(width) - 1;
    const std::size_t lastY = static_cast<std::size_t>(height) - 1;
    const auto stride = static_cast<std::size_t>(picture.linesize[plane]);
    for (std::size_t y = 0; y < side; ++y) {
        const std::uint8_t* const from = picture.data[plane] + std::min(row * side + y, lastY) * stride;
        if ((column + 1) * side <= lastX + 1) {
            std::copy_n(from + column * side, side, out.begin() + y * side);
            continue;
        }
        for (std::size_t x = 0; x < side; ++x) {
            out[y * side + x] = from[std::min(column * side + x, lastX)];
        }
    }
}

template <std::size_t size>
bool Differ(const std::array<std::uint8_t, size>& a, const std::array<std::uint8_t, size>& b) {
    int most = 0;
    for (std::size_t i = 0; i < size; ++i) {
        most = std::max(most, std::abs(int{a[i]} - int{b[i]}));
    }
    return most > kNoise;
}

void PutWord(std::vector<std::uint8_t>& out, std::size_t value) {
    out.push_back(static_cast<std::uint8_t>(value >> 8));
    out.push_back(static_cast<std::uint8_t>(value));
}

// The coded blocks: what stands between the head of the scan and the end mark.
std::vector<std::uint8_t>::const_iterator ScanData(const std::vector<std::uint8_t>& jpeg) {
    std::size_t at = 2;
    while (at + 4 <= jpeg.size() && jpeg[at + 1] != kStartOfScan) {
        at += 2 + std::size_t{jpeg[at + 2]} * 256 + jpeg[at + 3];
    }
    const std::size_t data = at + std::size(kScan);
    return jpeg.begin() + static_cast<std::ptrdiff_t>(std::min(data, jpeg.size()));
}

}  // namespace

MxpegWriter::MxpegWriter(int width, int height)
    : m_width(width),
      m_height(height),
      m_columns((static_cast<std::size_t>(width) + kTile - 1) / kTile),
      m_blocks(m_columns * ((static_cast<std::size_t>(height) + kTile - 1) / kTile)),
      m_all(m_blocks.size()),
      m_mask((m_blocks.size() + 7) / 8) {
    std::iota(m_all.begin(), m_all.end(), std::size_t{0});
}

bool MxpegWriter::Write(const AVFrame& picture, Kind kind) {
    Load(picture);
    m_whole = kind == Kind::Whole || m_sent.empty();
    if (!m_whole) {
        FindChanges();
        m_whole = m_changed.size() * 2 > m_blocks.size() || m_changed.size() > kMostBlocks;
    }
    if (!(m_whole ? WriteWhole() : WritePartial())) {
        m_sent.clear();
        return false;
    }
    return true;
}

void MxpegWriter::Load(const AVFrame& picture) {
    for (std::size_t i = 0; i < m_blocks.size(); ++i) {
        const std::size_t column = i % m_columns;
        const std::size_t row = i / m_columns;
        LoadSquare<kTile>(picture, 0, m_width, m_height, column, row, m_blocks[i].y);
        LoadSquare<kHalfTile>(picture, 1, (m_width + 1) / 2, (m_height + 1) / 2, column, row, m_blocks[i].u);
        LoadSquare<kHalfTile>(picture, 2, (m_width + 1) / 2, (m_height + 1) / 2, column, row, m_blocks[i].v);
    }
}

void MxpegWriter::FindChanges() {
    std::fill(m_mask.begin(), m_mask.end(), std::uint8_t{0});
    const auto mark = [this](std::size_t i) {
        m_mask[i / 8] = static_cast<std::uint8_t>(m_mask[i / 8] | 0x80 >> i % 8);
    };
    for (const std::size_t i : m_all) {
        const Block& now = m_blocks[i];
        const Block& before = m_sent[i];
        if (Differ(now.y, before.y) || Differ(now.u, before.u) || Differ(now.v, before.v)) {
            mark(i);
        }
    }
    // A scan needs at least one block.
    if (std::all_of(m_mask.begin(), m_mask.end(), [](std::uint8_t bits) { return bits == 0; })) {
        mark(0);
    }
    KeepEndMarksOut();
    m_changed.clear();
    std::copy_if(m_all.begin(), m_all.end(), std::back_inserter(m_changed),
                 [this](std::size_t i) { return (m_mask[i / 8] << i % 8 & 0x80) != 0; });
}

// Receivers take the first end mark for the picture's end, wherever it stands: a block more alters the bits.
void MxpegWriter::KeepEndMarksOut() {
    for (std::size_t i = 0; i + 1 < m_mask.size(); ++i) {
        if (m_mask[i] == kMarker && m_mask[i + 1] == kEndOfImage) {
            m_mask[i + 1] = static_cast<std::uint8_t>(m_mask[i + 1] | 0x20);
        }
    }
}

// Lays the blocks side by side, in rows as wide as the picture.
bool MxpegWriter::Compress(const std::vector<std::size_t>& blocks, int width, int height) {
    const std::size_t perRow = (static_cast<std::size_t>(width) + kTile - 1) / kTile;
    const std::size_t stride = perRow * kTile;
    const std::size_t rowBytes = stride * kTile * 3 / 2;
    m_rows.resize(rowBytes * ((blocks.size() + perRow - 1) / perRow));
    for (std::size_t n = 0; n < blocks.size(); ++n) {
        const Block& block = m_blocks[blocks[n]];
        std::uint8_t* const y = m_rows.data() + n / perRow * rowBytes + n % perRow * kTile;
        std::uint8_t* const u =
            m_rows.data() + n / perRow * rowBytes + stride * kTile + n % perRow * kHalfTile;
        std::uint8_t* const v = u + stride / 2 * kHalfTile;
        for (std::size_t i = 0; i < kTile; ++i) {
            std::copy_n(block.y.begin() + i * kTile, kTile, y + i * stride);
        }
        for (std::size_t i = 0; i < kHalfTile; ++i) {
            std::copy_n(block.u.begin() + i * kHalfTile, kHalfTile, u + i * (stride / 2));
            std::copy_n(block.v.begin() + i * kHalfTile, kHalfTile, v + i * (stride / 2));
        }
    }
    return CompressBlockRows({width, height, kQuality}, m_rows.data(), stride, m_jpeg);
}

bool MxpegWriter::WriteWhole() {
    if (!Compress(m_all, m_width, m_height)) {
        return false;
    }
    m_data = m_jpeg;
    m_sent = m_blocks;
    return true;
}

bool MxpegWriter::WritePartial() {
    if (!Compress(m_changed, static_cast<int>(m_changed.size() * kTile), kTile)) {
        return false;
    }
    m_data.assign(std::begin(kBegin), std::end(kBegin));
    m_data.insert(m_data.end(), {kMarker, kComment});
    PutWord(m_data, 2 + kMaskHead + m_mask.size());
    const std::size_t rows = m_blocks.size() / m_columns;
    const auto low = [](std::size_t value) { return static_cast<std::uint8_t>(value); };
    m_data.insert(m_data.end(), {'M', 'X', 'M', 0, low(m_columns), low(m_columns >> 8), low(rows),
                                 low(rows >> 8), 0, 0, 0, 0});
    m_data.insert(m_data.end(), m_mask.begin(), m_mask.end());
    const auto scan = ScanData(m_jpeg);
    const auto scanSize = static_cast<std::size_t>(m_jpeg.end() - scan);
    constexpr std::size_t kCommentHead = 4;
    if (const std::size_t size = m_data.size() + kCommentHead + std::size(kScan) + scanSize;
        size < kShortest + kCommentHead) {
        const std::size_t filling = size < kShortest ? kShortest - size : 0;
        m_data.insert(m_data.end(), {kMarker, kComment});
        PutWord(m_data, 2 + filling);
        m_data.resize(m_data.size() + filling);
    }
    m_data.insert(m_data.end(), std::begin(kScan), std::end(kScan));
    m_data.insert(m_data.end(), scan, m_jpeg.cend());
    for (const std::size_t i : m_changed) {
        m_sent[i] = m_blocks[i];
    }
    return true;
}

}  // namespace kvrecorder
