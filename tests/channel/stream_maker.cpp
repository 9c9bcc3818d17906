#include "stream_maker.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/opt.h>
}

#include <stdexcept>

namespace kvtest {

namespace {

void Word(std::string& out, std::uint32_t value) {
    for (int shift = 0; shift < 32; shift += 8) {
        out += static_cast<char>(value >> shift & 0xFF);
    }
}

}  // namespace

StreamMaker::StreamMaker(const char* encoder, int width, int height, int group, int reordered)
    : m_width(width), m_height(height) {
    const AVCodec* const codec = avcodec_find_encoder_by_name(encoder);
    m_context = avcodec_alloc_context3(codec);
    m_context->width = width;
    m_context->height = height;
    m_context->time_base = {1, 25};
    m_context->gop_size = group;
    m_context->max_b_frames = reordered;
    m_context->thread_count = 1;
    av_log_set_level(AV_LOG_QUIET);
    const bool jpeg = std::string_view(encoder) == "mjpeg";
    m_context->pix_fmt = jpeg ? AV_PIX_FMT_YUVJ420P : AV_PIX_FMT_YUV420P;
    if (std::string_view(encoder) == "libx264") {
        av_opt_set(m_context->priv_data, "preset", "ultrafast", 0);
        if (reordered == 0) {
            av_opt_set(m_context->priv_data, "tune", "zerolatency", 0);
        } else {
            av_opt_set(m_context->priv_data, "x264-params", "b-adapt=0:scenecut=0", 0);
        }
        av_opt_set(m_context->priv_data, "qp", "8", 0);
    } else if (std::string_view(encoder) == "libx265") {
        av_opt_set(m_context->priv_data, "preset", "ultrafast", 0);
        av_opt_set(m_context->priv_data, "tune", "zerolatency", 0);
        // Without threads of its own a picture comes out as it goes in.
        av_opt_set(m_context->priv_data, "x265-params",
                   "qp=8:ctu=16:min-cu-size=8:pools=none:frame-threads=1:log-level=none", 0);
    } else {
        m_context->flags |= AV_CODEC_FLAG_QSCALE;
        m_context->global_quality = 2 * FF_QP2LAMBDA;
    }
    if (avcodec_open2(m_context, codec, nullptr) < 0) {
        throw std::runtime_error(std::string("no encoder ") + encoder);
    }
}

StreamMaker::~StreamMaker() {
    avcodec_free_context(&m_context);
}

int StreamMaker::Luma(int index, int x, int y, int width, int height) {
    const int ramp = 40 + 120 * x / width + 4 * index;
    return y < height / 2 ? ramp : 235 - ramp + 16;
}

Unit StreamMaker::Next() {
    Send(false);
    Unit unit;
    Take(unit);
    return unit;
}

std::vector<Unit> StreamMaker::All(int count) {
    std::vector<Unit> units;
    Unit unit;
    for (int i = 0; i <= count; ++i) {
        Send(i == count);
        while (Take(unit)) {
            units.push_back(unit);
        }
    }
    return units;
}

void StreamMaker::Send(bool end) {
    if (end) {
        avcodec_send_frame(m_context, nullptr);
        return;
    }
    AVFrame* frame = av_frame_alloc();
    frame->format = m_context->pix_fmt;
    frame->width = m_width;
    frame->height = m_height;
    frame->pts = m_index;
    frame->quality = m_context->global_quality;
    av_frame_get_buffer(frame, 0);
    for (int y = 0; y < m_height; ++y) {
        for (int x = 0; x < m_width; ++x) {
            frame->data[0][y * frame->linesize[0] + x] =
                static_cast<std::uint8_t>(Luma(m_index, x, y, m_width, m_height));
        }
    }
    for (int plane = 1; plane < 3; ++plane) {
        for (int y = 0; y < (m_height + 1) / 2; ++y) {
            std::fill_n(frame->data[plane] + y * frame->linesize[plane], (m_width + 1) / 2,
                        std::uint8_t{128});
        }
    }
    ++m_index;
    avcodec_send_frame(m_context, frame);
    av_frame_free(&frame);
}

bool StreamMaker::Take(Unit& unit) {
    AVPacket* packet = av_packet_alloc();
    const bool taken = avcodec_receive_packet(m_context, packet) == 0;
    if (taken) {
        unit.bytes.assign(packet->data, packet->data + packet->size);
        unit.key = (packet->flags & AV_PKT_FLAG_KEY) != 0;
    }
    av_packet_free(&packet);
    return taken;
}

std::string Head(std::uint32_t fourcc, bool key, int width, int height, std::uint32_t dataSize,
                 std::uint32_t reserved) {
    std::string head;
    Word(head, fourcc);
    Word(head, key ? 1 : 0);
    Word(head, static_cast<std::uint32_t>(width));
    Word(head, static_cast<std::uint32_t>(height));
    head.append(wire::kReservedOffset - wire::kOpaqueOffset, '\x5A');
    Word(head, reserved);
    Word(head, dataSize);
    return head;
}

std::string VideoRecord(std::uint32_t fourcc, bool key, int width, int height, std::string_view payload) {
    return Head(fourcc, key, width, height, static_cast<std::uint32_t>(payload.size())).append(payload);
}

std::string AudioRecord(std::uint32_t fourcc, std::uint32_t rate, std::uint16_t bits, std::uint16_t channels,
                        std::string_view sound) {
    std::string record =
        Head(fourcc, false, 0, 0, static_cast<std::uint32_t>(sound.size()) + wire::kAudioReserved,
             wire::kAudioReserved);
    Word(record, rate);
    Word(record, std::uint32_t{bits} | std::uint32_t{channels} << 16);
    return record.append(sound);
}

std::vector<std::string> RecordList(std::uint32_t fourcc, StreamMaker& maker, int width, int height,
                                    int count) {
    std::vector<std::string> records;
    for (int i = 0; i < count; ++i) {
        const Unit unit = maker.Next();
        records.push_back(VideoRecord(fourcc, unit.key, width, height, unit.bytes));
    }
    return records;
}

std::string Records(std::uint32_t fourcc, StreamMaker& maker, int width, int height, int count) {
    std::string all;
    for (const std::string& record : RecordList(fourcc, maker, width, height, count)) {
        all += record;
    }
    return all;
}

}  // namespace kvtest
