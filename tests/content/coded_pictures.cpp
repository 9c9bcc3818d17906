#include "content/coded_pictures.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/opt.h>
}

#include <algorithm>
#include <bit>
#include <cmath>
#include <memory>
#include <stdexcept>

namespace kvtest {

namespace {

struct ContextEnd {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
};
struct FrameEnd {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
struct PacketEnd {
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
using Context = std::unique_ptr<AVCodecContext, ContextEnd>;
using Frame = std::unique_ptr<AVFrame, FrameEnd>;
using Packet = std::unique_ptr<AVPacket, PacketEnd>;

constexpr const char* kEncoders[] = {"libx264", "mpeg4", "mjpeg", "libx265", "libx265"};

void Require(bool good, const char* what) {
    if (!good) {
        throw std::runtime_error(what);
    }
}

Context OpenEncoder(Coding coding, int width, int height, const CodingOptions& options) {
    av_log_set_level(AV_LOG_QUIET);
    const AVCodec* const codec = avcodec_find_encoder_by_name(kEncoders[static_cast<int>(coding)]);
    Require(codec != nullptr, "no such encoder");
    Context context(avcodec_alloc_context3(codec));
    Require(context != nullptr, "no memory");
    context->width = width;
    context->height = height;
    context->time_base = {1, 25};
    context->framerate = {25, 1};
    context->pix_fmt = coding == Coding::Mjpeg      ? AV_PIX_FMT_YUVJ420P
                       : coding == Coding::H265Deep ? AV_PIX_FMT_YUV420P10LE
                                                    : AV_PIX_FMT_YUV420P;
    context->gop_size = options.keyInterval;
    context->max_b_frames = options.reordered;
    context->thread_count = 1;
    if (coding == Coding::Mjpeg) {
        context->flags |= AV_CODEC_FLAG_QSCALE;
        context->global_quality = FF_QP2LAMBDA * 4;
    } else {
        context->bit_rate = options.bitrate;
    }
    if (coding == Coding::H264) {
        av_opt_set(context->priv_data, "preset", "veryfast", 0);
        av_opt_set(context->priv_data, "x264-params", "scenecut=0:sync-lookahead=0:rc-lookahead=0", 0);
    } else if (coding == Coding::H265 || coding == Coding::H265Deep) {
        av_opt_set(context->priv_data, "preset", "ultrafast", 0);
        av_opt_set(
            context->priv_data, "x265-params",
            "scenecut=0:rc-lookahead=4:bframe-bias=100:b-adapt=0:open-gop=0:pools=none:frame-threads=1:"
            "min-cu-size=8:ctu=16:log-level=none",
            0);
    }
    Require(avcodec_open2(context.get(), codec, nullptr) == 0, "the encoder does not open");
    return context;
}

void Fill(AVFrame& frame, const Planes& from) {
    const std::vector<std::uint8_t>* const planes[] = {&from.y, &from.u, &from.v};
    for (int plane = 0; plane < 3; ++plane) {
        const int width = plane == 0 ? from.width : (from.width + 1) / 2;
        const int height = plane == 0 ? from.height : (from.height + 1) / 2;
        for (int row = 0; row < height; ++row) {
            const std::uint8_t* const samples = planes[plane]->data() + row * width;
            std::uint8_t* const to = frame.data[plane] + row * frame.linesize[plane];
            if (frame.format == AV_PIX_FMT_YUV420P10LE) {
                std::transform(samples, samples + width, reinterpret_cast<std::uint16_t*>(to),
                               [](std::uint8_t sample) { return static_cast<std::uint16_t>(sample << 2); });
            } else {
                std::copy_n(samples, width, to);
            }
        }
    }
}

void Collect(AVCodecContext& context, AVPacket& packet, std::vector<CodedUnit>& units) {
    while (avcodec_receive_packet(&context, &packet) == 0) {
        units.push_back({{packet.data, packet.data + packet.size}, (packet.flags & AV_PKT_FLAG_KEY) != 0});
        av_packet_unref(&packet);
    }
}

}  // namespace

Planes MovingPicture(int width, int height, int index) {
    Planes made{width, height, {}, {}, {}};
    const int colourWidth = (width + 1) / 2;
    const int colourHeight = (height + 1) / 2;
    made.y.resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    made.u.resize(static_cast<std::size_t>(colourWidth) * static_cast<std::size_t>(colourHeight));
    made.v.resize(made.u.size());
    const int side = height / 4 + 1;
    const int boxLeft = (index * 5) % (width + side) - side;
    const int boxTop = height / 3;
    std::size_t place = 0;
    for (int y = 0; y < height; ++y) {
        const double wave = std::sin((y + index) * 0.02) * 40;
        for (int x = 0; x < width; ++x) {
            // Texture that stays where it is, as walls and trees do, with a little noise of the sensor.
            const unsigned hash =
                (static_cast<unsigned>(x / 3) * 73856093u) ^ (static_cast<unsigned>(y / 3) * 19349663u);
            const unsigned noise =
                (static_cast<unsigned>(x) * 2654435761u) ^ (static_cast<unsigned>(y + index * 131) * 40503u);
            double value = 110 + wave + x * 40.0 / width + hash % 24 + (noise >> 13) % 3;
            if (x >= boxLeft && x < boxLeft + side && y >= boxTop && y < boxTop + side) {
                value = (x + y) / 8 % 2 == 0 ? 210 : 60;
            }
            made.y[place++] = static_cast<std::uint8_t>(value);
        }
    }
    place = 0;
    for (int y = 0; y < colourHeight; ++y) {
        for (int x = 0; x < colourWidth; ++x, ++place) {
            const bool inBox =
                2 * x >= boxLeft && 2 * x < boxLeft + side && 2 * y >= boxTop && 2 * y < boxTop + side;
            made.u[place] = inBox ? 90 : static_cast<std::uint8_t>(100 + x * 50 / colourWidth);
            made.v[place] = inBox ? 200 : static_cast<std::uint8_t>(110 + y * 40 / colourHeight);
        }
    }
    return made;
}

void DrawNumber(Planes& picture, int number) {
    unsigned blocks = 0x80u | (static_cast<unsigned>(number) & 63) << 1;
    blocks |= static_cast<unsigned>(std::popcount(blocks)) & 1;
    for (int y = 0; y < picture.height / 8; ++y) {
        for (int x = 0; x < picture.width; ++x) {
            const bool bWhite = (blocks >> (7 - x * 8 / picture.width) & 1) != 0;
            picture.y[static_cast<std::size_t>(y * picture.width + x)] = bWhite ? 235 : 16;
        }
    }
    const int colourWidth = (picture.width + 1) / 2;
    const auto samples = static_cast<std::ptrdiff_t>(colourWidth) * (picture.height / 16);
    std::fill_n(picture.u.begin(), samples, std::uint8_t{128});
    std::fill_n(picture.v.begin(), samples, std::uint8_t{128});
}

int NumberOf(const std::array<bool, 8>& white) {
    unsigned blocks = 0;
    for (const bool bWhite : white) {
        blocks = blocks << 1 | (bWhite ? 1u : 0u);
    }
    const bool bSound = white[0] && std::popcount(blocks) % 2 == 0;
    return bSound ? static_cast<int>(blocks >> 1 & 63) : -1;
}

std::vector<CodedUnit> EncodeMovingPictures(Coding coding, int width, int height,
                                            const CodingOptions& options) {
    const Context context = OpenEncoder(coding, width, height, options);
    const Frame frame(av_frame_alloc());
    const Packet packet(av_packet_alloc());
    Require(frame != nullptr && packet != nullptr, "no memory");
    frame->format = context->pix_fmt;
    frame->width = width;
    frame->height = height;
    frame->quality = context->global_quality;
    Require(av_frame_get_buffer(frame.get(), 0) == 0, "no memory");
    std::vector<CodedUnit> units;
    for (int i = 0; i < options.frames; ++i) {
        Require(av_frame_make_writable(frame.get()) == 0, "no memory");
        Planes picture = MovingPicture(width, height, i);
        if (options.numbered) {
            DrawNumber(picture, i);
        }
        Fill(*frame, picture);
        frame->pts = i;
        Require(avcodec_send_frame(context.get(), frame.get()) == 0, "the encoder takes no picture");
        Collect(*context, *packet, units);
    }
    avcodec_send_frame(context.get(), nullptr);
    Collect(*context, *packet, units);
    return units;
}

}  // namespace kvtest
