#include "codec/libav_device.h"

extern "C" {
#include <libavutil/hwcontext.h>
}

#include <array>

#include "codec/av_owner.h"
#include "codec/va_scaler.h"
#include "platform/diagnostics.h"

namespace kvmon {

namespace {

constexpr std::array<const char*, 3> kDeviceNames = {"vaapi", "cuda", "vdpau"};
constexpr std::int64_t kMaxDevicePixels = 22'000'000;
// Pictures of a decoder that others hold: the one on show, those that wait for their time, and one that is
// being saved.
constexpr int kMostHeld = 4;

const AVCodec* CodecOnDevice(int streamType) {
    return streamType == kStreamTypeH264   ? avcodec_find_decoder(AV_CODEC_ID_H264)
           : streamType == kStreamTypeH265 ? avcodec_find_decoder(AV_CODEC_ID_HEVC)
                                           : nullptr;
}

AVPixelFormat FormatOn(const AVCodec& codec, AVHWDeviceType type) {
    for (int i = 0; const AVCodecHWConfig* const config = avcodec_get_hw_config(&codec, i); ++i) {
        if (config->device_type == type && (config->methods & AV_CODEC_HW_CONFIG_METHOD_HW_DEVICE_CTX) != 0) {
            return config->pix_fmt;
        }
    }
    return AV_PIX_FMT_NONE;
}

// The library asks anew without the device's format when the device refuses a stream: then no other is
// chosen, since decoding without it is not done here.
AVPixelFormat ChooseFormat(AVCodecContext* context, const AVPixelFormat* offered) {
    const AVPixelFormat wanted = *static_cast<const AVPixelFormat*>(context->opaque);
    for (; *offered != AV_PIX_FMT_NONE; ++offered) {
        if (*offered == wanted) {
            return wanted;
        }
    }
    return AV_PIX_FMT_NONE;
}

// Planes in plain memory, as large as what is shown of the picture: the pool's surfaces may be larger.
bool ReadPicture(const AVFrame& picture, AVFrame& out) {
    if (av_hwframe_transfer_data(&out, &picture, 0) != 0 || av_frame_copy_props(&out, &picture) != 0) {
        return false;
    }
    out.width = picture.width;
    out.height = picture.height;
    return true;
}

class LibavHeldPicture final : public HeldPicture {
public:
    explicit LibavHeldPicture(AvOwner<AVFrame> picture) : m_picture(std::move(picture)) {}

    PictureSize Size() const override { return {m_picture->width, m_picture->height}; }
    bool ReadBack(AVFrame& out) override { return ReadPicture(*m_picture, out); }

private:
    const AvOwner<AVFrame> m_picture;
};

class LibavSession final : public HardwareSession {
public:
    bool Open(const AVCodec& codec, AVPixelFormat format, AVBufferRef& device,
              const VideoDecoderParams& params) {
        m_format = format;
        m_packet.reset(av_packet_alloc());
        m_picture.reset(av_frame_alloc());
        m_context.reset(avcodec_alloc_context3(&codec));
        if (!m_packet || !m_picture || !m_context) {
            return false;
        }
        m_context->hw_device_ctx = av_buffer_ref(&device);
        m_context->opaque = &m_format;
        m_context->get_format = ChooseFormat;
        m_context->width = params.width;
        m_context->height = params.height;
        m_context->max_pixels = kMaxDevicePixels;
        m_context->flags |= AV_CODEC_FLAG_LOW_DELAY;
        m_context->flags2 |= AV_CODEC_FLAG2_SHOW_ALL;
        m_context->thread_count = 1;
        m_context->extra_hw_frames = kMostHeld;
        return m_context->hw_device_ctx != nullptr && avcodec_open2(m_context.get(), &codec, nullptr) == 0;
    }

