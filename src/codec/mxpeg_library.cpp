#include "codec/mxpeg_library.h"

#include <memory>

#include "codec/video_decoder.h"

namespace kvmon {

namespace {

struct Handle {
    std::unique_ptr<VideoDecoder> decoder = CreateVideoDecoder();
    DecodedPicture picture;
};

void* Init(std::size_t /*inputSize*/, std::size_t /*outputSize*/) {
    auto handle = std::make_unique<Handle>();
    VideoDecoderParams params;
    params.streamType = kStreamTypeMxpeg;
    return handle->decoder->Init(params) == kDecodeOk ? handle.release() : nullptr;
}

int DecodeFrame(void* handle, const std::uint8_t* input, std::size_t inputLength, std::uint8_t* output,
                std::size_t outputSize) {
    auto& state = *static_cast<Handle*>(handle);
    if (state.decoder->GetFrame({input, inputLength}, state.picture) != kDecodeOk) {
        return 0;
    }
    const PictureView view = state.picture.View();
    const std::size_t rowBytes = static_cast<std::size_t>(view.width) * 3;
    const bool bFits = rowBytes * static_cast<std::size_t>(view.height) == outputSize;
    const bool bDone = bFits && ConvertToBgr(view, output, static_cast<std::ptrdiff_t>(rowBytes));
    state.picture.Clear();
    return bDone ? 1 : 0;
}

void Free(void* handle) {
    delete static_cast<Handle*>(handle);
}

}  // namespace

const MxpegLibrary& AvMxpegLibrary() {
    static constexpr MxpegLibrary library{Init, DecodeFrame, Free};
    return library;
}

}  // namespace kvmon
