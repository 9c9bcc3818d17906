#include "channel/decode/decode_pass.h"

#include "channel/base/channel_globals.h"

namespace kvmon {

// A wait is no longer than a picture's place in the stream, so that only the end interrupts it.
void DecodePass::Present(const CBuffer& frame, std::unique_ptr<CVideoBmpFrame> picture) {
    if (!frame.m_bUnseen && Globals().pacesPictures) {
        const std::uint64_t hold =
            m_pacer.HoldFor(frame.m_capturedMs, m_parts.clock.TickMs(), m_parts.frames.GetCount());
        if (hold > 0 && m_parts.clock.Wait(m_control.exit, Milliseconds(hold))) {
            m_parts.frames.AddRecycleFrame(std::move(picture));
            return;
        }
        m_parts.sink.SetPace(m_pacer.JitterMs(), m_pacer.HeldMs());
    }
    m_parts.sink.AddDecodeFrame(m_control, std::move(picture));
}

}  // namespace kvmon
