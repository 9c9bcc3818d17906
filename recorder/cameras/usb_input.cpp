#include "cameras/usb_input.h"

#include <fcntl.h>
#include <linux/videodev2.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <thread>

#include "cameras/camera_url.h"
#include "cameras/jpeg_tables.h"
#include "media/descriptor.h"

extern "C" {
#include <libavdevice/avdevice.h>
}

namespace kvrecorder {
namespace {

// The device is asked for a picture so often: nothing tells of one that is waited for within the limit.
constexpr std::chrono::milliseconds kPictureLook{4};
constexpr int kUsualRate = 25;
constexpr int kHighestPictureRate = 30;

struct Preferred {
    std::uint32_t format;
    const char* name;  // the library's
};
// In this order.
constexpr std::array<Preferred, 4> kPreferred = {{{V4L2_PIX_FMT_H264, "h264"},
                                                  {V4L2_PIX_FMT_HEVC, "hevc"},
                                                  {V4L2_PIX_FMT_MJPEG, "mjpeg"},
                                                  {V4L2_PIX_FMT_JPEG, "mjpeg"}}};

[[noreturn]] void Fail(int error) {
    switch (error) {
        case ENOENT:
        case ENXIO:
            throw CameraError(FaultCode::DeviceMissing);
        case EACCES:
        case EPERM:
            throw CameraError(FaultCode::DeviceDenied);
        case EBUSY:
            throw CameraError(FaultCode::DeviceBusy);
        case ENODEV:
        case EIO:
            throw CameraError(FaultCode::DeviceGone);
        case ENOTTY:
        case EINVAL:
            throw CameraError(FaultCode::DeviceOther);
        case ENOMEM:
            throw CameraError(FaultCode::OutOfMemory);
        default:
            throw CameraError({FaultCode::CameraFailed, {{"reason", AvErrorText(AVERROR(error))}}});
    }
}

// The best of what the device offers; null: none of the coded ones.
const char* ChooseFormat(const std::string& path) {
    const Descriptor device(::open(path.c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK));
    v4l2_capability told{};
    if (device.Get() < 0 || ::ioctl(device.Get(), VIDIOC_QUERYCAP, &told) < 0) {
        Fail(errno);
    }
    std::size_t best = kPreferred.size();
    v4l2_fmtdesc offered{};
    offered.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    for (; offered.index < 64 && ::ioctl(device.Get(), VIDIOC_ENUM_FMT, &offered) == 0; ++offered.index) {
        const auto found =
            std::find_if(kPreferred.begin(), kPreferred.end(),
                         [&](const Preferred& preferred) { return preferred.format == offered.pixelformat; });
        best = std::min(best, static_cast<std::size_t>(found - kPreferred.begin()));
    }
    return best < kPreferred.size() ? kPreferred[best].name : nullptr;
}

const AVInputFormat* FindDriver() {
    // Once for the program: the library's devices are known to it by this alone.
    static const AVInputFormat* const driver = [] {
        avdevice_register_all();
        return av_find_input_format("video4linux2,v4l2");
    }();
    return driver;
}

}  // namespace

UsbInput::UsbInput(const std::string& url, InputLimit& limit) : m_limit(limit), m_packet(av_packet_alloc()) {
    if (!m_packet) {
        throw CameraError(FaultCode::OutOfMemory);
    }
    const std::string path = url.substr(kUsbScheme.size());
    Open(path, ChooseFormat(path));
    const AVCodecParameters& told = *m_device->streams[0]->codecpar;
    if (!PassedCodec(told.codec_id)) {
        MakeEncoder();
    }
}

void UsbInput::Open(const std::string& path, const char* format) {
    const AVInputFormat* const driver = FindDriver();
    AVFormatContext* opened = driver ? avformat_alloc_context() : nullptr;
    if (!opened) {
        throw CameraError(driver ? FaultCode::OutOfMemory : FaultCode::KindNotServed);
    }
    opened->interrupt_callback = m_limit.Callback();
    opened->flags |= AVFMT_FLAG_NONBLOCK | AVFMT_FLAG_NOPARSE | AVFMT_FLAG_NOFILLIN;
    AVDictionary* options = nullptr;
    if (format) {
        av_dict_set(&options, "input_format", format, 0);
    }
    const int error = avformat_open_input(&opened, path.c_str(), driver, &options);
    av_dict_free(&options);
    if (error < 0) {
        Fail(AVUNERROR(error));
    }
    m_device.reset(opened);
    if (m_device->nb_streams == 0) {
        throw CameraError(FaultCode::NoPictures);
    }
}

void UsbInput::MakeEncoder() {
    const AVStream& pictures = *m_device->streams[0];
    const AVCodecParameters& told = *pictures.codecpar;
    const AVRational rate = pictures.avg_frame_rate;
    const int fps = rate.num > 0 && rate.den > 0 ? rate.num / rate.den : kUsualRate;
    StreamConfig stream;
    stream.codec = kvrecorder::Codec::H264;
    stream.width = told.width & ~1;
    stream.height = told.height & ~1;
    stream.fps = std::clamp(fps, 1, kHighestPictureRate);
    stream.gop = 2 * stream.fps;
    try {
        m_decoder = std::make_unique<FileDecoder>(&told);
        m_encoder = std::make_unique<FileTranscoder>(stream);
    } catch (const std::runtime_error& failure) {
        throw CameraError({FaultCode::DeviceNotEncoded, {{"reason", failure.what()}}});
    }
}

AVCodecID UsbInput::Codec() const {
    return m_encoder ? AV_CODEC_ID_H264 : m_device->streams[0]->codecpar->codec_id;
}

std::optional<CameraInput::Piece> UsbInput::Read() {
    av_packet_unref(m_packet.get());
    int error = 0;
    while ((error = av_read_frame(m_device.get(), m_packet.get())) == AVERROR(EAGAIN)) {
        if (m_limit.Ended() || m_limit.IsOver()) {
            throw CameraError(FaultCode::PicturesStopped);
        }
        std::this_thread::sleep_for(kPictureLook);
    }
    if (error < 0) {
        Fail(AVUNERROR(error));
    }
    if (m_packet->size <= 0) {
        return std::nullopt;
    }
    const std::int64_t stamp =
        m_packet->pts != AV_NOPTS_VALUE
            ? av_rescale_q(m_packet->pts, m_device->streams[0]->time_base, {1, 1'000'000})
            : INT64_MIN;
    if (m_encoder) {
        return Encode(stamp);
    }
    m_picture.assign(m_packet->data, m_packet->data + m_packet->size);
    if (Codec() == AV_CODEC_ID_MJPEG) {
        AddHuffmanTables(m_picture);
    }
    return Piece{nullptr, m_picture, stamp, false};
}

std::optional<CameraInput::Piece> UsbInput::Encode(std::int64_t stampUs) {
    const auto begun = ThreadTime();
    PacketPtr made;
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    const MediaTime time = std::chrono::duration_cast<MediaTime>(now);
    m_decoder->Decode(m_packet.get(), [&](const AVFrame& frame) { made = m_encoder->Encode(frame, time); });
    m_cost.Add(ThreadTime() - begun);
    if (!made) {
        return std::nullopt;
    }
    m_picture = made->data;
    return Piece{nullptr, m_picture, stampUs, false};
}

std::string UsbInput::Word() {
    const auto share = m_cost.Share();
    return share
               ? "the device gives neither H.264 nor MJPEG, and its pictures are encoded here, which takes " +
                     std::to_string(*share) + " % of a processor"
               : "";
}

}  // namespace kvrecorder
