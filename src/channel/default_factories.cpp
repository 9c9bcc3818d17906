#include "channel/default_factories.h"

#include "channel/open_decoders.h"

namespace kvmon {

ChannelFactories& Factories() {
    static ChannelFactories factories{
        .waveOutput = []() -> std::unique_ptr<WaveOutput> { return std::make_unique<CWaveOutDevice>(); },
        .mxpegDecoder = MakeOpenMxpegDecoder,
        .vivotekDecoder = MakeSiteVivotekDecoder};
    return factories;
}

}  // namespace kvmon
