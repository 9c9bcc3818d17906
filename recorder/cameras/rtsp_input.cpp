#include "cameras/rtsp_input.h"

#include "cameras/camera_url.h"
#include "cameras/host_lookup.h"

namespace kvrecorder {
namespace {

constexpr std::size_t kLargestPiece = 16 << 20;
constexpr std::int64_t kMostStampUs = std::int64_t{1} << 52;
// Pictures that come by single packets are waited for so long until the gap that one left is given up.
constexpr int kMaxReorderUs = 100'000;

struct Options {
    AVDictionary* dict = nullptr;
    Options() = default;
    Options(const Options&) = delete;
    Options& operator=(const Options&) = delete;
    ~Options() { av_dict_free(&dict); }
    void Set(const char* name, const char* value) { av_dict_set(&dict, name, value, 0); }
};

}  // namespace

RtspInput::RtspInput(const NetworkCamera& camera, const std::string& url, bool withSound, InputLimit& limit)
    : m_limit(limit), m_hasUser(!camera.user.empty()), m_packet(av_packet_alloc()) {
    if (!m_packet) {
        throw CameraError(FaultCode::OutOfMemory);
    }
    // The library tells an unknown name as it tells a broken line.
    CheckHostIsKnown(ReadCameraUrl(url).host, limit);
    Open(camera, url, withSound);
    std::string other;
    for (unsigned i = 0; i < m_session->nb_streams; ++i) {
        AVStream* const stream = m_session->streams[i];
        const AVCodecParameters& told = *stream->codecpar;
        if (told.codec_type == AVMEDIA_TYPE_VIDEO && !m_pictures && PassedCodec(told.codec_id)) {
            m_pictures = stream;
        } else if (told.codec_type == AVMEDIA_TYPE_AUDIO && withSound && !m_sound) {
            m_sound = stream;
        } else {
            stream->discard = AVDISCARD_ALL;
            if (told.codec_type == AVMEDIA_TYPE_VIDEO) {
                other = told.codec_id == AV_CODEC_ID_NONE ? "unknown" : avcodec_get_name(told.codec_id);
            }
        }
    }
    if (!m_pictures) {
        throw OddSession(other.empty() ? Fault(FaultCode::NoPictures)
                                       : Fault(FaultCode::CodecUnknown, {{"codec", other}}));
    }
}

void RtspInput::Open(const NetworkCamera& camera, const std::string& url, bool withSound) {
    AVFormatContext* opened = avformat_alloc_context();
    if (!opened) {
        throw CameraError(FaultCode::OutOfMemory);
    }
    opened->interrupt_callback = m_limit.Callback();
    opened->max_delay = kMaxReorderUs;
    // What comes is passed on at once and put together here: the library would wait for the picture after.
    opened->flags |= AVFMT_FLAG_NOPARSE | AVFMT_FLAG_NOFILLIN;
    Options options;
    // Some cameras know UDP alone, and say so when they are asked for the other.
    options.Set("rtsp_transport", camera.overUdp ? "udp" : "tcp+udp");
    if (!camera.overUdp) {
        options.Set("rtsp_flags", "prefer_tcp");
    }
    options.Set("allowed_media_types", withSound ? "video+audio" : "video");
    options.Set("user_agent", "kvrecorder");
    // It leads nowhere else, and opens nothing encrypted, as it checks no certificates.
    options.Set("protocol_whitelist", "rtp,udp,tcp");
    const AVInputFormat* const kind = av_find_input_format("rtsp");
    const Secret whole = JoinLogin(url, camera.user, camera.password.View());
    // Frees the context where it fails.
    const int error = avformat_open_input(&opened, whole.View().data(), kind, &options.dict);
    if (error < 0) {
        Fail(error);
    }
    m_session.reset(opened);
}

void RtspInput::Fail(int error) const {
    const bool open = m_session != nullptr;
    if (m_limit.IsOver() || error == AVERROR(ETIMEDOUT)) {
        throw CameraError(open ? FaultCode::PicturesStopped : FaultCode::NoAnswer);
    }
    switch (error) {
        case AVERROR_HTTP_UNAUTHORIZED:
        case AVERROR_HTTP_FORBIDDEN:
            throw CameraError(m_hasUser ? FaultCode::LoginRefused : FaultCode::LoginWanted);
        case AVERROR_HTTP_NOT_FOUND:
            throw CameraError(FaultCode::PathUnknown);
        case AVERROR_HTTP_BAD_REQUEST:
        case AVERROR_HTTP_OTHER_4XX:
        case AVERROR_HTTP_SERVER_ERROR:
            throw CameraError(FaultCode::PicturesRefused);
        case AVERROR(ECONNREFUSED):
            throw CameraError(FaultCode::NothingListens);
        case AVERROR(EHOSTUNREACH):
        case AVERROR(ENETUNREACH):
            throw CameraError(FaultCode::NoWay);
        case AVERROR_EOF:
        case AVERROR_EXIT:
        case AVERROR(ECONNRESET):
        case AVERROR(EPIPE):
        case AVERROR(EIO):
            throw CameraError(FaultCode::Closed);
        case AVERROR(ENOMEM):
            throw CameraError(FaultCode::OutOfMemory);
        case AVERROR_INVALIDDATA:
            throw OddSession(FaultCode::NotUnderstood);
        default:
            throw OddSession({FaultCode::CameraFailed, {{"reason", AvErrorText(error)}}});
    }
}

std::span<const std::uint8_t> RtspInput::Headers() const {
    const AVCodecParameters& told = *m_pictures->codecpar;
    return {told.extradata, told.extradata ? static_cast<std::size_t>(told.extradata_size) : 0};
}

std::optional<RtspInput::Piece> RtspInput::Read() {
    av_packet_unref(m_packet.get());
    if (const int error = av_read_frame(m_session.get(), m_packet.get()); error < 0) {
        if (error == AVERROR(EAGAIN)) {
            return std::nullopt;
        }
        Fail(error);
    }
    const bool fits = m_packet->size > 0 && static_cast<std::size_t>(m_packet->size) <= kLargestPiece;
    const bool sound = m_sound && m_packet->stream_index == m_sound->index;
    if ((m_packet->stream_index != m_pictures->index && !sound) || !fits) {
        return std::nullopt;
    }
    Piece piece;
    piece.packet = m_packet.get();
    piece.isSound = sound;
    piece.bytes = {m_packet->data, static_cast<std::size_t>(m_packet->size)};
    const std::int64_t stamp = m_packet->pts != AV_NOPTS_VALUE ? m_packet->pts : m_packet->dts;
    if (stamp != AV_NOPTS_VALUE) {
        const std::int64_t us =
            av_rescale_q(stamp, (sound ? m_sound : m_pictures)->time_base, {1, 1'000'000});
        piece.stampUs = us > -kMostStampUs && us < kMostStampUs ? us : INT64_MIN;
    }
    return piece;
}

}  // namespace kvrecorder
