// A driver for libva whose device is this process: it takes whatever libavcodec hands it for decoding, and
// each picture is an even grey. Any of its calls can be made to fail.
#include "va_driver/va_driver.h"

#include <va/va_backend.h>
#include <va/va_vpp.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace {

constexpr int kMostSize = 4096;
constexpr int kAlign = 16;

struct Surface {
    int width = 0;
    int height = 0;
    std::uint8_t luma = 0;
};

struct Context {
    VAProfile profile = VAProfileNone;  // that one scales
    VASurfaceID target = VA_INVALID_SURFACE;
    VABufferID step = VA_INVALID_ID;
};

struct Device {
    std::mutex mutex;
    std::string failing;
    int successes = 0;
    kvtest::VaCounts counts;
    VAGenericID last = 0;
    std::map<VAGenericID, Surface> surfaces;
    std::map<VAGenericID, std::vector<std::uint8_t>> buffers;
    std::map<VAGenericID, VAImage> images;
    std::map<VAGenericID, Context> contexts;
    std::map<VAGenericID, VAProfile> configs;
};

Device& TheDevice() {
    static Device device;
    return device;
}

// Each call: the lock, and whether it is the one to fail.
class Call {
public:
    explicit Call(const char* name) : m_lock(TheDevice().mutex) {
        Device& device = TheDevice();
        m_bFails = device.failing == name && device.successes-- <= 0;
        device.counts.failures += m_bFails ? 1 : 0;
    }
    bool Fails() const { return m_bFails; }

private:
    const std::lock_guard<std::mutex> m_lock;
    bool m_bFails = false;
};

constexpr VAStatus kFailed = VA_STATUS_ERROR_OPERATION_FAILED;

template <typename... Arguments>
VAStatus Unsupported(Arguments...) {
    return VA_STATUS_ERROR_UNIMPLEMENTED;
}

template <typename Objects>
VAStatus Destroy(const char* name, Objects& objects, VAGenericID id) {
    const Call call(name);
    // A call that fails has done its work all the same: what is told to go is gone.
    return objects.erase(id) == 0 ? VAStatus{VA_STATUS_ERROR_INVALID_VALUE}
           : call.Fails()         ? kFailed
                                  : VAStatus{VA_STATUS_SUCCESS};
}

VAStatus Terminate(VADriverContextP) {
    return VA_STATUS_SUCCESS;
}

constexpr VAProfile kProfiles[] = {VAProfileH264ConstrainedBaseline, VAProfileH264Main, VAProfileH264High,
                                   VAProfileHEVCMain};

VAStatus QueryConfigProfiles(VADriverContextP, VAProfile* list, int* count) {
    const Call call("QueryConfigProfiles");
    std::copy(std::begin(kProfiles), std::end(kProfiles), list);
    *count = static_cast<int>(std::size(kProfiles));
    return call.Fails() ? kFailed : VAStatus{VA_STATUS_SUCCESS};
}

VAEntrypoint PointOf(VAProfile profile) {
    return profile == VAProfileNone ? VAEntrypointVideoProc : VAEntrypointVLD;
}

VAStatus QueryConfigEntrypoints(VADriverContextP, VAProfile profile, VAEntrypoint* list, int* count) {
    const Call call("QueryConfigEntrypoints");
    list[0] = PointOf(profile);
    *count = 1;
    return call.Fails() ? kFailed : VAStatus{VA_STATUS_SUCCESS};
}

VAStatus GetConfigAttributes(VADriverContextP, VAProfile, VAEntrypoint, VAConfigAttrib* list, int count) {
    for (int i = 0; i < count; ++i) {
        list[i].value =
            list[i].type == VAConfigAttribRTFormat ? VA_RT_FORMAT_YUV420 : VA_ATTRIB_NOT_SUPPORTED;
    }
    return VA_STATUS_SUCCESS;
}

VAStatus CreateConfig(VADriverContextP, VAProfile profile, VAEntrypoint, VAConfigAttrib*, int,
                      VAConfigID* id) {
    const Call call("CreateConfig");
    if (call.Fails()) {
        return kFailed;
    }
    *id = ++TheDevice().last;
    TheDevice().configs[*id] = profile;
    return VA_STATUS_SUCCESS;
}

VAStatus DestroyConfig(VADriverContextP, VAConfigID id) {
    return Destroy("DestroyConfig", TheDevice().configs, id);
}

