#include "channel/camera_kind.h"

#include <cstdio>

#include "channel/audio_loop.h"
#include "channel/decode_loop.h"
#include "channel/multipart_camera.h"
#include "channel/multipart_reader.h"
#include "channel/video_loop.h"

namespace kvmon {

int CameraKind::GetVideoCmd(const TargetSettings& settings, std::int32_t nStreamId,
                            std::span<char> request) const {
    // Recorders have always been asked with two blanks before the version.
    return std::snprintf(request.data(), request.size(),
                         "GET /cgi-bin/getstream.cgi?ch=%u&stream_id=%u  HTTP/1.0\r\nHost: %s\r\n"
                         "Connection: Keep-Alive\r\nAuthorization: Basic %s\r\n\r\n",
                         settings.nCh, static_cast<std::uint32_t>(nStreamId), settings.szAddress.c_str(),
                         settings.szBase64Auth.c_str());
}

std::int32_t CameraKind::GetCameraStreamId(const ChannelCore& core) const {
    return core.m_nStreamId;
}

std::uint32_t CameraKind::GetCameraStream(ChannelCore& core, ThreadControl& control, LiveAudio& audio) const {
    return GetStream(core, control, audio);
}

std::uint32_t CameraKind::ParseImage(ChannelCore& core, const ThreadControl& control, ThreadControl& decode,
                                     ByteSource& source) const {
    return MultipartReader(core, control, decode, source).ParseImage();
}

std::uint32_t CameraKind::DecodeCameraFrame(DecodeLoop& loop) const {
    return loop.DecodeFrame();
}

std::uint32_t CameraKind::GetAudio(ChannelCore& core, ThreadControl& control) const {
    return kvmon::GetAudio(core, control);
}

const CameraKind& BaseKind() {
    static const CameraKind kind;
    return kind;
}

const CameraKind& KindFor(const CameraSettings& settings) {
    static const MultipartCamera multipart;
    return MultipartCamera::Serves(settings) ? multipart : BaseKind();
}

}  // namespace kvmon
