// A file's pictures made anew for streams that the file does not have.
#pragma once

#include <memory>
#include <vector>

#include "media/av_ptr.h"
#include "media/media_clock.h"
#include "media/picture_encoder.h"

namespace kvrecorder {

// How wide pictures are to be at least. Less may be decoded than there is, and what is not seen in a small
// picture is left out.
struct DecodedWidth {
    int least = 0;  // 0: all of it
};

// Decodes once and encodes for each stream that is wanted. One thread at a time.
class FileDecoder {
public:
    // Throws std::runtime_error if no decoder takes the pictures.
    explicit FileDecoder(const AVCodecParameters* parameters, DecodedWidth width = {});

    // Gives the decoded pictures, null ends the file: what the decoder still holds comes out. Damaged
    // data gives nothing.
    template <typename TakePicture>
    void Decode(const AVPacket* packet, TakePicture take) {
        Send(packet);
        while (Receive()) {
            take(*m_frame);
        }
        if (!packet) {
            avcodec_flush_buffers(m_codec.get());
        }
    }

private:
    void Send(const AVPacket* packet);
    bool Receive();

    AvPtr<AVCodecContext> m_codec;
    AvPtr<AVFrame> m_frame;
};

// Encodes decoded pictures of any size and kind as one stream, no more of them than its rate allows.
class FileTranscoder {
public:
    // Throws std::runtime_error as PictureEncoder does.
    explicit FileTranscoder(const StreamConfig& stream) : m_stream(stream), m_encoder(stream) {}

    // Null if the picture is left out.
    PacketPtr Encode(const AVFrame& picture, MediaTime time);

private:
    bool Scale(const AVFrame& picture, AVFrame* target);

    const StreamConfig m_stream;
    PictureEncoder m_encoder;
    AvPtr<SwsContext> m_scaler;
    std::int64_t m_lastIndex = -1;
    MediaTime m_lastTime = MediaTime::min() / 2;
};

}  // namespace kvrecorder
