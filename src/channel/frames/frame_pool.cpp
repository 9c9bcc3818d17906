#include "channel/frames/frame_pool.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <new>

#include "codec/video_decoder.h"
#include "platform/whole_file.h"

namespace kvmon {

namespace {

// The bytes behind a row's last pixel may end up in a file, so they must not be somebody's old memory.
void ClearRowEnds(const BITMAPINFOHEADER& info, std::uint8_t* bits) {
    const std::size_t stride = BitmapStride(info.biWidth);
    const auto used = static_cast<std::size_t>(info.biWidth) * 3;
    for (std::int32_t y = 0; used < stride && y < info.biHeight; ++y) {
        std::memset(bits + stride * static_cast<std::size_t>(y) + used, 0, stride - used);
    }
}

// The rows from `first` on of a picture. The colour rows of the layouts that share one between two rows
// are found by the row's number in the whole picture.
PictureView RowsOf(const PictureView& picture, int first, int count) {
    PictureView part = picture;
    part.height = count;
    for (int plane = 0; plane < 3; ++plane) {
        if (part.data[plane] != nullptr) {
            const bool shared = plane > 0 && picture.layout == PixelLayout::I420;
            part.data[plane] += picture.stride[plane] * (shared ? first / 2 : first);
        }
    }
    return part;
}

void ConvertRows(const PictureView& picture, int first, int count, std::uint8_t* to, std::ptrdiff_t stride) {
    if (first % 2 != 0) {
        // An odd first row is the second of its pair.
        ConvertToBgr(RowsOf(picture, first, 1), to, stride);
        ++first;
        --count;
        to += stride;
    }
    if (count > 0) {
        ConvertToBgr(RowsOf(picture, first, count), to, stride);
    }
}

}  // namespace

const char* GetFrameTypeName(FrameType type) {
    switch (type) {
        case FrameType::Jpeg:
            return "JPEG";
        case FrameType::Bitmap:
            return "BMP";
        case FrameType::Wrapped:
            return "WRAPPED";
    }
    return "";
}

bool CBuffer::Reserve(std::uint32_t nSize) {
    if (nSize > m_nLimit) {
        return false;
    }
    if (m_storage && nSize <= m_nCapacity) {
        return true;
    }
    Release();
    const std::uint64_t capacity = RoundedCapacity(nSize);
    if (!m_held.Change(capacity + kInputPadding)) {
        return false;
    }
    m_storage.reset(new (std::nothrow) std::uint8_t[capacity + kInputPadding]);
    if (!m_storage) {
        m_held.Change(0);
        return false;
    }
    m_nCapacity = static_cast<std::uint32_t>(capacity);
    SetLength(0);
    return true;
}

void CBuffer::Release() {
    m_storage.reset();
    m_nLength = 0;
    m_nCapacity = 0;
    m_held.Change(0);
}

void CBuffer::SetLength(std::uint32_t n) {
    m_nLength = std::min(n, m_nCapacity);
    if (m_storage) {
        std::memset(m_storage.get() + m_nLength, 0, kInputPadding);
    }
}

bool CBuffer::IsJpeg() const {
    if (m_nLength < 5) {
        return false;
    }
    const std::uint8_t* const bytes = m_storage.get();
    return bytes[0] == 0xFF && bytes[1] == 0xD8 && bytes[m_nLength - 2] == 0xFF &&
           bytes[m_nLength - 1] == 0xD9;
}

bool CBuffer::SaveToFile(const std::string& path, std::uint32_t nOffset) const {
    return nOffset <= m_nLength && SaveWholeFile(path, Bytes().subspan(nOffset));
}

bool CBuffer::LoadFromFile(const std::string& path) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rbe"), std::fclose);
    if (!file || std::fseek(file.get(), 0, SEEK_END) != 0) {
        return false;
    }
    const long size = std::ftell(file.get());
    if (size < 0 || static_cast<unsigned long>(size) > m_nLimit) {
        return false;
    }
    const auto length = static_cast<std::uint32_t>(size);
    std::rewind(file.get());
    if (!Reserve(length) || std::fread(m_storage.get(), 1, length, file.get()) != length) {
        SetLength(0);
        return false;
    }
    SetLength(length);
    return true;
}

