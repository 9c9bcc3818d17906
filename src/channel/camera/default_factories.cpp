#include "channel/camera/default_factories.h"

#include "channel/decode/open_decoders.h"

namespace kvmon {

ChannelFactories& Factories() {
    static ChannelFactories factories{
        .waveOutput = []() -> std::unique_ptr<WaveOutput> { return std::make_unique<CWaveOutDevice>(); },
        .mxpegDecoder = MakeOpenMxpegDecoder,
        .vivotekDecoder = MakeSiteVivotekDecoder};
    return factories;
}

}  // namespace kvmon
