#include "media/matroska_writer.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "wire/frame_header.h"

namespace kvrecorder {
namespace {

// Length of the parameter sets that stand before an access unit's first slice, or of the headers before the
// first picture: what a player must know before all else.
std::size_t H264Head(const std::vector<std::uint8_t>& data) {
    for (std::size_t i = 0; i + 3 < data.size(); ++i) {
        if (data[i] != 0 || data[i + 1] != 0 || data[i + 2] != 1) {
            continue;
        }
        const int type = data[i + 3] & 0x1F;
        if (type == 1 || type == 5) {
            return i > 0 && data[i - 1] == 0 ? i - 1 : i;
        }
    }
    return 0;
}

std::size_t H265Head(const std::vector<std::uint8_t>& data) {
    for (std::size_t i = 0; i + 3 < data.size(); ++i) {
        if (data[i] == 0 && data[i + 1] == 0 && data[i + 2] == 1 && (data[i + 3] >> 1 & 0x3F) < 32) {
            return i > 0 && data[i - 1] == 0 ? i - 1 : i;
        }
    }
    return 0;
}

std::size_t Mpeg4Head(const std::vector<std::uint8_t>& data) {
    static constexpr std::array<std::uint8_t, 4> kPicture = {0, 0, 1, 0xB6};
    const auto found = std::search(data.begin(), data.end(), kPicture.begin(), kPicture.end());
    return found == data.end() ? 0 : static_cast<std::size_t>(found - data.begin());
}

struct Kind {
    std::uint32_t fourcc;
    AVCodecID codec;
    std::size_t (*head)(const std::vector<std::uint8_t>&);
};
const Kind kKinds[] = {
    {wire::kZ264, AV_CODEC_ID_H264, H264Head},   {wire::kZMP4, AV_CODEC_ID_MPEG4, Mpeg4Head},
    {wire::kZV7K, AV_CODEC_ID_MPEG4, Mpeg4Head}, {wire::kAVM4, AV_CODEC_ID_MPEG4, Mpeg4Head},
    {wire::kZ265, AV_CODEC_ID_HEVC, H265Head},   {wire::kZIVG, AV_CODEC_ID_MJPEG, nullptr},
    {wire::kZXPG, AV_CODEC_ID_MJPEG, nullptr},
};

const Kind* FindKind(std::uint32_t fourcc) {
    const auto found = std::find_if(std::begin(kKinds), std::end(kKinds),
                                    [&](const Kind& kind) { return kind.fourcc == fourcc; });
    return found == std::end(kKinds) ? nullptr : found;
}

}  // namespace

void MatroskaWriter::OutputFree::operator()(AVFormatContext* context) const {
    avformat_free_context(context);
}

bool MatroskaWriter::Takes(const Packet& packet) {
    return FindKind(packet.fourcc) != nullptr;
}

MatroskaWriter::MatroskaWriter(const std::string& path, const PacketPtr& first, FileGroup group)
    : m_path(path), m_first(first) {
    AVFormatContext* context = nullptr;
    Check(avformat_alloc_output_context2(&context, nullptr, "matroska", nullptr));
    m_file.reset(context);
    m_packet.reset(av_packet_alloc());
    AVStream* const stream = avformat_new_stream(context, nullptr);
    if (!m_packet || !stream) {
        Check(AVERROR(ENOMEM));
    }
    Describe(stream->codecpar, *first);
    stream->time_base = {1, 1000};
    context->flags |= AVFMT_FLAG_FLUSH_PACKETS;
    m_output = std::make_unique<FileOutput>(MakePrivateFile(path, group));
    context->pb = m_output->Context();
    AVDictionary* options = nullptr;
    av_dict_set(&options, "cluster_time_limit", "1000", 0);
    const int result = avformat_write_header(context, &options);
    av_dict_free(&options);
    Check(result);
    m_begun = true;
    m_firstTime = m_lastTime = first->timeMs;
    m_waiting = first;
}

MatroskaWriter::~MatroskaWriter() {
    if (!m_begun) {
        return;
    }
    try {
        Flush(m_lastDuration);
    } catch (const std::exception&) {
        // The trailer is tried all the same.
    }
    av_write_trailer(m_file.get());
    avio_flush(m_output->Context());
}

void MatroskaWriter::Check(int result) const {
    if (result < 0) {
        throw std::runtime_error("cannot write " + m_path + ": " + AvErrorText(result));
    }
}

void MatroskaWriter::Describe(AVCodecParameters* parameters, const Packet& packet) const {
    const Kind* const kind = FindKind(packet.fourcc);
    if (!kind) {
        throw std::runtime_error("pictures of this kind have no place in a Matroska file");
    }
    parameters->codec_type = AVMEDIA_TYPE_VIDEO;
    parameters->codec_id = kind->codec;
    parameters->width = packet.width;
    parameters->height = packet.height;
    const std::size_t head = kind->head ? kind->head(packet.data) : 0;
    if (head == 0) {
        return;
    }
    parameters->extradata = static_cast<std::uint8_t*>(av_mallocz(head + AV_INPUT_BUFFER_PADDING_SIZE));
    if (!parameters->extradata) {
        Check(AVERROR(ENOMEM));
    }
    std::memcpy(parameters->extradata, packet.data.data(), head);
    parameters->extradata_size = static_cast<int>(head);
}

bool MatroskaWriter::Ends(const Packet& packet) const {
    return packet.fourcc != m_first->fourcc || packet.width != m_first->width ||
           packet.height != m_first->height || packet.timeMs < m_lastTime;
}

void MatroskaWriter::Write(const PacketPtr& packet) {
    if (packet->fourcc == wire::kZXPG && !packet->key) {
        return;
    }
    const std::int64_t duration = std::max<std::int64_t>(1, packet->timeMs - m_waiting->timeMs);
    Flush(duration);
    m_lastDuration = duration;
    m_waiting = packet;
}

void MatroskaWriter::Flush(std::int64_t duration) {
    if (!m_waiting) {
        return;
    }
    const PacketPtr packet = std::move(m_waiting);
    m_waiting = nullptr;
    // Shared bytes are not written to: the muxer copies what it must change.
    Check(av_new_packet(m_packet.get(), static_cast<int>(packet->data.size())));
    std::memcpy(m_packet->data, packet->data.data(), packet->data.size());
    m_packet->dts = packet->timeMs - m_firstTime;
    m_packet->pts = m_packet->dts + packet->delayMs;
    m_packet->duration = duration;
    m_packet->flags = packet->key ? AV_PKT_FLAG_KEY : 0;
    const AVStream* const stream = m_file->streams[0];
    av_packet_rescale_ts(m_packet.get(), {1, 1000}, stream->time_base);
    const int result = av_write_frame(m_file.get(), m_packet.get());
    av_packet_unref(m_packet.get());
    Check(result);
    Check(m_file->pb->error);
    m_lastTime = packet->timeMs + duration;
    m_bytes += packet->data.size();
}

}  // namespace kvrecorder
