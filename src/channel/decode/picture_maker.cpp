#include "channel/decode/picture_maker.h"

#include <algorithm>
#include <cstring>

#include "codec/jpeg_codec.h"
#include "codec/video_decoder.h"

namespace kvmon {

namespace {

constexpr std::uint32_t kMaxSide = 16384;
constexpr int kFailed = -1;

class VideoMaker final : public PictureMaker {
public:
    explicit VideoMaker(std::unique_ptr<VideoDecoder> decoder) : m_decoder(std::move(decoder)) {}

    int Decode(std::span<const std::uint8_t> payload, CVideoBmpFrame& picture) override {
        const int status = m_decoder->GetFrame(payload, m_decoded);
        if (status != kDecodeOk) {
            return status;
        }
        // A head's size may be that of whole blocks, or of the encoder's input: the picture's own counts.
        const PictureSize size = m_decoded.Size();
        SetBitmapInfo(MakeBitmapInfo(size.width, size.height));
        if (Head().dwFourccCode != wire::kAVM4) {
            picture.SetPicture(BitmapInfo(), std::move(m_decoded));
            return kDecodeOk;
        }
        const bool woven = picture.SetWoven(BitmapInfo(), m_decoded.View());
        m_decoded.Clear();
        return woven ? kDecodeOk : kDecodeNoMemory;
    }

    void SetLeavesOut(bool bLeavesOut) override { m_decoder->SetLeavesOut(bLeavesOut); }
    void SetShownSize(const ShownSize& shown) override { m_decoder->SetShownSize(shown); }

protected:
    bool TakesUnknownSize() const override { return true; }
    bool Open() override {
        VideoDecoderParams params;
        params.streamType = Head().dwFourccCode == wire::kZ264   ? kStreamTypeH264
                            : Head().dwFourccCode == wire::kZ265 ? kStreamTypeH265
                                                                 : kStreamTypeMpeg4;
        if (Head().dwWidth > 0 && Head().dwHeight > 0) {
            params.width = static_cast<int>(Head().dwWidth);
            params.height = static_cast<int>(Head().dwHeight);
        }
        ExpectBitmapInfo(MakeBitmapInfo(params.width, params.height));
        params.threads = GetThreads();
        return m_decoder->Init(params) == 0;
    }
    void CloseDecoder() override {
        m_decoded.Clear();
        m_decoder->Close();
    }

private:
    const std::unique_ptr<VideoDecoder> m_decoder;
    DecodedPicture m_decoded;
};

class MxpegMaker final : public PictureMaker {
public:
    MxpegMaker(MxpegDecoderFactory factory, const std::shared_ptr<FrameShare>& share)
        : m_decoder(factory != nullptr ? factory() : std::unique_ptr<CTRMxPEGDecoder>()), m_heldRows(share) {}

    void CorrectSize(KELVARA_FRAME_HDR& hdr, std::span<const std::uint8_t> payload) const override {
        int width = 0;
        int height = 0;
        std::uint32_t size = 0;
        if (GetJpegInfo(payload, &width, &height, &size)) {
            hdr.dwWidth = static_cast<std::uint32_t>(width);
            hdr.dwHeight = static_cast<std::uint32_t>(height);
        }
    }
    int Decode(std::span<const std::uint8_t> payload, CVideoBmpFrame& picture) override {
        const std::size_t rowBytes = static_cast<std::size_t>(BitmapInfo().biWidth) * 3;
        if (!m_decoder->DecodeFrame(payload, m_rows, rowBytes)) {
            return kFailed;
        }
        return picture.SetFlipped(BitmapInfo(), m_rows, rowBytes) ? 0 : kFailed;
    }

protected:
    bool Open() override {
        SetBitmapInfo(MakeBitmapInfo(static_cast<int>(Head().dwWidth), static_cast<int>(Head().dwHeight)));
        const std::size_t size = std::size_t{BitmapInfo().biSizeImage} + kSpareBytes;
        if (!m_heldRows.Change(std::max(size, m_rows.capacity()))) {
            return false;
        }
        m_rows.resize(size);
        return m_decoder && m_decoder->Open(BitmapInfo().biWidth, BitmapInfo().biHeight);
    }
    void CloseDecoder() override { m_decoder->Close(); }

private:
    const std::unique_ptr<CTRMxPEGDecoder> m_decoder;
    HeldBytes m_heldRows;
    std::vector<std::uint8_t> m_rows;
};

// Its output is the image of a bitmap file.
class VivotekMaker final : public PictureMaker {
public:
    VivotekMaker(VivotekDecoderFactory factory, const GiveUp& giveUp,
                 const std::shared_ptr<FrameShare>& share)
        : m_decoder(factory != nullptr ? factory(giveUp) : std::unique_ptr<VivotekDecoder>()),
          m_work(share) {}

