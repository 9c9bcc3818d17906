// What makes the parts that a channel uses by interface only.
#pragma once

#include <memory>

#include "audio/wave_out_device.h"
#include "codec/mxpeg_decoder.h"
#include "codec/vivotek_decoder.h"

namespace kvmon {

using WaveOutputFactory = std::unique_ptr<WaveOutput> (*)();

// A null entry means that there is no such part: its formats are then silent or not shown.
struct ChannelFactories {
    WaveOutputFactory waveOutput = nullptr;
    MxpegDecoderFactory mxpegDecoder = nullptr;
    VivotekDecoderFactory vivotekDecoder = nullptr;
};

}  // namespace kvmon
