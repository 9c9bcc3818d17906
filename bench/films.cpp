#include "films.h"

extern "C" {
#include <libavformat/avformat.h>
}

#include <algorithm>
#include <cstring>
#include <span>
#include <stdexcept>

namespace kvbench {

namespace {

constexpr int kSliceOfKey = 5;

// What stands before the first slice of a key picture: the parameter sets, start codes included.
std::span<const std::uint8_t> ParameterSets(const std::vector<std::uint8_t>& picture) {
    for (std::size_t i = 0; i + 3 < picture.size(); ++i) {
        if (picture[i] == 0 && picture[i + 1] == 0 && picture[i + 2] == 1 &&
            (picture[i + 3] & 31) == kSliceOfKey) {
            return std::span(picture).first(i);
        }
    }
    throw std::runtime_error("the film begins with no key picture");
}

void Require(bool good, const char* what) {
    if (!good) {
        throw std::runtime_error(what);
    }
}

}  // namespace

void WriteFilm(const std::string& file, kvtest::Coding coding, int width, int height,
               const std::vector<kvtest::CodedUnit>& film, int seconds) {
    AVFormatContext* context = nullptr;
    Require(avformat_alloc_output_context2(&context, nullptr, "matroska", file.c_str()) >= 0, "no Matroska");
    AVStream* const stream = avformat_new_stream(context, nullptr);
    AVCodecParameters& shape = *stream->codecpar;
    shape.codec_type = AVMEDIA_TYPE_VIDEO;
    shape.codec_id = coding == kvtest::Coding::Mjpeg ? AV_CODEC_ID_MJPEG : AV_CODEC_ID_H264;
    shape.width = width;
    shape.height = height;
    stream->avg_frame_rate = {kPicturesPerSecond, 1};
    if (coding == kvtest::Coding::H264) {
        const auto sets = ParameterSets(film.front().bytes);
        shape.extradata = static_cast<std::uint8_t*>(av_mallocz(sets.size() + AV_INPUT_BUFFER_PADDING_SIZE));
        std::memcpy(shape.extradata, sets.data(), sets.size());
        shape.extradata_size = static_cast<int>(sets.size());
    }
    Require(avio_open(&context->pb, file.c_str(), AVIO_FLAG_WRITE) >= 0, "the film cannot be written");
    Require(avformat_write_header(context, nullptr) >= 0, "the film has no head");
    AVPacket* packet = av_packet_alloc();
    for (int i = 0; i < seconds * kPicturesPerSecond; ++i) {
        const kvtest::CodedUnit& unit = film[static_cast<std::size_t>(i) % film.size()];
        Require(av_new_packet(packet, static_cast<int>(unit.bytes.size())) == 0, "no memory");
        std::copy(unit.bytes.begin(), unit.bytes.end(), packet->data);
        packet->flags = unit.key ? AV_PKT_FLAG_KEY : 0;
        packet->pts = av_rescale_q(i, {1, kPicturesPerSecond}, stream->time_base);
        packet->dts = packet->pts;
        Require(av_write_frame(context, packet) >= 0, "the film cannot be written");
        av_packet_unref(packet);
    }
    av_packet_free(&packet);
    const bool bWritten = av_write_trailer(context) == 0;
    avio_closep(&context->pb);
    avformat_free_context(context);
    Require(bWritten, "the film cannot be written");
}

}  // namespace kvbench
