// Parts of a picture as a page can decode them.
#pragma once

#include <QtCore/QRect>
#include <QtGui/QImage>
#include <cstdint>
#include <memory>
#include <vector>

namespace kvmon {

enum class TileCodec : std::uint8_t { Jpeg = 1, Png = 2 };

// One thread. Keeps its work space from one tile to the next.
class TileEncoder {
public:
    TileEncoder();
    ~TileEncoder();

    // Appends the tile's bytes. The picture is of 32 bits a pixel, the rectangle inside of it and not empty.
    // False, with nothing appended, if the encoder failed.
    bool AppendJpeg(const QImage& picture, const QRect& rect, int quality, std::vector<std::uint8_t>& out);
    static bool AppendPng(const QImage& picture, const QRect& rect, std::vector<std::uint8_t>& out);

private:
    struct Compressor;
    std::unique_ptr<Compressor> m_compressor;
};

}  // namespace kvmon
