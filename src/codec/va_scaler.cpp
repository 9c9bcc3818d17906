#include "codec/va_scaler.h"

#include <va/va_vpp.h>

extern "C" {
#include <libavutil/hwcontext.h>
#include <libavutil/hwcontext_vaapi.h>
}

#include <algorithm>
#include <cstdint>
#include <vector>

namespace kvmon {

namespace {

VASurfaceID SurfaceOf(const AVFrame& picture) {
    return static_cast<VASurfaceID>(reinterpret_cast<std::uintptr_t>(picture.data[3]));
}

bool IsDone(VAStatus status) {
    return status == VA_STATUS_SUCCESS;
}

// Colours have whole samples then. What is beyond the size is scaled with the rest and not read.
PictureSize WholeBlocks(PictureSize size) {
    return {(size.width + 1) / 2 * 2, (size.height + 1) / 2 * 2};
}

bool CanProcess(VADisplay display) {
    std::vector<VAEntrypoint> points(static_cast<std::size_t>(std::max(vaMaxNumEntrypoints(display), 1)));
    int count = 0;
    return IsDone(vaQueryConfigEntrypoints(display, VAProfileNone, points.data(), &count)) &&
           std::find(points.begin(), points.begin() + count, VAEntrypointVideoProc) != points.begin() + count;
}

// One picture of this size on the device.
AvOwner<AVFrame> MakeTarget(AVBufferRef& device, PictureSize size) {
    const AvOwner<AVBufferRef> pool(av_hwframe_ctx_alloc(&device));
    AvOwner<AVFrame> target(av_frame_alloc());
    if (!pool || !target) {
        return nullptr;
    }
    auto& frames = *reinterpret_cast<AVHWFramesContext*>(pool->data);
    frames.format = AV_PIX_FMT_VAAPI;
    frames.sw_format = AV_PIX_FMT_NV12;
    frames.width = size.width;
    frames.height = size.height;
    frames.initial_pool_size = 1;
    if (av_hwframe_ctx_init(pool.get()) != 0 || av_hwframe_get_buffer(pool.get(), target.get(), 0) != 0) {
        return nullptr;
    }
    return target;
}

}  // namespace

bool VaScaler::Open(AVBufferRef& device, PictureSize size) {
    Close();
    const auto& context = *reinterpret_cast<AVHWDeviceContext*>(device.data);
    m_display = static_cast<AVVAAPIDeviceContext*>(context.hwctx)->display;
    const PictureSize blocks = WholeBlocks(size);
    m_target = CanProcess(m_display) ? MakeTarget(device, blocks) : nullptr;
    if (!m_target ||
        !IsDone(vaCreateConfig(m_display, VAProfileNone, VAEntrypointVideoProc, nullptr, 0, &m_config))) {
        m_config = VA_INVALID_ID;
        return false;
    }
    VASurfaceID surface = SurfaceOf(*m_target);
    if (!IsDone(vaCreateContext(m_display, m_config, blocks.width, blocks.height, VA_PROGRESSIVE, &surface, 1,
                                &m_context))) {
        m_context = VA_INVALID_ID;
        return false;
    }
    m_size = size;
    return true;
}

void VaScaler::Close() {
    if (m_context != VA_INVALID_ID) {
        vaDestroyContext(m_display, m_context);
        m_context = VA_INVALID_ID;
    }
    if (m_config != VA_INVALID_ID) {
        vaDestroyConfig(m_display, m_config);
        m_config = VA_INVALID_ID;
    }
    m_target.reset();  // at the end: it holds the device
    m_size = {};
}

bool VaScaler::Process(const AVFrame& picture) {
    VARectangle from{};
    from.width = static_cast<std::uint16_t>(picture.width);
    from.height = static_cast<std::uint16_t>(picture.height);
    VAProcPipelineParameterBuffer step{};
    step.surface = SurfaceOf(picture);
    step.surface_region = &from;
    // The same on both sides, so that no colour is changed.
    step.surface_color_standard = step.output_color_standard =
        picture.colorspace == AVCOL_SPC_BT709 ? VAProcColorStandardBT709 : VAProcColorStandardBT601;
    step.input_color_properties.color_range = step.output_color_properties.color_range =
        picture.color_range == AVCOL_RANGE_JPEG ? VA_SOURCE_RANGE_FULL : VA_SOURCE_RANGE_REDUCED;
    step.filter_flags = VA_FILTER_SCALING_HQ;
    VABufferID buffer = VA_INVALID_ID;
    if (!IsDone(vaCreateBuffer(m_display, m_context, VAProcPipelineParameterBufferType, sizeof step, 1, &step,
                               &buffer))) {
        return false;
    }
    bool bDone = IsDone(vaBeginPicture(m_display, m_context, SurfaceOf(*m_target)));
    if (bDone) {
        bDone = IsDone(vaRenderPicture(m_display, m_context, &buffer, 1));
        // Also after a failure, or the context stays in the middle of a picture.
        bDone = IsDone(vaEndPicture(m_display, m_context)) && bDone;
    }
    return IsDone(vaDestroyBuffer(m_display, buffer)) && bDone;
}

bool VaScaler::Scale(const AVFrame& picture, PictureSize size, AVFrame& out) {
    if (picture.hw_frames_ctx == nullptr) {
        return false;
    }
    const auto& frames = *reinterpret_cast<AVHWFramesContext*>(picture.hw_frames_ctx->data);
    if ((size != m_size && !Open(*frames.device_ref, size)) || !Process(picture) ||
        av_hwframe_transfer_data(&out, m_target.get(), 0) != 0 || av_frame_copy_props(&out, &picture) != 0) {
        return false;
    }
    out.width = size.width;
    out.height = size.height;
    return true;
}

}  // namespace kvmon
