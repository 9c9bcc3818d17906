// The records of one connection, off the wire and into the decode queue or the loudspeaker.
#pragma once

#include <cstdint>
#include <memory>

#include "channel/byte_source.h"
#include "channel/channel_core.h"
#include "channel/frame_head.h"

namespace kvmon {

// Causes of a failed stream, with the numbers that their reports carry.
enum StreamError : int {
    kStreamConnect = 1,
    kStreamCreate = 4,
    kStreamSend = 5,
    kStreamStatus = 6,  // the argument is the status
    kStreamBodyCut = 8,
    kStreamNoBuffer = 9,
    kStreamLine = 10,
    kStreamNoLength = 12,
    kStreamUnknownCode = 23,
    kStreamUnknownReserved = 24,
    kStreamAudio = 25,
    kStreamSettings = 26,
    kStreamRequest = 27,
    kStreamNoBoundary = 28,
};

// One pass over one connection, from behind the status line. Reception thread.
class StreamReader {
public:
    // A header of more lines than this is none.
    static constexpr int kMaxHeaderLines = 256;

    StreamReader(ChannelCore& core, const ThreadControl& control, ThreadControl& decode, LiveAudio& audio,
                 ByteSource& source)
        : m_core(core), m_control(control), m_decode(decode), m_audio(audio), m_source(source) {}

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
    bool ReadBody(std::uint8_t* to, std::uint32_t size);
    void CountFrame(std::uint64_t bytes);

    ChannelCore& m_core;
    const ThreadControl& m_control;
    ThreadControl& m_decode;
    LiveAudio& m_audio;
    ByteSource& m_source;
    std::uint32_t m_dwCount = 0;
};

}  // namespace kvmon
