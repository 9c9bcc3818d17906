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

FileReader::FileReader(const std::string& path) : m_path(path), m_packet(av_packet_alloc()) {
    if (!m_packet) {
        throw std::runtime_error("no memory for " + path);
    }
    Open();
}

void FileReader::Open() {
    std::error_code error;
    const auto status = std::filesystem::status(m_path, error);
    if (!std::filesystem::exists(status)) {
        throw std::runtime_error("cannot read " + m_path + ": there is no such file");
    }
    // Pipes and devices could block the threads that serve all channels.
    if (!std::filesystem::is_regular_file(status)) {
        throw std::runtime_error("cannot read " + m_path + ": it is not a plain file");
    }
    m_filter.reset();
    m_file.reset();
    const std::string url = "file:" + m_path;
    // Known kinds only, and nothing in the file leads elsewhere than to files.
    const AVInputFormat* const kind = KindOf(url, m_path);
    AVFormatContext* opened = nullptr;
    AVDictionary* options = nullptr;
    av_dict_set(&options, "protocol_whitelist", "file", 0);
    const int opening = avformat_open_input(&opened, url.c_str(), kind, &options);
    av_dict_free(&options);
    if (opening < 0) {
        throw std::runtime_error("cannot read " + m_path + ": " + AvErrorText(opening));
    }
    m_file.reset(opened);
    if (const int found = avformat_find_stream_info(m_file.get(), nullptr); found < 0) {
        throw std::runtime_error("cannot read " + m_path + ": " + AvErrorText(found));
    }
    const int best = av_find_best_stream(m_file.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    // The cover of a piece of music is no film.
    if (best < 0 || (m_file->streams[best]->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0) {
        throw std::runtime_error("cannot play " + m_path + ": there are no pictures in it");
    }
    for (unsigned i = 0; i < m_file->nb_streams; ++i) {
        m_file->streams[i]->discard = static_cast<int>(i) == best ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    }
    m_stream = m_file->streams[best];
    m_atStart = true;
    m_ended = false;
    m_ordersItself = false;
    m_ahead.clear();
    Describe();
    OpenFilter();
    m_pending = ReadFiltered();
    if (m_pending && m_stream->codecpar->codec_id == AV_CODEC_ID_MPEG4 &&
        m_stream->codecpar->video_delay > 0 && m_packet->pts == AV_NOPTS_VALUE) {
        m_ordersItself = true;
        m_ahead.push_back(std::move(m_packet));
        m_packet.reset(av_packet_alloc());
        m_pending = m_packet && ReadOrdered();
    }
    if (!m_pending) {
        throw std::runtime_error("cannot play " + m_path + ": there are no pictures in it");
    }
    if (m_packet->pts != AV_NOPTS_VALUE && m_packet->dts != AV_NOPTS_VALUE && m_packet->pts > m_packet->dts) {
        m_reorderDelay = std::min(ToTime(m_packet->pts) - ToTime(m_packet->dts), kLongestGap);
    }
    if (m_format.passOn && m_format.codec == Codec::Mjpeg) {
        m_format.passOn = HasHuffmanTables(Bytes(m_packet->data, m_packet->size));
    }
    if (!m_format.passOn) {
        m_format.codec = Codec::H264;
        if (!avcodec_find_decoder(m_stream->codecpar->codec_id)) {
            throw std::runtime_error("cannot play " + m_path + ": nothing here decodes its pictures");
        }
    }
}

void FileReader::Describe() {
    const AVCodecParameters& parameters = *m_stream->codecpar;
    if (parameters.width < 1 || parameters.height < 1) {
        throw std::runtime_error("cannot play " + m_path + ": its pictures have no size");
    }
    m_format = {false, Codec::H264, parameters.width, parameters.height, 1};
    for (const PassedCodec& passed : kPassed) {
        if (passed.id == parameters.codec_id) {
            m_format.passOn = true;
            m_format.codec = passed.codec;
        }
    }
    const AVRational rate = av_guess_frame_rate(m_file.get(), m_stream, nullptr);
    const double fps = rate.num > 0 && rate.den > 0 ? std::clamp(av_q2d(rate), 0.1, 240.0) : 25.0;
    m_pictureTime = MediaTime(std::llround(1e6 / fps));
    m_reorderDelay = m_pictureTime * parameters.video_delay;
    m_format.fps = std::clamp(static_cast<int>(std::lround(fps)), 1, 60);
}

void FileReader::OpenFilter() {
    const AVCodecID codec = m_stream->codecpar->codec_id;
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
    m_filter.reset(filter);
    m_filter->time_base_in = m_stream->time_base;
    if (avcodec_parameters_copy(m_filter->par_in, m_stream->codecpar) < 0 ||
        av_bsf_init(m_filter.get()) < 0) {
        throw std::runtime_error("cannot play " + m_path + ": the headers of its pictures are damaged");
    }
}

// False at the end of the file, and where it is damaged beyond reading on.
bool FileReader::ReadPacket() {
    for (int i = 0; i < kMostOtherPackets; ++i) {
        av_packet_unref(m_packet.get());
        if (av_read_frame(m_file.get(), m_packet.get()) < 0) {
            return false;
        }
        const bool sizeFits =
            m_packet->size > 0 && static_cast<std::size_t>(m_packet->size) <= kLargestPicture;
        if (m_packet->stream_index == m_stream->index && sizeFits) {
            return true;
        }
    }
    return false;
}

bool FileReader::ReadFiltered() {
    // A file begins with a key picture, or is cut so that it does.
    while (ReadPacket()) {
        if (m_filter) {
            if (av_bsf_send_packet(m_filter.get(), m_packet.get()) < 0 ||
                av_bsf_receive_packet(m_filter.get(), m_packet.get()) < 0) {
                continue;  // a damaged packet, or half of one
            }
        }
        if (m_atStart && m_ahead.empty() && (m_packet->flags & AV_PKT_FLAG_KEY) == 0) {
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
        (m_packet->flags & AV_PKT_FLAG_KEY) == 0) {
        return;
    }
    const auto headers = Bytes(parameters->extradata, parameters->extradata_size);
    if (headers.size() > kMostHeaderBytes || !HasHeaders(codec, headers) ||
        HasHeaders(codec, Bytes(m_packet->data, m_packet->size))) {
        return;
    }
    AvPtr<AVPacket> joined(av_packet_alloc());
    if (!joined || av_new_packet(joined.get(), m_packet->size + parameters->extradata_size) < 0) {
        return;
    }
    std::memcpy(joined->data, headers.data(), headers.size());
    std::memcpy(joined->data + headers.size(), m_packet->data, static_cast<std::size_t>(m_packet->size));
    av_packet_copy_props(joined.get(), m_packet.get());
    std::swap(joined, m_packet);
}

// Back to the first picture without opening the file again; false if its kind cannot.
bool FileReader::Rewind() {
    const std::int64_t start = m_stream->start_time == AV_NOPTS_VALUE ? 0 : m_stream->start_time;
    if (av_seek_frame(m_file.get(), m_stream->index, start, AVSEEK_FLAG_BACKWARD) < 0) {
        return false;
    }
    if (m_filter) {
        av_bsf_flush(m_filter.get());
    }
    m_atStart = true;
    m_ended = false;
    m_ahead.clear();
    return ReadOrdered();
}

// The first of the packets that are read ahead knows when its picture is to be seen: one between two others
// at its own time, another one when the next such is decoded.
bool FileReader::IsFirstTimed() {
    if (m_ahead.empty()) {
        return false;
    }
    AVPacket& first = *m_ahead.front();
    if (IsBetween(Bytes(first.data, first.size))) {
        first.pts = first.dts;
        return true;
    }
    const auto next = std::find_if(m_ahead.begin() + 1, m_ahead.end(), [](const AvPtr<AVPacket>& packet) {
        return !IsBetween(Bytes(packet->data, packet->size));
    });
    if (next != m_ahead.end()) {
        first.pts = (*next)->dts;
        return true;
    }
    if (m_ended || m_ahead.size() > kMostAhead) {
        // Behind all that were decoded after it.
        const std::int64_t last = m_ahead.back()->dts;
        first.pts = last == AV_NOPTS_VALUE || last > INT64_MAX / 2
                        ? last
                        : last + std::max<std::int64_t>(m_ahead.back()->duration, 1);
        return true;
    }
    return false;
}

bool FileReader::ReadOrdered() {
    if (!m_ordersItself) {
        return ReadFiltered();
    }
    while (!IsFirstTimed()) {
        m_ended = m_ended || !ReadFiltered();
        if (m_ended && m_ahead.empty()) {
            return false;
        }
        if (!m_ended) {
            m_ahead.push_back(std::move(m_packet));
            m_packet.reset(av_packet_alloc());
            if (!m_packet) {
                throw std::runtime_error("no memory for " + m_path);
            }
        }
    }
    m_packet = std::move(m_ahead.front());
    m_ahead.pop_front();
    return true;
}

MediaTime FileReader::ToTime(std::int64_t stamp) const {
    // Steps between any two stay within the type.
    constexpr std::int64_t kFarthest = std::int64_t{1} << 50;
    return MediaTime(
        std::clamp(av_rescale_q(stamp, m_stream->time_base, {1, 1'000'000}), -kFarthest, kFarthest));
}

// Some kinds of files tell it from the second packet on, or wrongly for the first behind a rewind.
MediaTime FileReader::DecodeTime() const {
    const bool reorders = m_stream->codecpar->video_delay > 0;
    if (m_packet->pts != AV_NOPTS_VALUE && m_atStart && reorders) {
        return ToTime(m_packet->pts) - m_reorderDelay;
    }
    if (m_packet->dts != AV_NOPTS_VALUE) {
        return ToTime(m_packet->dts);
    }
    if (m_packet->pts != AV_NOPTS_VALUE && !reorders) {
        return ToTime(m_packet->pts);
    }
    return m_decodeTime + m_pictureTime;
}

MediaTime FileReader::TimeSinceLast() {
    const MediaTime now = DecodeTime();
    const MediaTime time = now - std::exchange(m_decodeTime, now);
    return m_atStart || time < MediaTime::zero() || time > kLongestGap ? m_pictureTime
                                                                       : std::max(time, kShortestGap);
}

MediaTime FileReader::DisplayDelay() const {
    if (m_packet->pts == AV_NOPTS_VALUE) {
        return MediaTime::zero();
    }
    const MediaTime time = ToTime(m_packet->pts) - m_decodeTime;
    return time < MediaTime::zero() || time > kLongestGap ? MediaTime::zero() : time;
}

FileReader::Next FileReader::Read() {
    if (!m_pending && !ReadOrdered() && !Rewind()) {
        const FileFormat before = m_format;
        Open();
        if (m_format.passOn != before.passOn || m_format.codec != before.codec) {
            throw std::runtime_error("cannot go on with " + m_path + ": it has become another file");
        }
    }
    m_pending = false;
    const MediaTime after = TimeSinceLast();
    const MediaTime delay = DisplayDelay();
    return {m_packet.get(), after, delay, std::exchange(m_atStart, false)};
}

}  // namespace kvrecorder
