// Pooled frame buffers and the lists that hold them.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <vector>

#include "channel/frames/frame_budget.h"
#include "channel/frames/frame_head.h"
#include "codec/picture.h"

namespace kvmon {

enum class FrameType : std::uint32_t { Jpeg = 0, Bitmap = 1, Wrapped = 2 };
// Kept: for the trace, when a fault of a stream is looked for.
const char* GetFrameTypeName(FrameType type);

// Sizes above which no memory is asked for: a received frame, and the bitmap of a picture.
inline constexpr std::uint32_t kMaxFrameSize = 64u << 20;
inline constexpr std::uint32_t kMaxBitmapSize = 128u << 20;

// Bytes of one frame, in a buffer that is kept from frame to frame. Used by one thread at a time.
class CBuffer {
public:
    CBuffer() = default;
    explicit CBuffer(std::uint32_t nSize) { Reserve(nSize); }
    // Of a channel's share.
    explicit CBuffer(std::shared_ptr<FrameShare> share, std::uint32_t nSize = 0) : m_held(std::move(share)) {
        if (nSize > 0) {
            Reserve(nSize);
        }
    }
    virtual ~CBuffer() = default;
    CBuffer(const CBuffer&) = delete;
    CBuffer& operator=(const CBuffer&) = delete;

    // The capacity that a request for n bytes gets.
    static constexpr std::uint64_t RoundedCapacity(std::uint64_t n) { return (n & ~0x3FFull) + 2048; }

    // Makes sure of room for nSize bytes; a buffer too small is replaced and its content lost. False if
    // there is no memory, the share has no more, or nSize is above the limit for this kind of frame.
    bool Reserve(std::uint32_t nSize);
    // Gives the memory back.
    void Release();
    // Before the first bytes.
    void SetShare(const std::shared_ptr<FrameShare>& share) { m_held.SetShare(share); }
    std::uint8_t* Begin() { return m_storage.get(); }
    const std::uint8_t* Begin() const { return m_storage.get(); }
    std::span<const std::uint8_t> Bytes() const { return {m_storage.get(), m_nLength}; }
    // Cut to the capacity. Behind the length stand kInputPadding zero bytes, for decoders that read
    // ahead.
    void SetLength(std::uint32_t n);
    std::uint32_t GetLength() const { return m_nLength; }
    std::uint32_t GetCapacity() const { return m_nCapacity; }
    // The capacity when empty, else what is left behind the length.
    std::uint32_t GetFreeSize() const { return m_nCapacity - m_nLength; }
    // Opens and ends like a whole JPEG file.
    bool IsJpeg() const;

    // The bytes from nOffset on. The file appears under its name only when it is whole.
    bool SaveToFile(const std::string& path, std::uint32_t nOffset = 0) const;
    // False, and the content as it was, if the file cannot be read or is too large.
    bool LoadFromFile(const std::string& path);

    FrameType m_nType = FrameType::Jpeg;
    std::uint32_t dwIdx = 0;
    std::uint64_t m_receivedMs = 0;  // by the channel's clock; 0: not known
    std::uint64_t m_capturedMs = 0;  // as its record's head has it; 0: not known
    bool m_bUnseen = false;          // it came while nobody saw the channel
    KELVARA_FRAME_HDR m_head;        // of a wrapped frame; else of no code

protected:
    HeldBytes m_held;
    std::unique_ptr<std::uint8_t[]> m_storage;
    std::uint32_t m_nLength = 0;
    std::uint32_t m_nCapacity = 0;
    std::uint32_t m_nLimit = kMaxFrameSize;
};

// A decoded picture. It is a bottom-up bitmap to whoever asks for the bytes; until then it may stay in
// the decoder's own planes, and a bitmap that nobody asks for is never made. Used by one thread at a
// time.
class CVideoBmpFrame final : public CBuffer {
public:
    explicit CVideoBmpFrame(const std::shared_ptr<FrameShare>& share = {})
        : CBuffer(share), m_heldPlanes(share) {
        m_nType = FrameType::Bitmap;
        m_nLimit = kMaxBitmapSize;
    }