    int Decode(std::span<const std::uint8_t> payload, CVideoBmpFrame& picture) override {
        if (!m_work.Reserve(static_cast<std::uint32_t>(
                std::min<std::size_t>(m_decoder->GetOutputSize(), std::size_t{kMaxFrameSize} + 1)))) {
            Close();
            return kFailed;
        }
        const auto length = m_decoder->VideoDecode(payload, {m_work.Begin(), m_work.GetCapacity()});
        const auto info = length ? ReadInfo(*length) : std::nullopt;
        if (!info || !picture.Reserve(info->biSizeImage)) {
            return kFailed;
        }
        SetBitmapInfo(*info);
        std::memcpy(picture.Begin(), m_work.Begin() + kPixels, info->biSizeImage);
        return picture.SetBitmap(*info) ? 0 : kFailed;
    }
    bool NeedsLibrary() const override { return !m_decoder || !m_decoder->Supports(Head().dwFourccCode); }

protected:
    bool TakesUnknownSize() const override { return true; }
    bool Open() override {
        const bool bOpen = m_decoder && m_work.Reserve(kFirstWorkSize) &&
                           m_decoder->VideoInit(Head().dwFourccCode, static_cast<int>(Head().dwWidth),
                                                static_cast<int>(Head().dwHeight), kBits, false);
        if (m_decoder && !bOpen) {
            m_decoder->Close();
        }
        return bOpen;
    }
    void CloseDecoder() override { m_decoder->Close(); }

private:
    static constexpr int kBits = 32;
    static constexpr std::uint32_t kFirstWorkSize = 0x400000;
    static constexpr std::size_t kHeader = 14;
    static constexpr std::size_t kPixels = 54;

    // The header of the picture in the work buffer, if the pixels that it tells of are there.
    std::optional<BITMAPINFOHEADER> ReadInfo(std::size_t length) {
        if (length < kPixels || length > m_work.GetCapacity()) {
            return std::nullopt;
        }
        const std::uint8_t* const bytes = m_work.Begin() + kHeader;
        const auto word = [&](std::size_t i) {
            return std::uint32_t{bytes[i]} | std::uint32_t{bytes[i + 1]} << 8 |
                   std::uint32_t{bytes[i + 2]} << 16 | std::uint32_t{bytes[i + 3]} << 24;
        };
        const std::uint32_t width = word(4);
        const std::uint32_t height = word(8);
        const std::uint32_t bits = word(12) >> 16;
        if (width == 0 || height == 0 || width > kMaxSide || height > kMaxSide ||
            (bits != 24 && bits != 32)) {
            return std::nullopt;
        }
        const auto info =
            MakeBitmapInfo(static_cast<int>(width), static_cast<int>(height), static_cast<int>(bits));
        return info.biSizeImage <= length - kPixels ? std::optional(info) : std::nullopt;
    }

    const std::unique_ptr<VivotekDecoder> m_decoder;
    CBuffer m_work;
};

}  // namespace

void PictureMaker::OnKeyFrame(const KELVARA_FRAME_HDR& hdr, int nThreads) {
    if (m_bOpen && hdr.dwWidth == m_head.dwWidth && hdr.dwHeight == m_head.dwHeight &&
        hdr.dwFourccCode == m_head.dwFourccCode && nThreads == m_nThreads) {
        return;
    }
    Close();
    m_head = hdr;
    m_nThreads = nThreads;
    m_bOpen = ((hdr.dwWidth > 0 && hdr.dwHeight > 0) || TakesUnknownSize()) && hdr.dwWidth <= kMaxSide &&
              hdr.dwHeight <= kMaxSide &&
              BitmapStride(static_cast<int>(hdr.dwWidth)) * hdr.dwHeight <= kMaxBitmapSize && Open();
}

void PictureMaker::Close() {
    if (m_bOpen) {
        CloseDecoder();
        m_bOpen = false;
    }
}

std::optional<BITMAPINFOHEADER> PictureMaker::TakeBitmapInfo() {
    if (!m_bInfoDue) {
        return std::nullopt;
    }
    m_bInfoDue = false;
    return m_bmpInfo;
}

void PictureMaker::SetBitmapInfo(const BITMAPINFOHEADER& bmpInfo) {
    m_bInfoDue = m_bInfoDue || m_bInfoExpected || bmpInfo != m_bmpInfo;
    m_bInfoExpected = false;
    m_bmpInfo = bmpInfo;
}

void PictureMaker::ExpectBitmapInfo(const BITMAPINFOHEADER& bmpInfo) {
    m_bmpInfo = bmpInfo;
    m_bInfoExpected = true;
}

std::unique_ptr<PictureMaker> MakeVideoMaker(const ChannelFactories& factories, const GiveUp& /*giveUp*/,
                                             const std::shared_ptr<FrameShare>& /*share*/) {
    return std::make_unique<VideoMaker>(factories.videoDecoder());
}

std::unique_ptr<PictureMaker> MakeMxpegMaker(const ChannelFactories& factories, const GiveUp& /*giveUp*/,
                                             const std::shared_ptr<FrameShare>& share) {
    return std::make_unique<MxpegMaker>(factories.mxpegDecoder, share);
}

std::unique_ptr<PictureMaker> MakeVivotekMaker(const ChannelFactories& factories, const GiveUp& giveUp,
                                               const std::shared_ptr<FrameShare>& share) {
    return std::make_unique<VivotekMaker>(factories.vivotekDecoder, giveUp, share);
}

}  // namespace kvmon
