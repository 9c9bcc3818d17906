#include "channel/decode/decode_loop.h"

#include <algorithm>
#include <string>
#include <utility>

#include "channel/decode/coded_pass.h"
#include "channel/decode/jpeg_pass.h"
#include "channel/source/camera_kind.h"
#include "channel/source/stream_source.h"
#include "persist/log_file.h"
#include "platform/retry_pause.h"

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
    m_nShown = 0;
    m_nQuick = 0;
    for (;;) {
        if (TakeReset(pass.GetName())) {
            pass.Reset();
        }
        while (frame && !pass.HasToStop()) {
            if (!pass.Takes(*frame)) {
                Recycle(std::move(frame));
                return m_nShown;
            }
            Show(pass, std::move(frame));
            frame = pass.HasToStop() ? nullptr : m_parts.frames.TakeDecodeFrame();
        }
        if (!WaitNextDecodeFrame(pass)) {
            Leave(std::move(frame));
            return m_nShown;
        }
        Recycle(std::move(frame));
        frame = m_parts.frames.TakeDecodeFrame();
    }
}

void DecodeLoop::Show(DecodePass& pass, std::unique_ptr<CBuffer> frame) {
    const std::uint64_t began = m_parts.clock.TickMs();
    m_parts.sink.SetReceiveTime(frame->m_receivedMs);
    m_nShown += pass.Show(*frame) ? 1 : 0;
    Recycle(std::move(frame));
    m_nQuick = m_parts.clock.TickMs() - began <= kQuickMs ? std::min(m_nQuick + 1, kQuickPictures) : 0;
}

bool DecodeLoop::DecodeInPlace() noexcept {
    try {
        const bool bMay = m_nQuick == kQuickPictures && !m_pass->HasToStop();
        auto frame = bMay ? m_parts.frames.TakeDecodeFrame() : nullptr;
        if (frame && !m_pass->Takes(*frame)) {
            m_parts.frames.PutBackDecodeFrame(std::move(frame));
        }
        if (!frame) {
            return false;
        }
        Show(*m_pass, std::move(frame));
        return true;
    } catch (...) {
        m_failure = std::current_exception();
        return false;
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

bool DecodeLoop::WaitNextDecodeFrame(DecodePass& pass) {
    if (m_control.leave != 0) {
        return false;
    }
    m_parts.frames.ResetWhenEmpty(m_control.run);
    m_parts.sink.OnIdle();
    if (m_nQuick == kQuickPictures && pass.MayMove()) {
        m_pass = &pass;
        m_parts.frames.Seat().Take(*this);
    }
    Event* const events[] = {&m_control.exit, &m_control.run};
    const bool bRuns = m_parts.clock.WaitAny(events, std::nullopt) == 1;
    m_parts.frames.Seat().Leave(*this);
    if (m_failure) {
        std::rethrow_exception(std::exchange(m_failure, nullptr));
    }
    // A frame that came together with the word to leave stays for the decoder that follows: it may be
    // the key frame of a new stream.
    return bRuns && m_control.leave == 0;
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

namespace {

// What comes meanwhile is thrown away up to a key frame. A stream that begins anew, and a pause, end the
// wait.
void WaitForDecodeRetry(const DecodeParts& parts, ThreadControl& control, std::uint32_t nFailures) {
    constexpr Milliseconds kRound{500};
    parts.frames.FlushDecodeFrames(FrameQueue::Next::KeyFrame);
    for (Milliseconds left = RetryPause(nFailures); left > Milliseconds(0) && control.leave == 0;
         left -= kRound) {
        if (parts.clock.Wait(control.exit, kRound)) {
            return;
        }
    }
}

}  // namespace

void DoDecodeLoop(const DecodeParts& parts, const StreamSource& source, ThreadControl& control) {
    std::uint32_t nFailures = 0;
    while (WaitForRun("DoDecodeLoop", parts.clock, source.m_uCHInMainDlg, control)) {
        // Looked at first: what comes of a new stream is not thrown away for the pause before it.
        const bool bWaiting = parts.frames.GetCount() != 0;
        if (parts.frames.IsPlaying()) {
            const std::uint64_t nShown = parts.counters.m_nShown;
            try {
                DecodeLoop loop(parts, control);
                source.IsStreamFromCamera() ? source.kind.DecodeCameraFrame(loop) : loop.DecodeFrame();
            } catch (...) {
                const Caught caught = TakeCaught();
                Trace("CBaseCamera::DoDecodeLoop: m_uCHInMainDlg=%u, an exception: %s....\n",
                      source.m_uCHInMainDlg.load(), caught.what.data());
                parts.sink.TellFault(caught.fault);
                nFailures = parts.counters.m_nShown == nShown ? nFailures + 1 : 1;
                WaitForDecodeRetry(parts, control, nFailures);
            }
        } else if (bWaiting) {
            parts.frames.FlushDecodeFrames(FrameQueue::Next::KeyFrame);
        }
        if (!parts.frames.IsPlaying()) {
            TryStep("CBaseCamera::OnPaused", [&] { parts.sink.OnPaused(); });
        }
        parts.frames.ResetWhenEmpty(control.run);
        TryStep("CBaseCamera::OnIdle", [&] { parts.sink.OnIdle(); });
    }
}

}  // namespace kvmon
