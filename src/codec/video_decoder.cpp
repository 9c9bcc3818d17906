#include "codec/video_decoder.h"

#include <mutex>

#include "codec/av_owner.h"
#include "codec/deep_picture.h"
#include "platform/diagnostics.h"

namespace kvmon {

namespace {

// The largest picture whose bitmap a frame may hold.
constexpr std::int64_t kMaxPixels = 22'000'000;

// The library's own lines say nothing that the status does not, and go to standard error.
void SilenceLibrary() {
    static std::once_flag once;
    std::call_once(once, [] { av_log_set_level(AV_LOG_QUIET); });
}

AVCodecID CodecOf(int streamType) {
    switch (streamType) {
        case kStreamTypeH264:
            return AV_CODEC_ID_H264;
        case kStreamTypeMpeg4:
            return AV_CODEC_ID_MPEG4;
        case kStreamTypeH265:
            return AV_CODEC_ID_HEVC;
        case kStreamTypeMxpeg:
            return AV_CODEC_ID_MXPEG;
        default:
            return AV_CODEC_ID_NONE;
    }
}

class AvVideoDecoder final : public VideoDecoder {
public:
    int Init(const VideoDecoderParams& params) override {
        Close();
        SilenceLibrary();
        const AVCodec* const codec = avcodec_find_decoder(CodecOf(params.streamType));
        const bool bAnySize = params.width == 0 && params.height == 0;
        if (codec == nullptr || (!bAnySize && (params.width <= 0 || params.height <= 0)) ||
            std::int64_t{params.width} * params.height > kMaxPixels) {
            return kDecodeBadData;
        }
        AvOwner<AVCodecContext> context(avcodec_alloc_context3(codec));
        if (m_packet == nullptr) {
            m_packet.reset(av_packet_alloc());
        }
        if (!context || !m_packet) {
            return kDecodeNoMemory;
        }
        context->width = params.width;
        context->height = params.height;
        context->max_pixels = kMaxPixels;
        // One unit in, one picture out. H.264 that is coded out of order is put in order all the same; of
        // MPEG-4 the flag would show pictures as they come.
        if (params.streamType != kStreamTypeMpeg4) {
            context->flags |= AV_CODEC_FLAG_LOW_DELAY;
        }
        // Threads share a picture where they would else work on several.
        context->flags2 |= AV_CODEC_FLAG2_SHOW_ALL;
        context->thread_count = params.threads > 1 ? params.threads : 1;
        context->thread_type = FF_THREAD_SLICE;
        context->err_recognition = 0;
        if (avcodec_open2(context.get(), codec, nullptr) < 0) {
            return kDecodeBadData;
        }
        m_context = std::move(context);
        SetLeavesOut(m_bLeavesOut);
        return kDecodeOk;
    }

    int GetFrame(std::span<const std::uint8_t> input, DecodedPicture& output) override {
        output.Clear();
        if (!m_context) {
            return kDecodeNotOpen;
        }
        AVFrame* const frame = output.Frame();
        if (frame == nullptr || m_spare.Frame() == nullptr) {
            return kDecodeNoMemory;
        }
        if (input.empty() || input.size() > std::size_t{INT32_MAX} - kInputPadding) {
            return kDecodeBadData;
        }
        // The packet borrows the bytes: the decoder only reads them.
        m_packet->data = const_cast<std::uint8_t*>(input.data());
        m_packet->size = static_cast<int>(input.size());
        const int sent = avcodec_send_packet(m_context.get(), m_packet.get());
        m_packet->data = nullptr;
        m_packet->size = 0;
        const int status = TakeNewest(frame);
        if (status == kDecodeNeedMoreData && sent < 0) {
            return kDecodeBadData;
        }
        if (status != kDecodeOk) {
            output.Clear();
            return status;
        }
        if (!MakeEightBit(*frame)) {
            output.Clear();
            return kDecodeNoMemory;
        }
        return CheckPicture(output);
    }

    void SetLeavesOut(bool bLeavesOut) override {
        m_bLeavesOut = bLeavesOut;
        if (m_context) {
            m_context->skip_frame = bLeavesOut ? AVDISCARD_NONREF : AVDISCARD_DEFAULT;
        }
    }
    void Close() override { m_context.reset(); }

private:
    // A unit may carry several pictures; the last one is the newest.
    int TakeNewest(AVFrame* frame) {
        int status = kDecodeNeedMoreData;
        for (;;) {
            const int received = avcodec_receive_frame(m_context.get(), m_spare.Frame());
            if (received < 0) {
                return received == AVERROR(EAGAIN) || received == AVERROR_EOF || status == kDecodeOk
                           ? status
                           : static_cast<int>(kDecodeBadData);
            }
            av_frame_unref(frame);
            av_frame_move_ref(frame, m_spare.Frame());
            status = kDecodeOk;
        }
    }

    static int CheckPicture(DecodedPicture& output) {
        if (!output.View().IsEmpty()) {
            return kDecodeOk;
        }
        output.Clear();
        return kDecodeBadData;
    }

    AvOwner<AVCodecContext> m_context;
    AvOwner<AVPacket> m_packet;
    DecodedPicture m_spare;
    bool m_bLeavesOut = false;
};

}  // namespace

std::unique_ptr<VideoDecoder> CreateVideoDecoder() {
    return std::make_unique<AvVideoDecoder>();
}

}  // namespace kvmon
