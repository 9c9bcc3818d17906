#include "channel/stream/recorder_kind.h"

#include <cstdio>

#include "channel/decode/decode_loop.h"
#include "channel/source/stream_source.h"
#include "channel/stream/audio_loop.h"
#include "channel/stream/multipart_reader.h"
#include "channel/stream/video_loop.h"

namespace kvmon {

int RecorderKind::GetVideoCmd(const TargetSettings& settings, std::int32_t nStreamId,
                              std::span<char> request) const {
    // Recorders have always been asked with two blanks before the version.
    return std::snprintf(request.data(), request.size(),
                         "GET /cgi-bin/getstream.cgi?ch=%u&stream_id=%u  HTTP/1.0\r\nHost: %s\r\n"
                         "Connection: Keep-Alive\r\nAuthorization: Basic %s\r\n\r\n",
                         settings.nCh, static_cast<std::uint32_t>(nStreamId), settings.szAddress.c_str(),
                         settings.szBase64Auth.c_str());
}

std::int32_t RecorderKind::GetCameraStreamId(const StreamSource& source) const {
    return source.m_nStreamId;
}

std::uint32_t RecorderKind::GetCameraStream(const StreamPass& pass) const {
    return GetStream(pass);
}

std::uint32_t RecorderKind::ParseImage(const StreamSinks& sinks, const ThreadControl& control,
                                       ByteSource& source) const {
    return MultipartReader(sinks, control, source).ParseImage();
}

std::uint32_t RecorderKind::DecodeCameraFrame(DecodeLoop& loop) const {
    return loop.DecodeFrame();
}

std::uint32_t RecorderKind::GetAudio(const StreamSource& source, ThreadControl& control) const {
    return kvmon::GetAudio(source, control);
}

const CameraKind& BaseKind() {
    static const RecorderKind kind;
    return kind;
}

}  // namespace kvmon
