// Pooled frame buffers and the lists that hold them.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <span>
#include <string>

#include "codec/picture.h"

namespace kvmon {

enum class FrameType : std::uint32_t { Jpeg = 0, Bitmap = 1, Wrapped = 2 };
const char* GetFrameTypeName(FrameType type);

// A size that no frame may ask memory for: a request above gives no buffer.
inline constexpr std::uint32_t kMaxFrameSize = 64u << 20;

// Bytes of one frame, in a buffer that is kept from frame to frame.
class CBuffer {
public:
    CBuffer() = default;
    explicit CBuffer(std::uint32_t nSize) { Reserve(nSize); }
    virtual ~CBuffer() = default;
    CBuffer(const CBuffer&) = delete;
    CBuffer& operator=(const CBuffer&) = delete;

    // The capacity that a request for n bytes gets.
    static constexpr std::uint64_t RoundedCapacity(std::uint64_t n) { return (n & ~0x3FFull) + 2048; }

    // Makes sure of room for nSize bytes; a buffer too small is replaced and its content lost. False if
    // there is no memory or nSize is above kMaxFrameSize.
    bool Reserve(std::uint32_t nSize);
    std::uint8_t* Begin();
    const std::uint8_t* Begin() const { return m_storage.get(); }
    std::span<const std::uint8_t> Bytes() const { return {m_storage.get(), m_nLength}; }
    void SetLength(std::uint32_t n);
    std::uint32_t GetLength() const { return m_nLength; }
    std::uint32_t GetCapacity() const { return m_nCapacity; }
    // The capacity when empty, else what is left behind the length.
    std::uint32_t GetFreeSize() const;
    bool IsJpeg() const;

    bool SaveToFile(const std::string& path, std::uint32_t nOffset = 0) const;
    bool LoadFromFile(const std::string& path);

    FrameType m_nType = FrameType::Jpeg;
    std::uint32_t dwIdx = 0;

protected:
    std::unique_ptr<std::uint8_t[]> m_storage;
    std::uint32_t m_nLength = 0;
    std::uint32_t m_nCapacity = 0;
};

// A decoded picture. It is a bottom-up bitmap to whoever asks for the bytes; until then it may stay in
// the decoder's own planes, and a bitmap that nobody asks for is never made.
class CVideoBmpFrame final : public CBuffer {
public:
    CVideoBmpFrame() { m_nType = FrameType::Bitmap; }

    // Takes the decoder's picture; the bitmap's length becomes that of `info` plus `nSpare`.
    void SetPicture(const BITMAPINFOHEADER& info, DecodedPicture&& picture);
    // The bytes in the buffer are the bitmap.
    void SetBitmap(const BITMAPINFOHEADER& info);
    // The planes of a JPEG picture, kept in PlaneStorage().
    void SetPlanes(const BITMAPINFOHEADER& info, const PictureView& planes);
    std::vector<std::uint8_t>& PlaneStorage() { return m_planeStorage; }

    const BITMAPINFOHEADER& Info() const { return m_info; }
    // The picture in whatever form it is at hand, for scaling.
    PictureView View() const;
    // The bottom-up bitmap, made now if need be. Empty if there is no memory for it.
    std::span<const std::uint8_t> Bitmap();
    // Drops the picture and gives the decoder's memory back; the buffer is kept.
    void Clear();

private:
    BITMAPINFOHEADER m_info;
    DecodedPicture m_picture;
    PictureView m_planes;
    std::vector<std::uint8_t> m_planeStorage;
    bool m_bBitmapMade = false;
};

// A first-in, first-out list of frames with its own lock.
template <typename Frame>
class CFrameList {
public:
    std::size_t GetCount() const {
        const std::lock_guard lock(m_cs);
        return m_frames.size();
    }
    void AddTail(std::unique_ptr<Frame> frame) {
        const std::lock_guard lock(m_cs);
        m_frames.push_back(std::move(frame));
    }
    // Null when empty.
    std::unique_ptr<Frame> RemoveHead() {
        const std::lock_guard lock(m_cs);
        if (m_frames.empty()) {
            return nullptr;
        }
        std::unique_ptr<Frame> frame = std::move(m_frames.front());
        m_frames.pop_front();
        return frame;
    }

private:
    mutable std::mutex m_cs;
    std::deque<std::unique_ptr<Frame>> m_frames;
};

}  // namespace kvmon
