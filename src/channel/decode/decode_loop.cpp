#include "channel/decode/decode_loop.h"

#include <new>
#include <string>

#include "channel/decode/coded_pass.h"
#include "channel/decode/jpeg_pass.h"
#include "channel/source/camera_kind.h"
#include "channel/source/stream_source.h"
#include "persist/log_file.h"

namespace kvmon {

std::uint32_t DecodeLoop::DecodeFrame() {
    auto frame = m_parts.frames.TakeDecodeFrame();
    if (!frame) {
        return 0;
    }
    if (frame->m_nType == FrameType::Jpeg) {
        m_parts.sink.SetFrameType("MJPG");
        JpegPass pass(m_parts, m_control);
        return Run(pass, std::move(frame));
    }
    const std::uint32_t code = frame->m_head.dwFourccCode;
    if (const CodedKind* const kind = FindCodedKind(code)) {
        m_parts.sink.SetFrameType(GetVideoCodeName(code));
        CodedPass pass(m_parts, m_control, *kind);
        return Run(pass, std::move(frame));
    }
    Recycle(std::move(frame));
    return 0;
}

std::uint32_t DecodeLoop::Run(DecodePass& pass, std::unique_ptr<CBuffer> frame) {
    std::uint32_t count = 0;
    for (;;) {
        if (TakeReset(pass.GetName())) {
            pass.Reset();
        }
        while (frame && !pass.HasToStop()) {
            if (!pass.Takes(*frame)) {
                Recycle(std::move(frame));
                return count;
            }
            count += pass.Show(*frame) ? 1 : 0;
            Recycle(std::move(frame));
            frame = pass.HasToStop() ? nullptr : m_parts.frames.TakeDecodeFrame();
        }
        if (!WaitNextDecodeFrame()) {
            Leave(std::move(frame));
            return count;
        }
        Recycle(std::move(frame));
        frame = m_parts.frames.TakeDecodeFrame();
    }
}

bool DecodeLoop::TakeReset(const char* lpszFunction) {
    if (m_control.reset == 0) {
        return false;
    }
    Trace("CBaseCamera::%s: m_uCHInMainDlg=%u, user aborted....\n", lpszFunction,
          m_parts.frames.GetCHInMainDlg());
    m_control.reset = 0;
    return true;
}

bool DecodeLoop::WaitNextDecodeFrame() {
    if (m_control.leave != 0) {
        return false;
    }
    m_parts.frames.ResetWhenEmpty(m_control.run);
    Event* const events[] = {&m_control.exit, &m_control.run};
    // A frame that came together with the word to leave stays for the decoder that follows: it may be
    // the key frame of a new stream.
    return m_parts.clock.WaitAny(events, std::nullopt) == 1 && m_control.leave == 0;
}

// The word to leave comes before the first frame of a new stream, but may be seen after it: a frame that
// was not decoded yet stays for the decoder that follows, or that stream would begin without its key
// frame. A pause wants none of them.
void DecodeLoop::Leave(std::unique_ptr<CBuffer> frame) {
    if (m_control.leave != 0 && m_parts.frames.IsPlaying()) {
        m_parts.frames.PutBackDecodeFrame(std::move(frame));
    } else {
        Recycle(std::move(frame));
    }
}

void DoDecodeLoop(const DecodeParts& parts, const StreamSource& source, ThreadControl& control) {
    while (WaitForRun("DoDecodeLoop", parts.clock, source.m_uCHInMainDlg, control)) {
        if (parts.frames.IsPlaying()) {
            try {
                DecodeLoop loop(parts, control);
                source.IsStreamFromCamera() ? source.kind.DecodeCameraFrame(loop) : loop.DecodeFrame();
            } catch (const std::bad_alloc&) {
                Trace("CBaseCamera::DoDecodeLoop: m_uCHInMainDlg=%u, out of memory....\n",
                      source.m_uCHInMainDlg.load());
            }
        } else {
            parts.frames.FlushDecodeFrames(FrameQueue::Next::KeyFrame);
        }
        parts.frames.ResetWhenEmpty(control.run);
    }
}

}  // namespace kvmon
