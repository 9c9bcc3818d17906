// The decode thread's passes: from queued frames to pictures on the screen. For the channel's folders and
// their tests only.
#pragma once

#include <cstdint>
#include <exception>
#include <memory>

#include "channel/decode/decode_pass.h"
#include "channel/frames/decode_seat.h"

namespace kvmon {

class StreamSource;

// Decode thread. While it sleeps between two frames of a decoder that has proved to be quick, the reception
// thread decodes the next one in its place.
class DecodeLoop final : private DecodeSeat::Sitter {
public:
    // So many pictures in a row that took no longer are proof; a longer one sends the work back to the
    // thread.
    static constexpr int kQuickPictures = 25;
    static constexpr std::uint64_t kQuickMs = 8;

    DecodeLoop(const DecodeParts& parts, ThreadControl& control) : m_parts(parts), m_control(control) {}

    // Takes the next frame and stays with its decoder for as long as frames of its kind come and no flag
    // says to leave. Gives the number of pictures made.
    std::uint32_t DecodeFrame();

private:
    std::uint32_t Run(DecodePass& pass, std::unique_ptr<CBuffer> frame);
    void Show(DecodePass& pass, std::unique_ptr<CBuffer> frame);
    bool DecodeInPlace() noexcept override;
    // Clears the reset flag; true if it was set.
    bool TakeReset(const char* lpszFunction);
    // Sleeps until there is a frame for this thread. False when it has to leave the decoder. Throws what a
    // frame did that was decoded in its place.
    bool WaitNextDecodeFrame(DecodePass& pass);
    // The frame in hand when the decoder is left.
    void Leave(std::unique_ptr<CBuffer> frame);
    void Recycle(std::unique_ptr<CBuffer> frame) { m_parts.frames.AddRecycleDecodeFrame(std::move(frame)); }

    const DecodeParts m_parts;
    ThreadControl& m_control;
    // Of the thread that decodes.
    DecodePass* m_pass = nullptr;  // while this thread sleeps
    std::uint32_t m_nShown = 0;
    int m_nQuick = 0;
    std::exception_ptr m_failure;
};

// The decode thread's body.
void DoDecodeLoop(const DecodeParts& parts, const StreamSource& source, ThreadControl& control);

}  // namespace kvmon
