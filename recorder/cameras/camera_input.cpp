#include "cameras/camera_input.h"

#include <algorithm>
#include <iterator>

namespace kvrecorder {
namespace {

struct Passed {
    AVCodecID id;
    kvrecorder::Codec codec;
    const char* name;
};
constexpr Passed kPassed[] = {
    {AV_CODEC_ID_H264, kvrecorder::Codec::H264, "H.264"},
    {AV_CODEC_ID_HEVC, kvrecorder::Codec::H265, "H.265"},
    {AV_CODEC_ID_MPEG4, kvrecorder::Codec::Mpeg4, "MPEG-4"},
    {AV_CODEC_ID_MJPEG, kvrecorder::Codec::Mjpeg, "MJPEG"},
};

}  // namespace

int InputLimit::Ask(void* self) {
    const auto& limit = *static_cast<InputLimit*>(self);
    return limit.IsOver() || limit.Ended() ? 1 : 0;
}

std::optional<kvrecorder::Codec> PassedCodec(AVCodecID id) {
    const auto found = std::find_if(std::begin(kPassed), std::end(kPassed),
                                    [&](const Passed& passed) { return passed.id == id; });
    return found != std::end(kPassed) ? std::optional(found->codec) : std::nullopt;
}

const char* NameOf(kvrecorder::Codec codec) {
    const auto found = std::find_if(std::begin(kPassed), std::end(kPassed),
                                    [&](const Passed& passed) { return passed.codec == codec; });
    return found != std::end(kPassed) ? found->name : "another codec";
}

}  // namespace kvrecorder
