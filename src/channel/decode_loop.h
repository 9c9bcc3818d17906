// The decode thread's passes: from queued frames to pictures on the screen. Inside this folder and its
// tests only.
#pragma once

#include <cstdint>
#include <memory>

#include "channel/channel_core.h"
#include "channel/picture_maker.h"

namespace kvmon {

struct CodedKind;

// Decode thread.
class DecodeLoop {
public:
    DecodeLoop(ChannelCore& core, ThreadControl& control) : m_core(core), m_control(control) {}

    // Takes the next frame and stays with its decoder for as long as frames of its kind come and no flag
    // says to leave. Gives the number of pictures made.
    std::uint32_t DecodeFrame();

private:
    std::uint32_t DecodeJpegFrame(std::unique_ptr<CBuffer> frame);
    std::uint32_t DecodeCodedFrame(const CodedKind& kind, std::unique_ptr<CBuffer> frame);
    // True if a picture came of it.
    bool ShowJpeg(const CBuffer& frame);
    bool ShowCoded(const CodedKind& kind, PictureMaker& maker, const KELVARA_FRAME_HDR& hdr,
                   const CBuffer& frame);
    bool HasToStop() const { return m_control.reset != 0 || m_control.leave != 0; }
    // Clears the reset flag; true if it was set.
    bool TakeReset(const char* lpszFunction);
    // Sleeps until there is a frame. False when the thread has to leave the decoder.
    bool WaitNextDecodeFrame();
    // The frame in hand when the decoder is left.
    void Leave(std::unique_ptr<CBuffer> frame);
    void Recycle(std::unique_ptr<CBuffer> frame) { m_core.m_frames.AddRecycleDecodeFrame(std::move(frame)); }
    void Fail(std::unique_ptr<CVideoBmpFrame> picture);

    ChannelCore& m_core;
    ThreadControl& m_control;
    unsigned m_nThrownAway = 0;  // first pictures of this call that were not shown
};

}  // namespace kvmon
