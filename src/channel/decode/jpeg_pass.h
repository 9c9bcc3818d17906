// Plain JPEG pictures on their way to the screen.
#pragma once

#include "channel/decode/decode_pass.h"

namespace kvmon {

class JpegPass final : public DecodePass {
public:
    using DecodePass::DecodePass;
    const char* GetName() const override { return "DecodeJpegFrame"; }
    bool Takes(const CBuffer& frame) const override { return frame.m_nType == FrameType::Jpeg; }
    bool Show(const CBuffer& frame) override;

private:
    // `size`: bytes that the bitmap may need.
    bool Decode(const CBuffer& frame, std::uint32_t size, BITMAPINFOHEADER& info, CVideoBmpFrame& picture);
};

}  // namespace kvmon
