// The decode thread's passes: from queued frames to pictures on the screen. For the channel's folders and
// their tests only.
#pragma once

#include <cstdint>
#include <memory>

#include "channel/decode/decode_pass.h"

namespace kvmon {

class StreamSource;

// Decode thread.
class DecodeLoop {
public:
    DecodeLoop(const DecodeParts& parts, ThreadControl& control) : m_parts(parts), m_control(control) {}

    // Takes the next frame and stays with its decoder for as long as frames of its kind come and no flag
    // says to leave. Gives the number of pictures made.
    std::uint32_t DecodeFrame();

private:
    std::uint32_t Run(DecodePass& pass, std::unique_ptr<CBuffer> frame);
    // Clears the reset flag; true if it was set.
    bool TakeReset(const char* lpszFunction);
    // Sleeps until there is a frame. False when the thread has to leave the decoder.
    bool WaitNextDecodeFrame();
    // The frame in hand when the decoder is left.
    void Leave(std::unique_ptr<CBuffer> frame);
    void Recycle(std::unique_ptr<CBuffer> frame) { m_parts.frames.AddRecycleDecodeFrame(std::move(frame)); }

    const DecodeParts m_parts;
    ThreadControl& m_control;
};

// The decode thread's body.
void DoDecodeLoop(const DecodeParts& parts, const StreamSource& source, ThreadControl& control);

}  // namespace kvmon