    // Takes the decoder's picture and gives what was held before back to it.
    void SetPicture(const BITMAPINFOHEADER& info, DecodedPicture&& picture);
    // A bitmap woven of a picture that holds the two fields one above the other: the upper one's rows go
    // to the first, third, fifth row and so on. False if there is no memory.
    bool SetWoven(const BITMAPINFOHEADER& info, const PictureView& stacked);
    // A bitmap of top-down BGR rows of `rowBytes`. False if there is no memory or the rows are too short.
    bool SetFlipped(const BITMAPINFOHEADER& info, std::span<const std::uint8_t> rows, std::size_t rowBytes);
    // The bytes in the buffer are the bitmap. False if the buffer is smaller than the header tells.
    bool SetBitmap(const BITMAPINFOHEADER& info);
    // The planes of a JPEG picture, kept in PlaneStorage().
    void SetPlanes(const BITMAPINFOHEADER& info, const PictureView& planes);
    std::vector<std::uint8_t>& PlaneStorage() { return m_planeStorage; }
    // Takes so many bytes of the share for PlaneStorage(), or what it has by now if that is more. False if
    // the share has no more.
    bool ReservePlanes(std::uint64_t nSize);
    const std::shared_ptr<FrameShare>& Share() const { return m_held.Share(); }
    // Of all its buffers, as far as the share counts them.
    std::uint64_t HeldSize() const { return m_held.Get() + m_heldPlanes.Get(); }

    const BITMAPINFOHEADER& Info() const { return m_info; }
    // The picture in whatever form it is at hand, for scaling: also in a smaller size than Info() tells.
    PictureView View() const;
    // Where the picture itself is then; null otherwise.
    const std::shared_ptr<WholePicture>& Whole() const { return m_picture.Whole(); }
    // The smaller one is all that there is from now on.
    void DropWhole() { m_picture.SetWhole(nullptr); }
    // The bottom-up bitmap, made now if need be. Empty if there is no memory for it, or the picture itself is
    // not at hand.
    std::span<const std::uint8_t> Bitmap();
    // Drops the picture and gives the decoder's memory back; the buffers are kept.
    void Clear();

private:
    bool ReserveBitmap(const BITMAPINFOHEADER& info);

    BITMAPINFOHEADER m_info;
    DecodedPicture m_picture;
    PictureView m_planes;
    HeldBytes m_heldPlanes;
    std::vector<std::uint8_t> m_planeStorage;
    bool m_bBitmapMade = false;
};

// A first-in, first-out list of frames with its own lock. Any thread. Its memory grows to the largest
// count so far; from there on nothing is allocated.
template <typename Frame>
class CFrameList {
public:
    std::size_t GetCount() const {
        const std::lock_guard lock(m_cs);
        return m_nCount;
    }
    // The new count.
    std::size_t AddTail(std::unique_ptr<Frame> frame) {
        const std::lock_guard lock(m_cs);
        GrowWhenFull();
        m_ring[(m_nHead + m_nCount) % m_ring.size()] = std::move(frame);
        return ++m_nCount;
    }
    // For a frame that was taken and not used.
    void AddHead(std::unique_ptr<Frame> frame) {
        const std::lock_guard lock(m_cs);
        GrowWhenFull();
        m_nHead = (m_nHead + m_ring.size() - 1) % m_ring.size();
        m_ring[m_nHead] = std::move(frame);
        ++m_nCount;
    }
    // Null when empty.
    std::unique_ptr<Frame> RemoveHead() {
        const std::lock_guard lock(m_cs);
        if (m_nCount == 0) {
            return nullptr;
        }
        std::unique_ptr<Frame> frame = std::move(m_ring[m_nHead]);
        m_nHead = (m_nHead + 1) % m_ring.size();
        --m_nCount;
        return frame;
    }

private:
    void GrowWhenFull() {
        if (m_nCount < m_ring.size()) {
            return;
        }
        std::vector<std::unique_ptr<Frame>> larger(m_ring.empty() ? kFirstSize : 2 * m_ring.size());
        for (std::size_t i = 0; i < m_nCount; ++i) {
            larger[i] = std::move(m_ring[(m_nHead + i) % m_ring.size()]);
        }
        m_ring = std::move(larger);
        m_nHead = 0;
    }

    static constexpr std::size_t kFirstSize = 16;

    mutable std::mutex m_cs;
    std::vector<std::unique_ptr<Frame>> m_ring;
    std::size_t m_nHead = 0;
    std::size_t m_nCount = 0;
};

}  // namespace kvmon
