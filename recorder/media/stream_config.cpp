#include "media/stream_config.h"

#include <iterator>

namespace kvrecorder {

std::vector<StreamConfig> DefaultStreams(int channel) {
    static const std::vector<StreamConfig> kTurns[] = {
        {{Codec::H264, 640, 480, 15, 30}, {Codec::H264, 352, 240, 15, 30}},
        {{Codec::Mpeg4, 640, 480, 15, 30}, {Codec::Mpeg4, 352, 240, 15, 30}},
        {{Codec::H264, 1280, 720, 15, 30}, {Codec::H264, 640, 480, 15, 30}, {Codec::H264, 352, 240, 15, 30}},
        {{Codec::Mjpeg, 640, 480, 10, 1}, {Codec::Mjpeg, 352, 240, 10, 1}},
    };
    return kTurns[static_cast<std::size_t>(channel < 0 ? 0 : channel) % std::size(kTurns)];
}

}  // namespace kvrecorder
