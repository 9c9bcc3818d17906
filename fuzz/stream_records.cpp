// The records of a channel's stream, from behind the status line, and the frames that come of them.
#include "channel/camera/channel_core.h"
#include "channel/decode/decode_loop.h"
#include "channel/stream/stream_reader.h"
#include "span_source.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    kvmon::ChannelCore core(kvmon::SystemClock());
    core.m_sound.m_bPlayAudioUI = true;
    core.m_sound.m_bSupportAudio = true;
    core.m_sound.m_bAudioRight = true;
    kvmon::ThreadControl video;
    kvmon::ThreadControl decode;
    kvmon::LiveAudio audio(kvmon::ChannelFactories{}, core.m_source.m_uCHInMainDlg);
    kvfuzz::SpanSource source({data, size});
    kvmon::StreamReader(core.GetStreamSinks(&audio, decode), video, source).ParseImageFromKelvara();

    // With the exit event set a pass ends when no frame waits.
    decode.exit.Set();
    while (core.m_frames.GetCount() > 0) {
        decode.reset = 0;
        decode.leave = 0;
        kvmon::DecodeLoop(core.GetDecodeParts(), decode).DecodeFrame();
    }
    return 0;
}
