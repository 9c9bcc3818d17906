// The records of one connection, off the wire and into the decode queue or the loudspeaker.
#pragma once

#include <cstdint>
#include <span>

#include "channel/frames/byte_source.h"
#include "channel/frames/frame_head.h"
#include "channel/stream/stream_pass.h"

namespace kvmon {

// One pass over one connection, from behind the status line. Reception thread.
class StreamReader {
public:
    // The sinks have a place for sound.
    StreamReader(const StreamSinks& sinks, const ThreadControl& control, ByteSource& source)
        : m_sinks(sinks), m_control(control), m_source(source) {}

    // Reads until the connection ends, the stream makes no sense or the abort flag is set. Gives the
    // number of video frames. There is no search for the next record: whatever is out of order ends the
    // pass, and the next connection starts clean.
    std::uint32_t ParseImageFromKelvara();

private:
    bool IsAborted() const { return m_control.abort != 0; }
    void Report(int nCode);
    bool SkipHttpHeader();
    bool ReadHead(std::span<std::uint8_t, wire::kFrameHeaderSize> head);
    // False ends the pass.
    bool ReadRecord(const KELVARA_FRAME_HDR& hdr, std::span<const std::uint8_t, wire::kFrameHeaderSize> head);
    bool ReceiveStandardJpegFrame(const KELVARA_FRAME_HDR& hdr);
    bool ReceiveDecodeFrame(const KELVARA_FRAME_HDR& hdr,
                            std::span<const std::uint8_t, wire::kFrameHeaderSize> head);
    bool ReadSound(const KELVARA_FRAME_HDR& hdr);
    bool ReadBody(std::uint8_t* to, std::uint32_t size);
    // A record of more bytes than its picture can need is a fault of the stream.
    bool IsSizeLikely(const KELVARA_FRAME_HDR& hdr);
    void CountFrame(std::uint64_t bytes);

    const StreamSinks m_sinks;
    const ThreadControl& m_control;
    ByteSource& m_source;
    std::uint32_t m_dwCount = 0;
    // Of the last key frame.
    std::uint32_t m_dwWidth = 0;
    std::uint32_t m_dwHeight = 0;
};

}  // namespace kvmon
