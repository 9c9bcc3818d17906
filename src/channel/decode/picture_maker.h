// One interface for the decoders of coded frames. Inside this folder and its tests only.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "channel/base/channel_factories.h"
#include "channel/frames/frame_head.h"
#include "channel/frames/frame_pool.h"
#include "codec/picture.h"
#include "codec/video_decoder.h"

namespace kvmon {

// Makes pictures of the payloads of one family of codes. Decode thread.
class PictureMaker {
public:
    virtual ~PictureMaker() = default;

    // A size that the payload tells counts before the head's.
    virtual void CorrectSize(KELVARA_FRAME_HDR& /*hdr*/, std::span<const std::uint8_t> /*payload*/) const {}
    // A key frame's head, before its payload. Opens the decoder anew if it is closed or stands open with
    // another size, code or number of threads.
    void OnKeyFrame(const KELVARA_FRAME_HDR& hdr, int nThreads);
    bool IsOpen() const { return m_bOpen; }
    void Close();
    // The header of the coming pictures, once when it may have changed.
    std::optional<BITMAPINFOHEADER> TakeBitmapInfo();
    // Bytes that the bitmap of a picture needs.
    std::uint64_t GetBitmapSize() const { return m_bmpInfo.biSizeImage + kSpareBytes; }
    // Pictures that no other refers to need not be made, from the next one on: their status is
    // kDecodeNeedMoreData.
    virtual void SetLeavesOut(bool /*bLeavesOut*/) {}
    // In which size pictures are shown, for a decoder that can make them smaller at no cost.
    virtual void SetShownSize(const ShownSize& /*shown*/) {}
    // Decodes into the picture. A status other than 0 leaves the picture unused and the decoder open.
    virtual int Decode(std::span<const std::uint8_t> payload, CVideoBmpFrame& picture) = 0;
    // The last key frame's format has no decoder on this computer.
    virtual bool NeedsLibrary() const { return false; }

protected:
    static constexpr std::uint32_t kSpareBytes = 128;

    const KELVARA_FRAME_HDR& Head() const { return m_head; }
    int GetThreads() const { return m_nThreads; }
    const BITMAPINFOHEADER& BitmapInfo() const { return m_bmpInfo; }
    void SetBitmapInfo(const BITMAPINFOHEADER& bmpInfo);
    // A size to reserve memory for, until a picture tells its own by SetBitmapInfo.
    void ExpectBitmapInfo(const BITMAPINFOHEADER& bmpInfo);
    // The pictures tell their size themselves, so that a head without one will do.
    virtual bool TakesUnknownSize() const { return false; }
    // Called with a size within the bounds. False if the decoder cannot be opened.
    virtual bool Open() = 0;
    virtual void CloseDecoder() = 0;

private:
    KELVARA_FRAME_HDR m_head;
    int m_nThreads = 1;
    bool m_bOpen = false;
    BITMAPINFOHEADER m_bmpInfo;
    bool m_bInfoDue = false;
    bool m_bInfoExpected = false;
};

// `giveUp` ends waits within a decoder; what a maker holds between its pictures is of the share.
using PictureMakerFactory = std::unique_ptr<PictureMaker> (*)(const ChannelFactories&, const GiveUp& giveUp,
                                                              const std::shared_ptr<FrameShare>& share);

// H.264, and MPEG-4 with both its codes.
std::unique_ptr<PictureMaker> MakeVideoMaker(const ChannelFactories& factories, const GiveUp& giveUp,
                                             const std::shared_ptr<FrameShare>& share);
std::unique_ptr<PictureMaker> MakeMxpegMaker(const ChannelFactories& factories, const GiveUp& giveUp,
                                             const std::shared_ptr<FrameShare>& share);
std::unique_ptr<PictureMaker> MakeVivotekMaker(const ChannelFactories& factories, const GiveUp& giveUp,
                                               const std::shared_ptr<FrameShare>& share);

}  // namespace kvmon