bool CVideoBmpFrame::ReserveBitmap(const BITMAPINFOHEADER& info) {
    return info.biSizeImage > 0 && Reserve(info.biSizeImage);
}

void CVideoBmpFrame::SetPicture(const BITMAPINFOHEADER& info, DecodedPicture&& picture) {
    Clear();
    m_info = info;
    m_picture.Swap(picture);
}

bool CVideoBmpFrame::SetWoven(const BITMAPINFOHEADER& info, const PictureView& stacked) {
    Clear();
    if (stacked.IsEmpty() || stacked.width != info.biWidth || stacked.height != info.biHeight ||
        info.biHeight < 2 || !ReserveBitmap(info)) {
        return false;
    }
    std::uint8_t* const bits = m_storage.get();
    const auto stride = static_cast<std::ptrdiff_t>(BitmapStride(info.biWidth));
    const int half = info.biHeight / 2;
    // Rows of the memory, which begins with the lowest row of the picture.
    const auto row = [&](int y) { return bits + stride * y; };
    ConvertRows(stacked, 0, half, row(2 * half - 1), -2 * stride);
    ConvertRows(stacked, info.biHeight - half, half, row(2 * half - 2), -2 * stride);
    if (info.biHeight % 2 != 0) {
        // No field holds the uppermost row of an odd height.
        std::memcpy(row(info.biHeight - 1), row(info.biHeight - 2), static_cast<std::size_t>(stride));
    }
    ClearRowEnds(info, bits);
    return SetBitmap(info);
}

bool CVideoBmpFrame::SetFlipped(const BITMAPINFOHEADER& info, std::span<const std::uint8_t> rows,
                                std::size_t rowBytes) {
    Clear();
    const std::size_t stride = BitmapStride(info.biWidth);
    const auto width = static_cast<std::size_t>(info.biWidth) * 3;
    const auto height = static_cast<std::size_t>(info.biHeight);
    if (rowBytes < width || rows.size() < rowBytes * height || !ReserveBitmap(info)) {
        return false;
    }
    for (std::size_t y = 0; y < height; ++y) {
        std::memcpy(m_storage.get() + stride * (height - 1 - y), rows.data() + rowBytes * y, width);
    }
    ClearRowEnds(info, m_storage.get());
    return SetBitmap(info);
}

bool CVideoBmpFrame::SetBitmap(const BITMAPINFOHEADER& info) {
    m_picture.Clear();
    m_planes = {};
    m_info = info;
    m_bBitmapMade = m_storage && info.biSizeImage > 0 && info.biSizeImage <= m_nCapacity;
    SetLength(m_bBitmapMade ? info.biSizeImage : 0);
    return m_bBitmapMade;
}

bool CVideoBmpFrame::ReservePlanes(std::uint64_t nSize) {
    return m_heldPlanes.Change(std::max<std::uint64_t>(nSize, m_planeStorage.capacity()));
}

void CVideoBmpFrame::SetPlanes(const BITMAPINFOHEADER& info, const PictureView& planes) {
    Clear();
    m_info = info;
    m_planes = planes;
}

PictureView CVideoBmpFrame::View() const {
    // Planes come first: they are the better source for the cell, and smaller.
    if (!m_planes.IsEmpty()) {
        return m_planes;
    }
    if (!m_picture.IsEmpty()) {
        return m_picture.View();
    }
    return m_bBitmapMade ? ViewOfBitmap(m_info, m_storage.get()) : PictureView{};
}

std::span<const std::uint8_t> CVideoBmpFrame::Bitmap() {
    if (!m_bBitmapMade) {
        const PictureView view = View();
        // Only what the header describes may be written.
        if (view.IsEmpty() || view.width != m_info.biWidth || view.height != m_info.biHeight ||
            m_info.biBitCount != 24 || !ReserveBitmap(m_info)) {
            return {};
        }
        const auto stride = static_cast<std::ptrdiff_t>(BitmapStride(m_info.biWidth));
        ConvertToBgr(view, m_storage.get() + stride * (view.height - 1), -stride);
        ClearRowEnds(m_info, m_storage.get());
        SetLength(m_info.biSizeImage);
        m_bBitmapMade = true;
    }
    return Bytes();
}

void CVideoBmpFrame::Clear() {
    m_picture.Clear();
    m_planes = {};
    m_bBitmapMade = false;
    SetLength(0);
}

}  // namespace kvmon
