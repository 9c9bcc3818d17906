// Decoded pictures: as the decoder gave them, or as 24-bit bitmaps.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

struct AVFrame;

namespace libyuv {
struct YuvConstants;
}

namespace kvmon {

// A rectangle of whole pixels; right and bottom stand behind the last one.
struct PixelRect {
    int left = 0;
    int top = 0;
    int right = 0;
    int bottom = 0;

    int Width() const { return right - left; }
    int Height() const { return bottom - top; }
    bool IsEmpty() const { return right <= left || bottom <= top; }
    friend bool operator==(const PixelRect&, const PixelRect&) = default;
};

// The header of a bottom-up bitmap, field for field the 40-byte BITMAPINFOHEADER of a BMP file.
struct BITMAPINFOHEADER {
    std::uint32_t biSize = 40;
    std::int32_t biWidth = 0;
    std::int32_t biHeight = 0;
    std::uint16_t biPlanes = 1;
    std::uint16_t biBitCount = 24;
    std::uint32_t biCompression = 0;
    std::uint32_t biSizeImage = 0;
    std::int32_t biXPelsPerMeter = 0;
    std::int32_t biYPelsPerMeter = 0;
    std::uint32_t biClrUsed = 0;
    std::uint32_t biClrImportant = 0;
    friend bool operator==(const BITMAPINFOHEADER&, const BITMAPINFOHEADER&) = default;
};

// Bytes in a row of a bitmap: whole multiples of four.
constexpr std::size_t BitmapStride(int width, int bitCount = 24) {
    return ((static_cast<std::size_t>(width) * static_cast<std::size_t>(bitCount) >> 3) + 3) &
           ~static_cast<std::size_t>(3);
}

// The header of a 24-bit picture of this size.
BITMAPINFOHEADER MakeBitmapInfo(int width, int height, int bitCount = 24);

enum class PixelLayout { None, I420, I422, I444, Gray, Bgr24, Bgra32 };

// A picture in somebody else's memory. A negative stride walks up: data points at the top row.
struct PictureView {
    PixelLayout layout = PixelLayout::None;
    bool fullRange = false;  // JPEG's levels 0 to 255, against 16 to 235
    bool bt709 = false;      // high-definition colours, against those of standard definition
    int width = 0;
    int height = 0;
    const std::uint8_t* data[3] = {};
    std::ptrdiff_t stride[3] = {};

    bool IsEmpty() const { return layout == PixelLayout::None; }
};

// A view of a bottom-up bitmap.
PictureView ViewOfBitmap(const BITMAPINFOHEADER& info, const std::uint8_t* bits);

// The conversion matrix that the picture's levels ask for.
const libyuv::YuvConstants* YuvMatrix(const PictureView& picture);
// Writes the picture as BGR24 rows. `stride` may be negative, `destination` then points at the last
// row in memory. False for an empty picture.
bool ConvertToBgr(const PictureView& picture, std::uint8_t* destination, std::ptrdiff_t stride);

struct PictureSize {
    int width = 0;
    int height = 0;

    bool IsEmpty() const { return width <= 0 || height <= 0; }
    friend bool operator==(const PictureSize&, const PictureSize&) = default;
};

class DecodedPicture;

// A picture in its own size that a device holds, beside the smaller one that was made of it there.
class WholePicture {
public:
    virtual ~WholePicture() = default;
    virtual PictureSize Size() const = 0;
    // Reads it into `out`. Any thread, which waits for the device. False if it cannot be had any more.
    virtual bool Read(DecodedPicture& out) = 0;
};

// A decoded picture that stays in the decoder's memory for as long as this object holds it. Moving and
// clearing allocate nothing.
class DecodedPicture {
public:
    DecodedPicture();
    DecodedPicture(DecodedPicture&&) noexcept;
    DecodedPicture& operator=(DecodedPicture&&) noexcept;
    ~DecodedPicture();

    PictureView View() const;
    bool IsEmpty() const;
    // Gives the memory back to the decoder.
    void Clear();
    // The frame that a decoder writes to; made on the first call, null if no memory.
    AVFrame* Frame();
    void Swap(DecodedPicture& other) noexcept;
    // What it was made of; null for a picture that is there in its own size.
    const std::shared_ptr<WholePicture>& Whole() const { return m_whole; }
    void SetWhole(std::shared_ptr<WholePicture> whole) { m_whole = std::move(whole); }
    // The picture's own.
    PictureSize Size() const;

private:
    AVFrame* m_frame = nullptr;
    std::shared_ptr<WholePicture> m_whole;
};

}  // namespace kvmon
