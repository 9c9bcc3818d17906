#include "fake_video_device.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <linux/videodev2.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <cstring>
#include <deque>
#include <mutex>

namespace kvtest {
namespace {

constexpr std::uint32_t kBuffer = 1 << 20;
constexpr auto kPeriod = std::chrono::milliseconds(40);

struct Device {
    std::string path;
    std::uint32_t width;
    std::uint32_t height;
    std::vector<FakeVideoDevice::Offer> offers;
    ino_t file = 0;  // of the memory that is the device
    bool pulled = false;
    bool stalls = false;
    std::size_t format = 0;
    std::deque<std::uint32_t> queued;
    std::uint32_t buffers = 0;
    std::size_t sent = 0;
    std::chrono::steady_clock::time_point next;
};
std::mutex mutex;
Device* plugged = nullptr;

int Refuse(int error) {
    errno = error;
    return -1;
}

void TellFormat(v4l2_format& told) {
    told.fmt.pix.width = plugged->width;
    told.fmt.pix.height = plugged->height;
    told.fmt.pix.pixelformat = plugged->offers[plugged->format].format;
    told.fmt.pix.field = V4L2_FIELD_NONE;
    told.fmt.pix.sizeimage = kBuffer;
    told.fmt.pix.bytesperline = told.fmt.pix.pixelformat == V4L2_PIX_FMT_YUYV ? 2 * plugged->width : 0;
}

int Dequeue(int file, v4l2_buffer& buffer) {
    const auto now = std::chrono::steady_clock::now();
    if (plugged->stalls || plugged->queued.empty() || now < plugged->next) {
        return Refuse(EAGAIN);
    }
    plugged->next = now + kPeriod;
    buffer.index = plugged->queued.front();
    plugged->queued.pop_front();
    const auto& pictures = plugged->offers[plugged->format].pictures;
    const std::string& picture = pictures[plugged->sent++ % pictures.size()];
    buffer.bytesused = static_cast<std::uint32_t>(picture.size());
    buffer.timestamp.tv_sec =
        std::chrono::duration_cast<std::chrono::seconds>(now.time_since_epoch()).count();
    buffer.timestamp.tv_usec =
        std::chrono::duration_cast<std::chrono::microseconds>(now.time_since_epoch()).count() % 1'000'000;
    return ::pwrite(file, picture.data(), picture.size(), std::int64_t{buffer.index} * kBuffer) < 0 ? -1 : 0;
}

int Answer(int file, unsigned long request, void* argument) {
    if (plugged->pulled) {
        return Refuse(ENODEV);
    }
    switch (request) {
        case VIDIOC_QUERYCAP: {
            auto& told = *static_cast<v4l2_capability*>(argument);
            told.capabilities = V4L2_CAP_VIDEO_CAPTURE | V4L2_CAP_STREAMING;
            return 0;
        }
        case VIDIOC_G_INPUT:
            *static_cast<int*>(argument) = 0;
            return 0;
        case VIDIOC_ENUMINPUT:
        case VIDIOC_STREAMON:
        case VIDIOC_STREAMOFF:
            return 0;
        case VIDIOC_ENUM_FMT: {
            auto& told = *static_cast<v4l2_fmtdesc*>(argument);
            if (told.index >= plugged->offers.size()) {
                return Refuse(EINVAL);
            }
            told.pixelformat = plugged->offers[told.index].format;
            return 0;
        }
        case VIDIOC_G_FMT:
            TellFormat(*static_cast<v4l2_format*>(argument));
            return 0;
        case VIDIOC_S_FMT: {
            auto& told = *static_cast<v4l2_format*>(argument);
            for (std::size_t i = 0; i < plugged->offers.size(); ++i) {
                plugged->format = plugged->offers[i].format == told.fmt.pix.pixelformat ? i : plugged->format;
            }
            TellFormat(told);
            return 0;
        }
        case VIDIOC_G_PARM:
        case VIDIOC_S_PARM: {
            auto& told = static_cast<v4l2_streamparm*>(argument)->parm.capture;
            told.capability = V4L2_CAP_TIMEPERFRAME;
            told.timeperframe = {1, 25};
            return 0;
        }
        case VIDIOC_REQBUFS:
            plugged->buffers = static_cast<v4l2_requestbuffers*>(argument)->count;
            plugged->queued.clear();
            return ::ftruncate(file, std::int64_t{kBuffer} * plugged->buffers);
        case VIDIOC_QUERYBUF: {
            auto& told = *static_cast<v4l2_buffer*>(argument);
            told.length = kBuffer;
            told.m.offset = told.index * kBuffer;
            return 0;
        }
        case VIDIOC_QBUF:
            plugged->queued.push_back(static_cast<v4l2_buffer*>(argument)->index);
            return 0;
        case VIDIOC_DQBUF:
            return Dequeue(file, *static_cast<v4l2_buffer*>(argument));
        default:
            return Refuse(ENOTTY);
    }
}

bool IsDevice(int file) {
    struct stat told {};
    return plugged && plugged->file != 0 && ::fstat(file, &told) == 0 && told.st_ino == plugged->file;
}

template <typename Call>
Call Real(const char* name) {
    return reinterpret_cast<Call>(::dlsym(RTLD_NEXT, name));
}

int Open(const char* name, const char* path, int flags, mode_t mode) {
    {
        const std::lock_guard lock(mutex);
        if (plugged && plugged->path == path) {
            if (plugged->pulled) {
                return Refuse(ENOENT);
            }
            const int file = ::memfd_create("video", MFD_CLOEXEC);
            struct stat told {};
            ::fstat(file, &told);
            plugged->file = told.st_ino;
            plugged->next = std::chrono::steady_clock::now();
            return file;
        }
    }
    return Real<int (*)(const char*, int, mode_t)>(name)(path, flags, mode);
}

}  // namespace

FakeVideoDevice::FakeVideoDevice(std::string path, int width, int height, std::vector<Offer> offers) {
    const std::lock_guard lock(mutex);
    plugged = new Device;
    plugged->path = std::move(path);
    plugged->width = static_cast<std::uint32_t>(width);
    plugged->height = static_cast<std::uint32_t>(height);
    plugged->offers = std::move(offers);
}

FakeVideoDevice::~FakeVideoDevice() {
    const std::lock_guard lock(mutex);
    delete plugged;
    plugged = nullptr;
}

void FakeVideoDevice::Pull() {
    const std::lock_guard lock(mutex);
    plugged->pulled = true;
}

void FakeVideoDevice::Stall(bool stalls) {
    const std::lock_guard lock(mutex);
    plugged->stalls = stalls;
}

}  // namespace kvtest

// In place of the C library's, for this program and the libraries in it.
extern "C" {

int open(const char* path, int flags, ...) {
    va_list more;
    va_start(more, flags);
    const auto mode = (flags & O_CREAT) != 0 ? va_arg(more, mode_t) : 0;
    va_end(more);
    return kvtest::Open("open", path, flags, mode);
}

int open64(const char* path, int flags, ...) {
    va_list more;
    va_start(more, flags);
    const auto mode = (flags & O_CREAT) != 0 ? va_arg(more, mode_t) : 0;
    va_end(more);
    return kvtest::Open("open64", path, flags, mode);
}

int ioctl(int file, unsigned long request, ...) noexcept {
    va_list more;
    va_start(more, request);
    void* const argument = va_arg(more, void*);
    va_end(more);
    {
        const std::lock_guard lock(kvtest::mutex);
        if (kvtest::IsDevice(file)) {
            return kvtest::Answer(file, request, argument);
        }
    }
    return kvtest::Real<int (*)(int, unsigned long, void*)>("ioctl")(file, request, argument);
}

}  // extern "C"