    bool Send(std::span<const std::uint8_t> unit) override {
        m_packet->data = const_cast<std::uint8_t*>(unit.data());
        m_packet->size = static_cast<int>(unit.size());
        const int sent = avcodec_send_packet(m_context.get(), m_packet.get());
        m_packet->data = nullptr;
        m_packet->size = 0;
        return sent == 0;
    }
    Step Receive() override {
        const int received = avcodec_receive_frame(m_context.get(), m_picture.get());
        return received == AVERROR(EAGAIN) || received == AVERROR_EOF ? Step::None
               : received < 0 || m_picture->format != int{m_format}   ? Step::Failed
                                                                      : Step::Picture;
    }
    bool ReadBack(AVFrame& out) override {
        const bool bRead = ReadPicture(*m_picture, out);
        av_frame_unref(m_picture.get());
        return bRead;
    }
    bool ReadScaled(PictureSize size, AVFrame& out) override {
        return m_format == AV_PIX_FMT_VAAPI && m_scaler.Scale(*m_picture, size, out);
    }
    PictureSize Size() const override { return {m_picture->width, m_picture->height}; }
    std::unique_ptr<HeldPicture> Hold() override {
        AvOwner<AVFrame> next(av_frame_alloc());
        if (!next) {
            return nullptr;
        }
        m_picture.swap(next);
        return std::make_unique<LibavHeldPicture>(std::move(next));
    }
    void SetLeavesOut(bool bLeavesOut) override {
        m_context->skip_frame = bLeavesOut ? AVDISCARD_NONREF : AVDISCARD_DEFAULT;
    }

private:
    AVPixelFormat m_format = AV_PIX_FMT_NONE;
    AvOwner<AVPacket> m_packet;
    AvOwner<AVCodecContext> m_context;
    AvOwner<AVFrame> m_picture;
    VaScaler m_scaler;
};

class LibavDevice final : public HardwareDevice {
public:
    LibavDevice(std::string name, AVHWDeviceType type, AvOwner<AVBufferRef> device)
        : m_name(std::move(name)), m_type(type), m_device(std::move(device)) {}

    std::string Name() const override { return m_name; }
    std::unique_ptr<HardwareSession> Open(const VideoDecoderParams& params) override {
        const AVCodec* const codec = CodecOnDevice(params.streamType);
        const AVPixelFormat format = codec != nullptr ? FormatOn(*codec, m_type) : AV_PIX_FMT_NONE;
        auto session = std::make_unique<LibavSession>();
        if (format == AV_PIX_FMT_NONE || !session->Open(*codec, format, *m_device, params)) {
            return nullptr;
        }
        return session;
    }

private:
    const std::string m_name;
    const AVHWDeviceType m_type;
    const AvOwner<AVBufferRef> m_device;
};

}  // namespace

std::span<const char* const> LibavDeviceNames() {
    return kDeviceNames;
}

std::shared_ptr<HardwareDevice> OpenLibavDevice(const std::string& name) {
    av_log_set_level(AV_LOG_QUIET);  // its own lines go to standard error
    const AVHWDeviceType type = av_hwdevice_find_type_by_name(name.c_str());
    if (type == AV_HWDEVICE_TYPE_NONE) {
        Diagnose("hardware decoding: this libavcodec has no %s\n", name.c_str());
        return nullptr;
    }
    AVBufferRef* opened = nullptr;
    int status = av_hwdevice_ctx_create(&opened, type, nullptr, nullptr, 0);
    if (status < 0 && type == AV_HWDEVICE_TYPE_VAAPI) {
        // The library gives up where the computer has no render node; a driver may be reached by the display
        // alone.
        AVDictionary* options = nullptr;
        av_dict_set(&options, "connection_type", "x11", 0);
        status = av_hwdevice_ctx_create(&opened, type, nullptr, options, 0);
        av_dict_free(&options);
    }
    if (status < 0 || opened == nullptr) {
        char text[AV_ERROR_MAX_STRING_SIZE] = {};
        av_strerror(status, text, sizeof text);
        Diagnose("hardware decoding: no device for %s opens: %s\n", name.c_str(), text);
        return nullptr;
    }
    return std::make_shared<LibavDevice>(name, type, AvOwner<AVBufferRef>(opened));
}

}  // namespace kvmon
