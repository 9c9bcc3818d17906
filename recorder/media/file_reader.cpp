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
// Packets that are read to find the order of pictures.
constexpr std::size_t kMostAhead = 16;

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

// The packet of MPEG-4 is a picture between two others.
bool IsBetween(std::span<const std::uint8_t> data) {
    for (std::size_t i = 0; i + 4 < data.size(); ++i) {
        if (data[i] == 0 && data[i + 1] == 0 && data[i + 2] == 1 && data[i + 3] == 0xB6) {
            return data[i + 4] >> 6 == 2;
        }
    }
    return false;
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
    atStart_ = true;
    ended_ = false;
    ordersItself_ = false;
    ahead_.clear();
    Describe();
    OpenFilter();
    pending_ = ReadFiltered();
    if (pending_ && stream_->codecpar->codec_id == AV_CODEC_ID_MPEG4 && stream_->codecpar->video_delay > 0 &&
        packet_->pts == AV_NOPTS_VALUE) {
        ordersItself_ = true;
        ahead_.push_back(std::move(packet_));
        packet_.reset(av_packet_alloc());
        pending_ = packet_ && ReadOrdered();
    }
    if (!pending_) {
        throw std::runtime_error("cannot play " + path_ + ": there are no pictures in it");
    }
    if (packet_->pts != AV_NOPTS_VALUE && packet_->dts != AV_NOPTS_VALUE && packet_->pts > packet_->dts) {
        reorderDelay_ = std::min(ToTime(packet_->pts) - ToTime(packet_->dts), kLongestGap);
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
    reorderDelay_ = pictureTime_ * parameters.video_delay;
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
        if (atStart_ && ahead_.empty() && (packet_->flags & AV_PKT_FLAG_KEY) == 0) {
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
    ended_ = false;
    ahead_.clear();
    return ReadOrdered();
}

// The first of the packets that are read ahead knows when its picture is to be seen: one between two others
// at its own time, another one when the next such is decoded.
bool FileReader::IsFirstTimed() {
    if (ahead_.empty()) {
        return false;
    }
    AVPacket& first = *ahead_.front();
    if (IsBetween(Bytes(first.data, first.size))) {
        first.pts = first.dts;
        return true;
    }
    const auto next = std::find_if(ahead_.begin() + 1, ahead_.end(), [](const AvPtr<AVPacket>& packet) {
        return !IsBetween(Bytes(packet->data, packet->size));
    });
    if (next != ahead_.end()) {
        first.pts = (*next)->dts;
        return true;
    }
    if (ended_ || ahead_.size() > kMostAhead) {
        // Behind all that were decoded after it.
        const std::int64_t last = ahead_.back()->dts;
        first.pts = last == AV_NOPTS_VALUE || last > INT64_MAX / 2
                        ? last
                        : last + std::max<std::int64_t>(ahead_.back()->duration, 1);
        return true;
    }
    return false;
}

bool FileReader::ReadOrdered() {
    if (!ordersItself_) {
        return ReadFiltered();
    }
    while (!IsFirstTimed()) {
        ended_ = ended_ || !ReadFiltered();
        if (ended_ && ahead_.empty()) {
            return false;
        }
        if (!ended_) {
            ahead_.push_back(std::move(packet_));
            packet_.reset(av_packet_alloc());
            if (!packet_) {
                throw std::runtime_error("no memory for " + path_);
            }
        }
    }
    packet_ = std::move(ahead_.front());
    ahead_.pop_front();
    return true;
}

MediaTime FileReader::ToTime(std::int64_t stamp) const {
    // Steps between any two stay within the type.
    constexpr std::int64_t kFarthest = std::int64_t{1} << 50;
    return MediaTime(
        std::clamp(av_rescale_q(stamp, stream_->time_base, {1, 1'000'000}), -kFarthest, kFarthest));
}

// Some kinds of files tell it from the second packet on, or wrongly for the first behind a rewind.
MediaTime FileReader::DecodeTime() const {
    const bool reorders = stream_->codecpar->video_delay > 0;
    if (packet_->pts != AV_NOPTS_VALUE && atStart_ && reorders) {
        return ToTime(packet_->pts) - reorderDelay_;
    }
    if (packet_->dts != AV_NOPTS_VALUE) {
        return ToTime(packet_->dts);
    }
    if (packet_->pts != AV_NOPTS_VALUE && !reorders) {
        return ToTime(packet_->pts);
    }
    return decodeTime_ + pictureTime_;
}

MediaTime FileReader::TimeSinceLast() {
    const MediaTime now = DecodeTime();
    const MediaTime time = now - std::exchange(decodeTime_, now);
    return atStart_ || time < MediaTime::zero() || time > kLongestGap ? pictureTime_
                                                                      : std::max(time, kShortestGap);
}

MediaTime FileReader::DisplayDelay() const {
    if (packet_->pts == AV_NOPTS_VALUE) {
        return MediaTime::zero();
    }
    const MediaTime time = ToTime(packet_->pts) - decodeTime_;
    return time < MediaTime::zero() || time > kLongestGap ? MediaTime::zero() : time;
}

FileReader::Next FileReader::Read() {
    if (!pending_ && !ReadOrdered() && !Rewind()) {
        const FileFormat before = format_;
        Open();
        if (format_.passOn != before.passOn || format_.codec != before.codec) {
            throw std::runtime_error("cannot go on with " + path_ + ": it has become another file");
        }
    }
    pending_ = false;
    const MediaTime after = TimeSinceLast();
    const MediaTime delay = DisplayDelay();
    return {packet_.get(), after, delay, std::exchange(atStart_, false)};
}

}  // namespace kvrecorder