VAStatus QueryConfigAttributes(VADriverContextP, VAConfigID id, VAProfile* profile, VAEntrypoint* entrypoint,
                               VAConfigAttrib* list, int* count) {
    const Call call("QueryConfigAttributes");
    *profile = TheDevice().configs[id];
    *entrypoint = PointOf(*profile);
    list[0] = {VAConfigAttribRTFormat, VA_RT_FORMAT_YUV420};
    *count = 1;
    return call.Fails() ? kFailed : VAStatus{VA_STATUS_SUCCESS};
}

VAStatus QuerySurfaceAttributes(VADriverContextP, VAConfigID, VASurfaceAttrib* list, unsigned* count) {
    const Call call("QuerySurfaceAttributes");
    if (call.Fails()) {
        return kFailed;
    }
    const std::pair<VASurfaceAttribType, int> values[] = {{VASurfaceAttribPixelFormat, VA_FOURCC_NV12},
                                                          {VASurfaceAttribMinWidth, 1},
                                                          {VASurfaceAttribMinHeight, 1},
                                                          {VASurfaceAttribMaxWidth, kMostSize},
                                                          {VASurfaceAttribMaxHeight, kMostSize}};
    for (std::size_t i = 0; list != nullptr && i < std::size(values); ++i) {
        list[i] = {};
        list[i].type = values[i].first;
        list[i].flags = VA_SURFACE_ATTRIB_GETTABLE | VA_SURFACE_ATTRIB_SETTABLE;
        list[i].value.type = VAGenericValueTypeInteger;
        list[i].value.value.i = values[i].second;
    }
    *count = static_cast<unsigned>(std::size(values));
    return VA_STATUS_SUCCESS;
}

VAStatus CreateSurfaces2(VADriverContextP, unsigned, unsigned width, unsigned height, VASurfaceID* list,
                         unsigned count, VASurfaceAttrib*, unsigned) {
    const Call call("CreateSurfaces");
    if (call.Fails()) {
        return kFailed;
    }
    for (unsigned i = 0; i < count; ++i) {
        list[i] = ++TheDevice().last;
        TheDevice().surfaces[list[i]] = {static_cast<int>(width), static_cast<int>(height)};
    }
    return VA_STATUS_SUCCESS;
}

VAStatus DestroySurfaces(VADriverContextP, VASurfaceID* list, int count) {
    VAStatus status = VA_STATUS_SUCCESS;
    for (int i = 0; i < count; ++i) {
        status = std::max(status, Destroy("DestroySurfaces", TheDevice().surfaces, list[i]));
    }
    return status;
}

VAStatus CreateContext(VADriverContextP, VAConfigID config, int, int, int, VASurfaceID*, int,
                       VAContextID* id) {
    const Call call("CreateContext");
    if (call.Fails()) {
        return kFailed;
    }
    *id = ++TheDevice().last;
    TheDevice().contexts[*id] = {TheDevice().configs[config]};
    return VA_STATUS_SUCCESS;
}

VAStatus DestroyContext(VADriverContextP, VAContextID id) {
    return Destroy("DestroyContext", TheDevice().contexts, id);
}

VAStatus CreateBuffer(VADriverContextP, VAContextID, VABufferType, unsigned size, unsigned count, void* data,
                      VABufferID* id) {
    const Call call("CreateBuffer");
    if (call.Fails()) {
        return kFailed;
    }
    std::vector<std::uint8_t> bytes(std::size_t{size} * count);
    if (data != nullptr) {
        std::memcpy(bytes.data(), data, bytes.size());
    }
    *id = ++TheDevice().last;
    TheDevice().buffers[*id] = std::move(bytes);
    return VA_STATUS_SUCCESS;
}

VAStatus MapBuffer(VADriverContextP, VABufferID id, void** memory) {
    const Call call("MapBuffer");
    const auto found = TheDevice().buffers.find(id);
    if (call.Fails() || found == TheDevice().buffers.end()) {
        return kFailed;
    }
    *memory = found->second.data();
    return VA_STATUS_SUCCESS;
}

VAStatus UnmapBuffer(VADriverContextP, VABufferID) {
    const Call call("UnmapBuffer");
    return call.Fails() ? kFailed : VAStatus{VA_STATUS_SUCCESS};
}

VAStatus DestroyBuffer(VADriverContextP, VABufferID id) {
    return Destroy("DestroyBuffer", TheDevice().buffers, id);
}

VAStatus BeginPicture(VADriverContextP, VAContextID id, VASurfaceID surface) {
    const Call call("BeginPicture");
    if (call.Fails()) {
        return kFailed;
    }
    TheDevice().contexts[id].target = surface;
    return VA_STATUS_SUCCESS;
}

