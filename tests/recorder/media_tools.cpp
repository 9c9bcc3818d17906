#include "media_tools.h"

#include <gtest/gtest.h>

extern "C" {
#include <libavutil/opt.h>
}

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "media/picture_encoder.h"
#include "wire/frame_header.h"

namespace kvtest {

using kvrecorder::AvPtr;
using kvrecorder::Codec;
using kvrecorder::MediaTime;
using kvrecorder::Packet;
using kvrecorder::PacketPtr;
using kvrecorder::StreamConfig;

MediaTime SelfMovingClock::Now() {
    const std::lock_guard lock(m_mutex);
    return m_now;
}

std::chrono::system_clock::time_point SelfMovingClock::WallTime() {
    return std::chrono::system_clock::time_point(std::chrono::hours(480'000)) + Now();
}

void SelfMovingClock::WaitUntil(std::unique_lock<std::mutex>& lock, std::condition_variable& wake,
                                MediaTime until) {
    {
        const std::lock_guard own(m_mutex);
        m_waiting = lock.mutex();
        m_wake = &wake;
        if (until <= m_limit) {
            m_now = std::max(m_now, until);
            return;
        }
    }
    wake.wait(lock);
}

void SelfMovingClock::Allow(std::chrono::milliseconds more) {
    std::mutex* waiting = nullptr;
    std::condition_variable* wake = nullptr;
    {
        const std::lock_guard own(m_mutex);
        m_limit += more;
        waiting = m_waiting;
        wake = m_wake;
    }
    if (waiting) {
        // After this the waiter either saw the new limit or is in its wait.
        const std::lock_guard lock(*waiting);
        wake->notify_all();
    }
}

void SelfMovingClock::Jump(std::chrono::milliseconds time) {
    const std::lock_guard own(m_mutex);
    m_now += time;
    m_limit = std::max(m_limit, m_now);
}

std::function<void(const PacketPtr&)> Collector::Sink() {
    return [this](const PacketPtr& packet) {
        const std::lock_guard lock(m_mutex);
        m_packets.push_back(packet);
        m_changed.notify_all();
    };
}

std::vector<PacketPtr> Collector::WaitFor(std::size_t count) {
    std::unique_lock lock(m_mutex);
    EXPECT_TRUE(m_changed.wait_for(lock, std::chrono::seconds(10), [&] { return m_packets.size() >= count; }))
        << m_packets.size() << " of " << count << " packets came";
    return m_packets;
}

std::vector<PacketPtr> Collector::Packets() {
    const std::lock_guard lock(m_mutex);
    return m_packets;
}

double Luma::Differs(const Luma& other, int top, int bottom) const {
    EXPECT_TRUE(width == other.width && height == other.height);
    long sum = 0;
    for (int i = top * width; i < bottom * width; ++i) {
        sum += std::abs(rows[static_cast<std::size_t>(i)] - other.rows[static_cast<std::size_t>(i)]);
    }
    return static_cast<double>(sum) / ((bottom - top) * width);
}

namespace {

// The libraries tell of each encoder on standard error.
[[maybe_unused]] const bool kQuiet = (av_log_set_level(AV_LOG_FATAL), true);

AVCodecID IdOf(std::uint32_t fourcc) {
    return fourcc == wire::kZ264   ? AV_CODEC_ID_H264
           : fourcc == wire::kZMP4 ? AV_CODEC_ID_MPEG4
           : fourcc == wire::kZIVG ? AV_CODEC_ID_MJPEG
           : fourcc == wire::kZ265 ? AV_CODEC_ID_HEVC
                                   : AV_CODEC_ID_NONE;
}

void Receive(AVCodecContext* context, AVFrame* frame, std::vector<Luma>& out) {
    while (avcodec_receive_frame(context, frame) >= 0) {
        Luma luma{frame->width, frame->height, {}};
        for (int row = 0; row < frame->height; ++row) {
            const std::uint8_t* const from = frame->data[0] + row * frame->linesize[0];
            luma.rows.insert(luma.rows.end(), from, from + frame->width);
        }
        out.push_back(std::move(luma));
    }
}

AvPtr<AVPacket> ToAv(const Packet& packet) {
    AvPtr<AVPacket> out(av_packet_alloc());
    av_new_packet(out.get(), static_cast<int>(packet.data.size()));
    std::memcpy(out->data, packet.data.data(), packet.data.size());
    out->flags = packet.key ? AV_PKT_FLAG_KEY : 0;
    return out;
}

void Require(bool condition, const char* what) {
    if (!condition) {
        throw std::runtime_error(what);
    }
}

std::size_t StartCode(const std::vector<std::uint8_t>& data, std::size_t from) {
    for (std::size_t i = from; i + 3 <= data.size(); ++i) {
        if (data[i] == 0 && data[i + 1] == 0 && data[i + 2] == 1) {
            return i;
        }
    }
    return data.size();
}

// Splits what a decoder needs first from a key packet's pictures.
std::size_t HeaderLength(const Packet& packet) {
    const bool h264 = packet.fourcc == wire::kZ264;
    for (std::size_t at = StartCode(packet.data, 0); at + 3 < packet.data.size();
         at = StartCode(packet.data, at + 3)) {
        const std::uint8_t code = packet.data[at + 3];
        const bool header = h264 ? (code & 31) == 7 || (code & 31) == 8 : code != 0xB6 && code != 0xB3;
        if (!header) {
            return at > 0 && packet.data[at - 1] == 0 ? at - 1 : at;
        }
    }
    return 0;
}

class Muxer {
public:
    Muxer(const std::string& path, const AVCodecParameters* parameters, int fps) {
        AVFormatContext* context = nullptr;
        Require(avformat_alloc_output_context2(&context, nullptr, nullptr, path.c_str()) >= 0, "no format");
        m_context = context;
        Require(avio_open(&m_context->pb, path.c_str(), AVIO_FLAG_WRITE) >= 0, "cannot write");
        m_stream = avformat_new_stream(m_context, nullptr);
        avcodec_parameters_copy(m_stream->codecpar, parameters);
        m_stream->codecpar->codec_tag = 0;
        m_stream->time_base = {1, fps};
        m_stream->avg_frame_rate = {fps, 1};
        m_fps = fps;
        Require(avformat_write_header(m_context, nullptr) >= 0, "no head");
    }
    ~Muxer() {
        av_write_trailer(m_context);
        avio_closep(&m_context->pb);
        avformat_free_context(m_context);
    }
    Muxer(const Muxer&) = delete;
    Muxer& operator=(const Muxer&) = delete;

    void Write(AVPacket* packet, std::int64_t index) {
        packet->pts = packet->dts = index;
        WriteStamped(packet);
    }
    // With the packet's own times, in pictures.
    void WriteStamped(AVPacket* packet) {
        packet->duration = 1;
        packet->stream_index = 0;
        av_packet_rescale_ts(packet, {1, m_fps}, m_stream->time_base);
        Require(av_write_frame(m_context, packet) >= 0, "cannot write a packet");
    }

private:
    AVFormatContext* m_context = nullptr;
    AVStream* m_stream = nullptr;
    int m_fps = 1;
};

void PaintTestPicture(AVFrame* frame, int index) {
    for (int plane = 0; plane < 3; ++plane) {
        const int height = plane == 0 ? frame->height : (frame->height + 1) / 2;
        const int width = plane == 0 ? frame->width : (frame->width + 1) / 2;
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                frame->data[plane][y * frame->linesize[plane] + x] =
                    static_cast<std::uint8_t>(plane == 0 ? 40 + (x + y + 5 * index) % 160 : 110 + plane * 10);
            }
        }
    }
}

}  // namespace

std::vector<Luma> Decode(const std::vector<PacketPtr>& packets) {
    std::vector<Luma> out;
    if (packets.empty()) {
        return out;
    }
    const AVCodec* const codec = avcodec_find_decoder(IdOf(packets[0]->fourcc));
    AvPtr<AVCodecContext> context(avcodec_alloc_context3(codec));
    AvPtr<AVFrame> frame(av_frame_alloc());
    context->thread_count = 1;
    context->err_recognition = AV_EF_EXPLODE;
    Require(avcodec_open2(context.get(), codec, nullptr) >= 0, "no decoder");
    for (const PacketPtr& packet : packets) {
        EXPECT_GE(avcodec_send_packet(context.get(), ToAv(*packet).get()), 0);
        Receive(context.get(), frame.get(), out);
    }
    avcodec_send_packet(context.get(), nullptr);
    Receive(context.get(), frame.get(), out);
    return out;
}

std::vector<PacketPtr> EncodeTestPictures(const StreamConfig& stream, int count) {
    kvrecorder::PictureEncoder encoder(stream);
    std::vector<PacketPtr> packets;
    for (int i = 0; i < count; ++i) {
        PaintTestPicture(encoder.Picture(), i);
        packets.push_back(encoder.Encode(i, i * 1000 / stream.fps));
    }
    return packets;
}

void WriteVideoFile(const std::string& path, const std::vector<PacketPtr>& packets, int fps, Headers where) {
    const Packet& first = *packets.at(0);
    const std::size_t headers = first.fourcc == wire::kZIVG ? 0 : HeaderLength(first);
    struct Free {
        void operator()(AVCodecParameters* p) const { avcodec_parameters_free(&p); }
    };
    const std::unique_ptr<AVCodecParameters, Free> parameters(avcodec_parameters_alloc());
    parameters->codec_type = AVMEDIA_TYPE_VIDEO;
    parameters->codec_id = IdOf(first.fourcc);
    parameters->width = first.width;
    parameters->height = first.height;
    if (headers > 0) {
        parameters->extradata =
            static_cast<std::uint8_t*>(av_mallocz(headers + AV_INPUT_BUFFER_PADDING_SIZE));
        std::memcpy(parameters->extradata, first.data.data(), headers);
        parameters->extradata_size = static_cast<int>(headers);
    }
    Muxer muxer(path, parameters.get(), fps);
    for (std::size_t i = 0; i < packets.size(); ++i) {
        Packet packet = *packets[i];
        if (where == Headers::InHead && packet.key && headers > 0) {
            packet.data.erase(packet.data.begin(),
                              packet.data.begin() + static_cast<std::ptrdiff_t>(HeaderLength(packet)));
        }
        muxer.Write(ToAv(packet).get(), static_cast<std::int64_t>(i));
    }
}

void EncodeVideoFile(const std::string& path, const char* encoder, int width, int height, int count, int fps,
                     int reordered) {
    const AVCodec* const codec = avcodec_find_encoder_by_name(encoder);
    AvPtr<AVCodecContext> context(avcodec_alloc_context3(codec));
    context->width = width;
    context->height = height;
    context->pix_fmt = AV_PIX_FMT_YUV420P;
    context->time_base = {1, fps};
    context->framerate = {fps, 1};
    context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    context->thread_count = 1;
    context->max_b_frames = reordered;
    if (reordered > 0) {
        av_opt_set(context->priv_data, "x264-params", "b-adapt=0:scenecut=0", 0);
    }
    Require(avcodec_open2(context.get(), codec, nullptr) >= 0, "no encoder");
    struct Free {
        void operator()(AVCodecParameters* p) const { avcodec_parameters_free(&p); }
    };
    const std::unique_ptr<AVCodecParameters, Free> parameters(avcodec_parameters_alloc());
    avcodec_parameters_from_context(parameters.get(), context.get());
    Muxer muxer(path, parameters.get(), fps);
    AvPtr<AVFrame> frame(av_frame_alloc());
    frame->format = context->pix_fmt;
    frame->width = width;
    frame->height = height;
    av_frame_get_buffer(frame.get(), 0);
    AvPtr<AVPacket> packet(av_packet_alloc());
    std::int64_t written = 0;
    for (int i = 0; i <= count; ++i) {
        if (i < count) {
            av_frame_make_writable(frame.get());
            PaintTestPicture(frame.get(), i);
            frame->pts = i;
        }
        avcodec_send_frame(context.get(), i < count ? frame.get() : nullptr);
        while (avcodec_receive_packet(context.get(), packet.get()) >= 0) {
            if (reordered > 0) {
                muxer.WriteStamped(packet.get());
            } else {
                muxer.Write(packet.get(), written++);
            }
            av_packet_unref(packet.get());
        }
    }
}

int NumberOf(const Luma& picture) {
    // The brightness in the corner goes up by 5 from picture to picture.
    return (picture.rows[0] - 40 + 2) / 5;
}

std::vector<TimedLuma> DecodeFile(const std::string& path) {
    AVFormatContext* opened = nullptr;
    Require(avformat_open_input(&opened, path.c_str(), nullptr, nullptr) >= 0, "no file");
    const AvPtr<AVFormatContext> file(opened);
    Require(avformat_find_stream_info(opened, nullptr) >= 0, "no streams");
    const AVStream* const stream = opened->streams[0];
    const AVCodec* const codec = avcodec_find_decoder(stream->codecpar->codec_id);
    AvPtr<AVCodecContext> context(avcodec_alloc_context3(codec));
    avcodec_parameters_to_context(context.get(), stream->codecpar);
    context->thread_count = 1;
    Require(avcodec_open2(context.get(), codec, nullptr) >= 0, "no decoder");
    AvPtr<AVPacket> packet(av_packet_alloc());
    AvPtr<AVFrame> frame(av_frame_alloc());
    std::vector<TimedLuma> out;
    for (bool more = true; more; av_packet_unref(packet.get())) {
        more = av_read_frame(opened, packet.get()) >= 0;
        avcodec_send_packet(context.get(), more ? packet.get() : nullptr);
        while (avcodec_receive_frame(context.get(), frame.get()) >= 0) {
            Luma luma{frame->width, frame->height, {}};
            luma.rows.assign(frame->data[0], frame->data[0] + frame->width);
            out.push_back({av_rescale_q(frame->best_effort_timestamp, stream->time_base, {1, 1000}), luma});
        }
    }
    return out;
}

std::vector<std::string> NalUnits(const std::vector<std::uint8_t>& data) {
    std::vector<std::string> units;
    for (std::size_t at = StartCode(data, 0); at < data.size();) {
        const std::size_t begin = at + 3;
        at = StartCode(data, begin);
        std::size_t end = at;
        while (end > begin && data[end - 1] == 0) {
            --end;  // belongs to a start code of four bytes
        }
        if (end > begin && (data[begin] & 31) != 9) {
            units.emplace_back(data.begin() + static_cast<std::ptrdiff_t>(begin),
                               data.begin() + static_cast<std::ptrdiff_t>(end));
        }
    }
    std::sort(units.begin(), units.end());
    return units;
}

}  // namespace kvtest
