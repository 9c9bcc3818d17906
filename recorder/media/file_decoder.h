// A file's pictures made anew for streams that the file does not have.
#pragma once

#include <memory>
#include <vector>

#include "media/av_ptr.h"
#include "media/media_clock.h"
#include "media/picture_encoder.h"

namespace kvrecorder {

// Decodes once and encodes for each stream that is wanted. One thread at a time.
class FileDecoder {
public:
    // Throws std::runtime_error if no decoder takes the pictures.
    explicit FileDecoder(const AVCodecParameters* parameters);

    // Gives the decoded pictures, null ends the file: what the decoder still holds comes out. Damaged
    // data gives nothing.
    template <typename TakePicture>
    void Decode(const AVPacket* packet, TakePicture take) {
        Send(packet);
        while (Receive()) {
            take(*frame_);
        }
        if (!packet) {
            avcodec_flush_buffers(codec_.get());
        }
    }

private:
    void Send(const AVPacket* packet);
    bool Receive();

    AvPtr<AVCodecContext> codec_;
    AvPtr<AVFrame> frame_;
};

// Encodes decoded pictures of any size and kind as one stream, no more of them than its rate allows.
class FileTranscoder {
public:
    // Throws std::runtime_error as PictureEncoder does.
    explicit FileTranscoder(const StreamConfig& stream) : stream_(stream), encoder_(stream) {}

    // Null if the picture is left out.
    PacketPtr Encode(const AVFrame& picture, MediaTime time);

private:
    bool Scale(const AVFrame& picture, AVFrame* target);

    const StreamConfig stream_;
    PictureEncoder encoder_;
    AvPtr<SwsContext> scaler_;
    std::int64_t lastIndex_ = -1;
    MediaTime lastTime_ = MediaTime::min() / 2;
};

}  // namespace kvrecorder
