// A camera's multipart reply, from behind the status line, and the pictures that come of it.
#include "channel/camera/channel_core.h"
#include "channel/decode/decode_loop.h"
#include "channel/stream/multipart_reader.h"
#include "span_source.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    kvmon::ChannelCore core(kvmon::SystemClock());
    kvmon::ThreadControl video;
    kvmon::ThreadControl decode;
    kvfuzz::SpanSource source({data, size});
    kvmon::MultipartReader(core.GetStreamSinks(nullptr, decode), video, source).ParseImage();

    // With the exit event set a pass ends when no frame waits.
    decode.exit.Set();
    while (core.m_frames.GetCount() > 0) {
        decode.reset = 0;
        decode.leave = 0;
        kvmon::DecodeLoop(core.GetDecodeParts(), decode).DecodeFrame();
    }
    return 0;
}