VAStatus RenderPicture(VADriverContextP, VAContextID id, VABufferID* list, int count) {
    const Call call("RenderPicture");
    TheDevice().contexts[id].step = count > 0 ? list[0] : VA_INVALID_ID;
    return call.Fails() ? kFailed : VAStatus{VA_STATUS_SUCCESS};
}

VAStatus Scale(Device& device, const Context& context, Surface& target) {
    const auto buffer = device.buffers.find(context.step);
    VAProcPipelineParameterBuffer step{};
    if (buffer == device.buffers.end() || buffer->second.size() != sizeof step) {
        return kFailed;
    }
    std::memcpy(&step, buffer->second.data(), sizeof step);
    const auto source = device.surfaces.find(step.surface);
    if (source == device.surfaces.end() || step.surface_region == nullptr) {
        return kFailed;
    }
    target.luma = source->second.luma;
    kvtest::VaCounts& counts = device.counts;
    ++counts.scaled;
    counts.fromWidth = step.surface_region->width;
    counts.fromHeight = step.surface_region->height;
    counts.toWidth = target.width;
    counts.toHeight = target.height;
    return VA_STATUS_SUCCESS;
}

VAStatus EndPicture(VADriverContextP, VAContextID id) {
    const Call call("EndPicture");
    Device& device = TheDevice();
    const Context& context = device.contexts[id];
    const auto surface = device.surfaces.find(context.target);
    if (call.Fails() || surface == device.surfaces.end()) {
        return kFailed;
    }
    if (context.profile == VAProfileNone) {
        return Scale(device, context, surface->second);
    }
    const int brighter = device.counts.pictures++ % (256 - kvtest::kFirstVaLuma);
    surface->second.luma = static_cast<std::uint8_t>(kvtest::kFirstVaLuma + brighter);
    return VA_STATUS_SUCCESS;
}

void Log(const VAImage& image) {
    const char* const name = std::getenv(kvtest::kVaLog);
    if (std::FILE* const file = name != nullptr ? std::fopen(name, "ae") : nullptr) {
        std::fprintf(file, "%dx%d\n", image.width, image.height);
        std::fclose(file);
    }
}

VAStatus SyncSurface(VADriverContextP, VASurfaceID) {
    const Call call("SyncSurface");
    return call.Fails() ? kFailed : VAStatus{VA_STATUS_SUCCESS};
}

VAStatus QueryImageFormats(VADriverContextP, VAImageFormat* list, int* count) {
    const Call call("QueryImageFormats");
    list[0] = {};
    list[0].fourcc = VA_FOURCC_NV12;
    list[0].byte_order = VA_LSB_FIRST;
    list[0].bits_per_pixel = 12;
    *count = 1;
    return call.Fails() ? kFailed : VAStatus{VA_STATUS_SUCCESS};
}

VAStatus CreateImage(VADriverContextP, VAImageFormat* format, int width, int height, VAImage* image) {
    const Call call("CreateImage");
    if (call.Fails()) {
        return kFailed;
    }
    const auto pitch = static_cast<std::uint32_t>((width + kAlign - 1) / kAlign * kAlign);
    const auto rows = static_cast<std::uint32_t>((height + 1) / 2 * 2);
    *image = {};
    image->format = *format;
    image->width = static_cast<std::uint16_t>(width);
    image->height = static_cast<std::uint16_t>(height);
    image->num_planes = 2;
    image->pitches[0] = image->pitches[1] = pitch;
    image->offsets[1] = pitch * rows;
    image->data_size = pitch * rows * 3 / 2;
    image->image_id = ++TheDevice().last;
    image->buf = ++TheDevice().last;
    TheDevice().buffers[image->buf].resize(image->data_size);
    TheDevice().images[image->image_id] = *image;
    return VA_STATUS_SUCCESS;
}

VAStatus DestroyImage(VADriverContextP, VAImageID id) {
    {
        const std::lock_guard lock(TheDevice().mutex);
        TheDevice().buffers.erase(TheDevice().images[id].buf);
    }
    return Destroy("DestroyImage", TheDevice().images, id);
}

