#include "cameras/rtsp_input.h"

#include <netdb.h>
#include <sys/socket.h>

#include <algorithm>
#include <iterator>

#include "cameras/camera_url.h"

namespace kvrecorder {
namespace {

constexpr std::size_t kLargestPiece = 16 << 20;
constexpr std::int64_t kMostStampUs = std::int64_t{1} << 52;
// Pictures that come by single packets are waited for so long until the gap that one left is given up.
constexpr int kMaxReorderUs = 100'000;

struct Passed {
    AVCodecID id;
    kvrecorder::Codec codec;
};
constexpr Passed kPassed[] = {
    {AV_CODEC_ID_H264, kvrecorder::Codec::H264},
    {AV_CODEC_ID_HEVC, kvrecorder::Codec::H265},
    {AV_CODEC_ID_MPEG4, kvrecorder::Codec::Mpeg4},
    {AV_CODEC_ID_MJPEG, kvrecorder::Codec::Mjpeg},
};

// The library tells an unknown name as it tells a broken line.
bool IsKnownHost(const std::string& host) {
    addrinfo wanted{};
    wanted.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    const int error = ::getaddrinfo(host.c_str(), nullptr, &wanted, &found);
    if (error == 0) {
        ::freeaddrinfo(found);
    }
    return error == 0;
}

struct Options {
    AVDictionary* dict = nullptr;
    Options() = default;
    Options(const Options&) = delete;
    Options& operator=(const Options&) = delete;
    ~Options() { av_dict_free(&dict); }
    void Set(const char* name, const char* value) { av_dict_set(&dict, name, value, 0); }
};

}  // namespace

std::optional<kvrecorder::Codec> PassedCodec(AVCodecID id) {
    const auto found = std::find_if(std::begin(kPassed), std::end(kPassed),
                                    [&](const Passed& passed) { return passed.id == id; });
    return found != std::end(kPassed) ? std::optional(found->codec) : std::nullopt;
}

void InputLimit::Allow(std::chrono::milliseconds time) {
    m_until = std::chrono::steady_clock::now() + time;
}

int InputLimit::Ask(void* self) {
    const auto& limit = *static_cast<InputLimit*>(self);
    return limit.IsOver() || limit.Ended() ? 1 : 0;
}

RtspInput::RtspInput(const NetworkCamera& camera, const std::string& url, InputLimit& limit)
    : m_limit(limit), m_url(url), m_packet(av_packet_alloc()) {
    if (!m_packet) {
        throw CameraError("there is no memory for it");
    }
    if (!IsKnownHost(ReadCameraUrl(url).host)) {
        throw CameraError("the name of its host is not known");
    }
    m_session = Open(camera, url);
    AVCodecID other = AV_CODEC_ID_NONE;
    for (unsigned i = 0; i < m_session->nb_streams; ++i) {
        AVStream* const stream = m_session->streams[i];
        const bool pictures = stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO;
        if (pictures && !m_pictures && PassedCodec(stream->codecpar->codec_id)) {
            m_pictures = stream;
        } else {
            stream->discard = AVDISCARD_ALL;
            other = pictures ? stream->codecpar->codec_id : other;
        }
    }
    if (!m_pictures) {
        throw CameraError(other == AV_CODEC_ID_NONE
                              ? "it has no pictures"
                              : std::string("its pictures are coded in a way that cannot be passed on (") +
                                    avcodec_get_name(other) + ")");
    }
    // The library would look for the end of each picture in the next one.
    m_whole = Codec() == AV_CODEC_ID_MPEG4 || Codec() == AV_CODEC_ID_MJPEG;
    if (Codec() != AV_CODEC_ID_MPEG4) {
        m_session->flags |= AVFMT_FLAG_NOPARSE | AVFMT_FLAG_NOFILLIN;
    }
}

AvPtr<AVFormatContext> RtspInput::Open(const NetworkCamera& camera, const std::string& url) {
    AVFormatContext* opened = avformat_alloc_context();
    if (!opened) {
        throw CameraError("there is no memory for it");
    }
    opened->interrupt_callback = m_limit.Callback();
    opened->max_delay = kMaxReorderUs;
    Options options;
    options.Set("rtsp_transport", camera.overUdp ? "udp" : "tcp");
    options.Set("allowed_media_types", "video");
    options.Set("user_agent", "kvrecorder");
    // It leads nowhere else.
    options.Set("protocol_whitelist", "rtp,udp,tcp,tls");
    const AVInputFormat* const kind = av_find_input_format("rtsp");
    const Secret whole = JoinLogin(url, camera.user, camera.password.View());
    // Frees the context where it fails.
    if (const int error = avformat_open_input(&opened, std::string(whole.View()).c_str(), kind, &options.dict);
        error < 0) {
        Fail(error);
    }
    return AvPtr<AVFormatContext>(opened);
}

void RtspInput::Fail(int error) const {
    if (m_limit.IsOver() || error == AVERROR(ETIMEDOUT)) {
        throw CameraError("it does not answer");
    }
    switch (error) {
        case AVERROR_HTTP_UNAUTHORIZED:
        case AVERROR_HTTP_FORBIDDEN:
            throw CameraError("it refuses the user or the password");
        case AVERROR_HTTP_NOT_FOUND:
            throw CameraError("there is nothing at the address's path");
        case AVERROR_HTTP_BAD_REQUEST:
        case AVERROR_HTTP_OTHER_4XX:
        case AVERROR_HTTP_SERVER_ERROR:
            throw CameraError("it refuses to send its pictures");
        case AVERROR(ECONNREFUSED):
            throw CameraError("nothing listens at its address");
        case AVERROR(EHOSTUNREACH):
        case AVERROR(ENETUNREACH):
            throw CameraError("no way leads to its address");
        case AVERROR_EOF:
        case AVERROR(ECONNRESET):
        case AVERROR(EPIPE):
        case AVERROR(EIO):
            throw CameraError("it closed the connection");
        case AVERROR(ENOMEM):
            throw CameraError("there is no memory for it");
        case AVERROR_INVALIDDATA:
            throw CameraError("what it says cannot be understood");
        default:
            throw CameraError("it cannot be watched: " + AvErrorText(error));
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
    if (m_packet->stream_index != m_pictures->index || !fits) {
        return std::nullopt;
    }
    Piece piece;
    piece.bytes = {m_packet->data, static_cast<std::size_t>(m_packet->size)};
    const std::int64_t stamp = m_packet->pts != AV_NOPTS_VALUE ? m_packet->pts : m_packet->dts;
    if (stamp != AV_NOPTS_VALUE) {
        const std::int64_t us = av_rescale_q(stamp, m_pictures->time_base, {1, 1'000'000});
        piece.stampUs = us > -kMostStampUs && us < kMostStampUs ? us : INT64_MIN;
    }
    return piece;
}

}  // namespace kvrecorder
