#include "paced_decode.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <thread>

#include "films.h"

namespace kvbench {

namespace {

using Clock = std::chrono::steady_clock;
constexpr std::chrono::nanoseconds kPicture{1'000'000'000 / kPicturesPerSecond};

void DecodeOne(AVCodecID id, const std::vector<kvtest::CodedUnit>& film, Clock::time_point first,
               const std::atomic<bool>& bEnd, std::atomic<long>& decoded) {
    AVCodecContext* context = avcodec_alloc_context3(avcodec_find_decoder(id));
    context->thread_count = 1;
    if (avcodec_open2(context, nullptr, nullptr) != 0) {
        std::terminate();  // the recorder's and the client's walls could not be compared with anything
    }
    AVPacket* packet = av_packet_alloc();
    AVFrame* frame = av_frame_alloc();
    for (std::size_t i = 0; !bEnd; ++i) {
        std::this_thread::sleep_until(first + kPicture * static_cast<std::int64_t>(i));
        const kvtest::CodedUnit& unit = film[i % film.size()];
        av_new_packet(packet, static_cast<int>(unit.bytes.size()));
        std::copy(unit.bytes.begin(), unit.bytes.end(), packet->data);
        avcodec_send_packet(context, packet);
        av_packet_unref(packet);
        while (avcodec_receive_frame(context, frame) == 0) {
            av_frame_unref(frame);
            ++decoded;
        }
    }
    av_frame_free(&frame);
    av_packet_free(&packet);
    avcodec_free_context(&context);
}

}  // namespace

void DecodePaced(kvtest::Coding coding, const std::vector<kvtest::CodedUnit>& film, int streams,
                 const std::function<void(const std::function<long()>&)>& during) {
    const AVCodecID id = coding == kvtest::Coding::Mjpeg ? AV_CODEC_ID_MJPEG : AV_CODEC_ID_H264;
    std::atomic<bool> bEnd = false;
    std::atomic<long> decoded = 0;
    std::vector<std::jthread> threads;
    const Clock::time_point begin = Clock::now();
    for (int i = 0; i < streams; ++i) {
        threads.emplace_back(
            [&, first = begin + kPicture * i / streams] { DecodeOne(id, film, first, bEnd, decoded); });
    }
    during([&] { return decoded.load(); });
    bEnd = true;
}

}  // namespace kvbench
