#include "channel/decode/jpeg_pass.h"

#include "codec/jpeg_codec.h"
#include "persist/log_file.h"

namespace kvmon {

bool JpegPass::Show(const CBuffer& frame) {
    const std::uint32_t uCH = m_parts.frames.GetCHInMainDlg();
    if (!frame.IsJpeg()) {
        Trace("CBaseCamera::DecodeJpegFrame: m_uCHInMainDlg=%u, the frame is not a well jpeg format....\n",
              uCH);
    }
    int width = 0;
    int height = 0;
    std::uint32_t size = 0;
    if (!GetJpegInfo(frame.Bytes(), &width, &height, &size)) {
        Trace("CBaseCamera::DecodeJpegFrame: m_uCHInMainDlg=%u, get frame info failed....\n", uCH);
        return Fail(nullptr);
    }
    auto picture = m_parts.frames.NewBmpFrame(frame.dwIdx, size);
    if (!picture) {
        Trace("CBaseCamera::DecodeJpegFrame: m_uCHInMainDlg=%u, create CVideoBmpFrame failed...\n", uCH);
        return Fail(nullptr);
    }
    BITMAPINFOHEADER info = MakeBitmapInfo(width, height);
    if (!Decode(frame, size, info, *picture)) {
        Trace("CBaseCamera::DecodeJpegFrame: m_uCHInMainDlg=%u, decode failed....\n", uCH);
        return Fail(std::move(picture));
    }
    m_parts.counters.NoteDecoded();
    m_parts.sink.SetBitmapInfo(info);
    Present(frame, std::move(picture));
    return true;
}

// In the decoder's own planes if it can be, else as a bitmap.
bool JpegPass::Decode(const CBuffer& frame, std::uint32_t size, BITMAPINFOHEADER& info,
                      CVideoBmpFrame& picture) {
    constexpr std::uint32_t kBlockEdges = 64 * 1024;
    if (!picture.ReservePlanes(std::uint64_t{size} + kBlockEdges)) {
        return false;
    }
    const PictureView planes = DecodeJpegPlanes(frame.Bytes(), picture.PlaneStorage());
    picture.ReservePlanes(0);  // most share their colours between four pixels and need half
    if (!planes.IsEmpty()) {
        picture.SetPlanes(info, planes);
        return true;
    }
    return picture.Reserve(size) &&
           DecodeJpeg(frame.Bytes(), {picture.Begin(), picture.GetCapacity()}, &info) == nullptr &&
           picture.SetBitmap(info);
}

}  // namespace kvmon
