// The frames of one family on their way through its decoder.
#pragma once

#include <memory>

#include "channel/base/channel_counters.h"
#include "channel/base/channel_factories.h"
#include "channel/base/channel_thread.h"
#include "channel/decode/picture_pacer.h"
#include "channel/decode/picture_sink.h"
#include "channel/frames/frame_queue.h"
#include "platform/clock.h"

namespace kvmon {

// What the decode thread works on.
struct DecodeParts {
    FrameQueue& frames;
    PictureSink& sink;
    ChannelCounters& counters;
    const ChannelFactories& factories;
    Clock& clock;
};

// Decode thread.
class DecodePass {
public:
    DecodePass(const DecodeParts& parts, ThreadControl& control) : m_parts(parts), m_control(control) {}
    virtual ~DecodePass() = default;
    DecodePass(const DecodePass&) = delete;
    DecodePass& operator=(const DecodePass&) = delete;

    // For the trace.
    virtual const char* GetName() const = 0;
    virtual bool Takes(const CBuffer& frame) const = 0;
    // Another thread may decode in this one's place.
    virtual bool MayMove() const { return true; }
    // True if a picture came of it.
    virtual bool Show(const CBuffer& frame) = 0;
    // The decoder begins anew.
    virtual void Reset() {}

    // A flag says to leave the frame in hand.
    bool HasToStop() const { return m_control.reset != 0 || m_control.leave != 0; }

protected:
    // Counts the failure and keeps the memory of what was to become the picture. Always false, so that
    // callers can return it.
    bool Fail(std::unique_ptr<CVideoBmpFrame> picture) {
        ++m_parts.counters.m_nFailed;
        m_parts.frames.AddRecycleFrame(std::move(picture));
        return false;
    }

    // The picture takes the screen, at its time.
    void Present(const CBuffer& frame, std::unique_ptr<CVideoBmpFrame> picture);

    const DecodeParts m_parts;
    ThreadControl& m_control;

private:
    PicturePacer m_pacer;
};

}  // namespace kvmon