VAStatus GetImage(VADriverContextP, VASurfaceID surface, int, int, unsigned, unsigned, VAImageID id) {
    const Call call("GetImage");
    Device& device = TheDevice();
    const auto from = device.surfaces.find(surface);
    const auto image = device.images.find(id);
    if (call.Fails() || from == device.surfaces.end() || image == device.images.end()) {
        return kFailed;
    }
    std::vector<std::uint8_t>& bytes = device.buffers[image->second.buf];
    const auto colours = bytes.begin() + static_cast<std::ptrdiff_t>(image->second.offsets[1]);
    std::fill(bytes.begin(), colours, from->second.luma);
    std::fill(colours, bytes.end(), std::uint8_t{128});
    device.counts.read += std::int64_t{image->second.width} * image->second.height;
    Log(image->second);
    return VA_STATUS_SUCCESS;
}

}  // namespace

extern "C" {

void kvtest_set_va_failure(const char* call, int successes);
void kvtest_get_va_counts(kvtest::VaCounts* counts);
VAStatus __vaDriverInit_1_0(VADriverContextP context);

void kvtest_set_va_failure(const char* call, int successes) {
    Device& device = TheDevice();
    const std::lock_guard lock(device.mutex);
    device.failing = call != nullptr ? call : "";
    device.successes = successes;
    device.counts = {};
}

void kvtest_get_va_counts(kvtest::VaCounts* counts) {
    Device& device = TheDevice();
    const std::lock_guard lock(device.mutex);
    const std::size_t alive = device.surfaces.size() + device.buffers.size() + device.images.size() +
                              device.contexts.size() + device.configs.size();
    *counts = device.counts;
    counts->alive = static_cast<int>(alive);
}

VAStatus __vaDriverInit_1_0(VADriverContextP context) {
    if (const char* const told = std::getenv(kvtest::kVaFailure)) {
        const std::string failure = told;
        const std::size_t end = failure.find(':');
        if (end != std::string::npos) {
            kvtest_set_va_failure(failure.substr(0, end).c_str(), std::atoi(failure.c_str() + end + 1));
        }
    }
    context->version_major = 1;
    context->version_minor = 0;
    context->max_profiles = static_cast<int>(std::size(kProfiles));
    context->max_entrypoints = 1;
    context->max_attributes = 8;
    context->max_image_formats = 1;
    context->max_subpic_formats = 1;
    context->max_display_attributes = 1;
    context->str_vendor = "a test's driver";
    VADriverVTable& table = *context->vtable;
    table.vaTerminate = Terminate;
    table.vaQueryConfigProfiles = QueryConfigProfiles;
    table.vaQueryConfigEntrypoints = QueryConfigEntrypoints;
    table.vaGetConfigAttributes = GetConfigAttributes;
    table.vaCreateConfig = CreateConfig;
    table.vaDestroyConfig = DestroyConfig;
    table.vaQueryConfigAttributes = QueryConfigAttributes;
    table.vaCreateSurfaces = Unsupported;
    table.vaDestroySurfaces = DestroySurfaces;
    table.vaCreateContext = CreateContext;
    table.vaDestroyContext = DestroyContext;
    table.vaCreateBuffer = CreateBuffer;
    table.vaBufferSetNumElements = Unsupported;
    table.vaMapBuffer = MapBuffer;
    table.vaUnmapBuffer = UnmapBuffer;
    table.vaDestroyBuffer = DestroyBuffer;
    table.vaBeginPicture = BeginPicture;
    table.vaRenderPicture = RenderPicture;
    table.vaEndPicture = EndPicture;
    table.vaSyncSurface = SyncSurface;
    table.vaQuerySurfaceStatus = Unsupported;
    table.vaPutSurface = Unsupported;
    table.vaQueryImageFormats = QueryImageFormats;
    table.vaCreateImage = CreateImage;
    table.vaDeriveImage = Unsupported;
    table.vaDestroyImage = DestroyImage;
    table.vaSetImagePalette = Unsupported;
    table.vaGetImage = GetImage;
    table.vaPutImage = Unsupported;
    table.vaQuerySubpictureFormats = Unsupported;
    table.vaCreateSubpicture = Unsupported;
    table.vaDestroySubpicture = Unsupported;
    table.vaSetSubpictureImage = Unsupported;
    table.vaSetSubpictureChromakey = Unsupported;
    table.vaSetSubpictureGlobalAlpha = Unsupported;
    table.vaAssociateSubpicture = Unsupported;
    table.vaDeassociateSubpicture = Unsupported;
    table.vaQueryDisplayAttributes = Unsupported;
    table.vaGetDisplayAttributes = Unsupported;
    table.vaSetDisplayAttributes = Unsupported;
    table.vaQuerySurfaceAttributes = QuerySurfaceAttributes;
    table.vaCreateSurfaces2 = CreateSurfaces2;
    return VA_STATUS_SUCCESS;
}

}  // extern "C"
