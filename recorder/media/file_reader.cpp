#include "media/file_reader.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>

#include "media/packet_headers.h"

namespace kvrecorder {
namespace {

// Longer gaps and steps back between two pictures are faults of the file; shorter steps would let a
// file take a whole processor.
constexpr MediaTime kLongestGap{10'000'000};
constexpr MediaTime kShortestGap{2'000};
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

}  // namespace

FileReader::FileReader(const std::string& path) : m_path(path), m_packet(av_packet_alloc()) {
    if (!m_packet) {
        throw std::runtime_error("no memory for " + path);
    }
    Open();
}

void FileReader::Open() {
    // The old file is closed first: never two of a channel at a time.
    m_opened = {};
    m_opened = OpenFile(m_path);
    m_atStart = true;
    m_ended = false;
    m_ordersItself = false;
    m_ahead.clear();
    Describe();
    ReadFirst();
    if (m_format.passOn && m_format.codec == Codec::Mjpeg) {
        m_format.passOn = HasHuffmanTables(*m_packet);
    }
    if (!m_format.passOn) {
        m_format.codec = Codec::H264;
        if (!avcodec_find_decoder(m_opened.pictures->codecpar->codec_id)) {
            throw std::runtime_error("cannot play " + m_path + ": nothing here decodes its pictures");
        }
    }
}

// The first packet tells whether the file knows its pictures' times.
void FileReader::ReadFirst() {
    const AVCodecParameters& parameters = *m_opened.pictures->codecpar;
    m_pending = ReadFiltered();
    if (m_pending && parameters.codec_id == AV_CODEC_ID_MPEG4 && parameters.video_delay > 0 &&
        m_packet->pts == AV_NOPTS_VALUE) {
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
}

void FileReader::Describe() {
    const AVCodecParameters& parameters = *m_opened.pictures->codecpar;
    m_format = {false, Codec::H264, parameters.width, parameters.height, 1};
    for (const PassedCodec& passed : kPassed) {
        if (passed.id == parameters.codec_id) {
            m_format.passOn = true;
            m_format.codec = passed.codec;
        }
    }
    const AVRational rate = av_guess_frame_rate(m_opened.file.get(), m_opened.pictures, nullptr);
    const double fps = rate.num > 0 && rate.den > 0 ? std::clamp(av_q2d(rate), 0.1, 240.0) : 25.0;
    m_pictureTime = MediaTime(std::llround(1e6 / fps));
    m_reorderDelay = m_pictureTime * parameters.video_delay;
    m_format.fps = std::clamp(static_cast<int>(std::lround(fps)), 1, 60);
}

// False at the end of the file, and where it is damaged beyond reading on.
bool FileReader::ReadPacket() {
    for (int i = 0; i < kMostOtherPackets; ++i) {
        av_packet_unref(m_packet.get());
        if (av_read_frame(m_opened.file.get(), m_packet.get()) < 0) {
            return false;
        }
        const bool sizeFits =
            m_packet->size > 0 && static_cast<std::size_t>(m_packet->size) <= kLargestPicture;
        if (m_packet->stream_index == m_opened.pictures->index && sizeFits) {
            return true;
        }
    }
    return false;
}

bool FileReader::ReadFiltered() {
    // A file begins with a key picture, or is cut so that it does.
    while (ReadPacket()) {
        if (m_opened.filter) {
            if (av_bsf_send_packet(m_opened.filter.get(), m_packet.get()) < 0 ||
                av_bsf_receive_packet(m_opened.filter.get(), m_packet.get()) < 0) {
                continue;  // a damaged packet, or half of one
            }
        }
        if (m_atStart && m_ahead.empty() && (m_packet->flags & AV_PKT_FLAG_KEY) == 0) {
            continue;
        }
        InsertHeaders(*Parameters(), m_packet);
        return true;
    }
    return false;
}

// Goes back to the first picture without opening the file again; false if this kind of file cannot.
bool FileReader::Rewind() {
    const std::int64_t start =
        m_opened.pictures->start_time == AV_NOPTS_VALUE ? 0 : m_opened.pictures->start_time;
    if (av_seek_frame(m_opened.file.get(), m_opened.pictures->index, start, AVSEEK_FLAG_BACKWARD) < 0) {
        return false;
    }
    if (m_opened.filter) {
        av_bsf_flush(m_opened.filter.get());
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
    if (IsBetween(first)) {
        first.pts = first.dts;
        return true;
    }
    const auto next = std::find_if(m_ahead.begin() + 1, m_ahead.end(),
                                   [](const AvPtr<AVPacket>& packet) { return !IsBetween(*packet); });
    if (next != m_ahead.end()) {
        first.pts = (*next)->dts;
        return true;
    }
    if (m_ended || m_ahead.size() > kMostAhead) {
        // It is shown after all that were decoded behind it.
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
        std::clamp(av_rescale_q(stamp, m_opened.pictures->time_base, {1, 1'000'000}), -kFarthest, kFarthest));
}

// Some kinds of files tell it from the second packet on, or wrongly for the first behind a rewind.
MediaTime FileReader::DecodeTime() const {
    const bool reorders = m_opened.pictures->codecpar->video_delay > 0;
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
