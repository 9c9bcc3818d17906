#include "media/file_reader.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <span>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace kvrecorder {
namespace {

// Longer gaps and steps back between two pictures are faults of the file; shorter steps would let a
// file take a whole processor.
constexpr MediaTime kLongestGap{10'000'000};
constexpr MediaTime kShortestGap{2'000};
constexpr std::size_t kMostHeaderBytes = 64 << 10;
// Packets of sound and data between two pictures.
constexpr int kMostOtherPackets = 100'000;
constexpr std::size_t kLargestPicture = 32 << 20;

struct PassedCodec {
    AVCodecID id;
    Codec codec;
};
constexpr PassedCodec kPassed[] = {
    {AV_CODEC_ID_H264, Codec::H264},
    {AV_CODEC_ID_MPEG4, Codec::Mpeg4},
    {AV_CODEC_ID_MJPEG, Codec::Mjpeg},
};

std::span<const std::uint8_t> Bytes(const std::uint8_t* data, int size) {
    return {data, data ? static_cast<std::size_t>(size) : 0};
}

// Some start code in the data is followed by a byte that `wanted` takes.
template <typename Wanted>
bool HasStartCode(std::span<const std::uint8_t> data, Wanted wanted) {
    for (std::size_t i = 0; i + 3 < data.size(); ++i) {
        if (data[i] == 0 && data[i + 1] == 0 && data[i + 2] == 1 && wanted(data[i + 3])) {
            return true;
        }
    }
    return false;
}

// A decoder can begin with this packet.
bool HasHeaders(AVCodecID codec, std::span<const std::uint8_t> data) {
    // The headers come first; the picture itself need not be searched.
    data = data.first(std::min(data.size(), kMostHeaderBytes));
    if (codec == AV_CODEC_ID_H264) {
        return HasStartCode(data, [](std::uint8_t byte) { return (byte & 31) == 7; });
    }
    return HasStartCode(data, [](std::uint8_t byte) { return byte >= 0x20 && byte <= 0x2F; });
}

// Cameras leave out the standard Huffman tables in some AVI files; that is not a plain JPEG picture.
bool HasHuffmanTables(std::span<const std::uint8_t> data) {
    std::size_t at = 2;
    while (at + 4 <= data.size() && data[at] == 0xFF && data[at + 1] != 0xDA) {
        if (data[at + 1] == 0xC4) {
            return true;
        }
        at += 2 + (static_cast<std::size_t>(data[at + 2]) << 8 | data[at + 3]);
    }
    return false;
}

// Formats that name other files to be read, some of which wait for these to grow.
constexpr std::string_view kLists[] = {"hls", "concat", "concatf", "dash", "imf", "sdp", "rtsp"};

const AVInputFormat* KindOf(const std::string& url, const std::string& path) {
    AVIOContext* opened = nullptr;
    if (const int error = avio_open(&opened, url.c_str(), AVIO_FLAG_READ); error < 0) {
        throw std::runtime_error("cannot read " + path + ": " + AvErrorText(error));
    }
    const AVInputFormat* kind = nullptr;
    const int error = av_probe_input_buffer2(opened, &kind, path.c_str(), nullptr, 0, 0);
    avio_closep(&opened);
    if (error < 0 || !kind) {
        throw std::runtime_error("cannot read " + path + ": it is of no known kind");
    }
    const std::string_view names = kind->name;
    const std::string_view first = names.substr(0, names.find(','));
    if (std::find(std::begin(kLists), std::end(kLists), first) != std::end(kLists)) {
        throw std::runtime_error("cannot play " + path + ": it is a list of other files");
    }
    return kind;
}

}  // namespace

FileReader::FileReader(const std::string& path) : path_(path), packet_(av_packet_alloc()) {
    if (!packet_) {
        throw std::runtime_error("no memory for " + path);
    }
    Open();
}

void FileReader::Open() {
    std::error_code error;
    const auto status = std::filesystem::status(path_, error);
    if (!std::filesystem::exists(status)) {
        throw std::runtime_error("cannot read " + path_ + ": there is no such file");
    }
    // Pipes and devices could block the threads that serve all channels.
    if (!std::filesystem::is_regular_file(status)) {
        throw std::runtime_error("cannot read " + path_ + ": it is not a plain file");
    }
    filter_.reset();
    file_.reset();
    const std::string url = "file:" + path_;
    // Known kinds only, and nothing in the file leads elsewhere than to files.
    const AVInputFormat* const kind = KindOf(url, path_);
    AVFormatContext* opened = nullptr;
    AVDictionary* options = nullptr;
    av_dict_set(&options, "protocol_whitelist", "file", 0);
    const int opening = avformat_open_input(&opened, url.c_str(), kind, &options);
    av_dict_free(&options);
    if (opening < 0) {
        throw std::runtime_error("cannot read " + path_ + ": " + AvErrorText(opening));
    }
    file_.reset(opened);
    if (const int found = avformat_find_stream_info(file_.get(), nullptr); found < 0) {
        throw std::runtime_error("cannot read " + path_ + ": " + AvErrorText(found));
    }
    const int best = av_find_best_stream(file_.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    // The cover of a piece of music is no film.
    if (best < 0 || (file_->streams[best]->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0) {
        throw std::runtime_error("cannot play " + path_ + ": there are no pictures in it");
    }
    for (unsigned i = 0; i < file_->nb_streams; ++i) {
        file_->streams[i]->discard = static_cast<int>(i) == best ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    }
    stream_ = file_->streams[best];
    lastStamp_ = AV_NOPTS_VALUE;
    atStart_ = true;
    Describe();
    OpenFilter();
    pending_ = ReadFiltered();
    if (!pending_) {
        throw std::runtime_error("cannot play " + path_ + ": there are no pictures in it");
    }
    if (format_.passOn && format_.codec == Codec::Mjpeg) {
        format_.passOn = HasHuffmanTables(Bytes(packet_->data, packet_->size));
    }
    if (!format_.passOn) {
        format_.codec = Codec::H264;
        if (!avcodec_find_decoder(stream_->codecpar->codec_id)) {
            throw std::runtime_error("cannot play " + path_ + ": nothing here decodes its pictures");
        }
    }
}

void FileReader::Describe() {
    const AVCodecParameters& parameters = *stream_->codecpar;
    if (parameters.width < 1 || parameters.height < 1) {
        throw std::runtime_error("cannot play " + path_ + ": its pictures have no size");
    }
    format_ = {false, Codec::H264, parameters.width, parameters.height, 1};
    for (const PassedCodec& passed : kPassed) {
        if (passed.id == parameters.codec_id) {
            format_.passOn = true;
            format_.codec = passed.codec;
        }
    }
    const AVRational rate = av_guess_frame_rate(file_.get(), stream_, nullptr);
    const double fps = rate.num > 0 && rate.den > 0 ? std::clamp(av_q2d(rate), 0.1, 240.0) : 25.0;
    pictureTime_ = MediaTime(std::llround(1e6 / fps));
    format_.fps = std::clamp(static_cast<int>(std::lround(fps)), 1, 60);
}

void FileReader::OpenFilter() {
    const AVCodecID codec = stream_->codecpar->codec_id;
    const char* const name = codec == AV_CODEC_ID_H264    ? "h264_mp4toannexb"
                             : codec == AV_CODEC_ID_MPEG4 ? "mpeg4_unpack_bframes"
                                                          : nullptr;
    if (!name) {
        return;
    }
    AVBSFContext* filter = nullptr;
    const AVBitStreamFilter* const kind = av_bsf_get_by_name(name);
    if (!kind || av_bsf_alloc(kind, &filter) < 0) {
        throw std::runtime_error(std::string("the filter ") + name + " is not to be had");
    }
    filter_.reset(filter);
    filter_->time_base_in = stream_->time_base;
    if (avcodec_parameters_copy(filter_->par_in, stream_->codecpar) < 0 || av_bsf_init(filter_.get()) < 0) {
        throw std::runtime_error("cannot play " + path_ + ": the headers of its pictures are damaged");
    }
}

// False at the end of the file, and where it is damaged beyond reading on.
bool FileReader::ReadPacket() {
    for (int i = 0; i < kMostOtherPackets; ++i) {
        av_packet_unref(packet_.get());
        if (av_read_frame(file_.get(), packet_.get()) < 0) {
            return false;
        }
        const bool sizeFits = packet_->size > 0 && static_cast<std::size_t>(packet_->size) <= kLargestPicture;
        if (packet_->stream_index == stream_->index && sizeFits) {
            return true;
        }
    }
    return false;
}

bool FileReader::ReadFiltered() {
    // A file begins with a key picture, or is cut so that it does.
    while (ReadPacket()) {
        if (filter_) {
            if (av_bsf_send_packet(filter_.get(), packet_.get()) < 0 ||
                av_bsf_receive_packet(filter_.get(), packet_.get()) < 0) {
                continue;  // a damaged packet, or half of one
            }
        }
        if (atStart_ && (packet_->flags & AV_PKT_FLAG_KEY) == 0) {
            continue;
        }
        InsertHeaders();
        return true;
    }
    return false;
}

void FileReader::InsertHeaders() {
    const AVCodecParameters* const parameters = Parameters();
    const AVCodecID codec = parameters->codec_id;
    if ((codec != AV_CODEC_ID_H264 && codec != AV_CODEC_ID_MPEG4) ||
        (packet_->flags & AV_PKT_FLAG_KEY) == 0) {
        return;
    }
    const auto headers = Bytes(parameters->extradata, parameters->extradata_size);
    if (headers.size() > kMostHeaderBytes || !HasHeaders(codec, headers) ||
        HasHeaders(codec, Bytes(packet_->data, packet_->size))) {
        return;
    }
    AvPtr<AVPacket> joined(av_packet_alloc());
    if (!joined || av_new_packet(joined.get(), packet_->size + parameters->extradata_size) < 0) {
        return;
    }
    std::memcpy(joined->data, headers.data(), headers.size());
    std::memcpy(joined->data + headers.size(), packet_->data, static_cast<std::size_t>(packet_->size));
    av_packet_copy_props(joined.get(), packet_.get());
    std::swap(joined, packet_);
}

// Back to the first picture without opening the file again; false if its kind cannot.
bool FileReader::Rewind() {
    const std::int64_t start = stream_->start_time == AV_NOPTS_VALUE ? 0 : stream_->start_time;
    if (av_seek_frame(file_.get(), stream_->index, start, AVSEEK_FLAG_BACKWARD) < 0) {
        return false;
    }
    if (filter_) {
        av_bsf_flush(filter_.get());
    }
    atStart_ = true;
    lastStamp_ = AV_NOPTS_VALUE;
    return ReadFiltered();
}

MediaTime FileReader::TimeSinceLast() {
    const std::int64_t stamp = packet_->dts != AV_NOPTS_VALUE ? packet_->dts : packet_->pts;
    const std::int64_t last = std::exchange(lastStamp_, stamp);
    if (stamp == AV_NOPTS_VALUE || last == AV_NOPTS_VALUE) {
        return pictureTime_;
    }
    std::int64_t step = 0;
    if (__builtin_sub_overflow(stamp, last, &step)) {
        return pictureTime_;
    }
    const MediaTime time(av_rescale_q(step, stream_->time_base, {1, 1'000'000}));
    return time < MediaTime::zero() || time > kLongestGap ? pictureTime_ : std::max(time, kShortestGap);
}

FileReader::Next FileReader::Read() {
    if (!pending_ && !ReadFiltered() && !Rewind()) {
        const FileFormat before = format_;
        Open();
        if (format_.passOn != before.passOn || format_.codec != before.codec) {
            throw std::runtime_error("cannot go on with " + path_ + ": it has become another file");
        }
    }
    pending_ = false;
    const bool begun = std::exchange(atStart_, false);
    return {packet_.get(), TimeSinceLast(), begun};
}

}  // namespace kvrecorder
