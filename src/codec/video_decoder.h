// What a channel requires of an H.264 or MPEG-4 decoder.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>

#include "codec/picture.h"

namespace kvmon {

inline constexpr int kStreamTypeH264 = 384;
inline constexpr int kStreamTypeMpeg4 = 20;
inline constexpr int kStreamTypeMxpeg = 1;  // this one and the next of our own
inline constexpr int kStreamTypeH265 = 2;

struct VideoDecoderParams {
    int streamType = kStreamTypeH264;
    // What the head of the first key frame tells; 0 x 0 for nothing. The pictures have their own size, which
    // is often cut from whole blocks: 1920 x 1088 are told and 1920 x 1080 come.
    int width = 0;
    int height = 0;
    int threads = 1;
};

// Codes a GetFrame that gave no picture may return.
enum VideoDecoderStatus : int {
    kDecodeOk = 0,
    kDecodeNotOpen = -1,
    kDecodeNeedMoreData = -2,  // nothing came out yet
    kDecodeBadData = -3,
    kDecodeNoMemory = -5,
};

// The size in which pictures are shown; empty while they are wanted in their own.
using ShownSize = std::function<PictureSize()>;

// One decoder of one channel, used by that channel's decode thread alone.
class VideoDecoder {
public:
    virtual ~VideoDecoder() = default;
    // Opens the decoder; 0 on success. Closes what was open before.
    virtual int Init(const VideoDecoderParams& params) = 0;
    // Decodes one access unit. 0 means that `output` holds a finished picture, whose planes may be kept.
    // Pictures come in the order of their display: where units come in another one, with a delay.
    // Any other status leaves the decoder open and the picture is lost. `input` must be followed by
    // kInputPadding readable bytes.
    virtual int GetFrame(std::span<const std::uint8_t> input, DecodedPicture& output) = 0;
    // Leaves out the pictures that no other refers to, from the next unit on: they give kDecodeNeedMoreData.
    virtual void SetLeavesOut(bool bLeavesOut) = 0;
    // A decoder whose pictures are scaled at no cost asks for each of them, and gives a smaller one together
    // with the whole. Never null.
    virtual void SetShownSize(const ShownSize& /*shown*/) {}
    // Releases everything; Init may follow.
    virtual void Close() = 0;
};

inline constexpr std::size_t kInputPadding = 64;

// The decoder on libavcodec.
std::unique_ptr<VideoDecoder> CreateVideoDecoder();

}  // namespace kvmon
