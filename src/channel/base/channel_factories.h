// What makes the parts that a channel uses by interface only.
#pragma once

#include <functional>
#include <memory>

#include "audio/wave_out_device.h"
#include "codec/mxpeg_decoder.h"
#include "codec/video_decoder.h"
#include "codec/vivotek_decoder.h"

namespace kvmon {

using VideoDecoderFactory = std::function<std::unique_ptr<VideoDecoder>()>;
using WaveOutputFactory = std::unique_ptr<WaveOutput> (*)();

// A null entry means that there is no such part: its formats are then silent or not shown.
struct ChannelFactories {
    WaveOutputFactory waveOutput = nullptr;
    MxpegDecoderFactory mxpegDecoder = nullptr;
    VivotekDecoderFactory vivotekDecoder = nullptr;
    VideoDecoderFactory videoDecoder = CreateVideoDecoder;  // of H.264, H.265 and MPEG-4; never null
};

}  // namespace kvmon
