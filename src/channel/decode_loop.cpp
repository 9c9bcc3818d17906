#include "channel/decode_loop.h"

#include <algorithm>
#include <new>
#include <string>

#include "channel/channel_globals.h"
#include "codec/jpeg_codec.h"
#include "persist/log_file.h"
#include "persist/string_table.h"

namespace kvmon {

// A decoder's loop, as it differs from the others.
struct CodedKind {
    std::uint32_t codes[3];
    const char* function;
    PictureMakerFactory make;
    bool usesThreads;
    bool tracesIndex;
    bool tracesStatus;
    const char* closedText;  // null: a frame for a closed decoder goes without a word
    const char* failedText;
    unsigned thrownAway;  // first pictures that are not fit to be shown
};

namespace {

// "Needs its maker's library"
constexpr std::uint32_t kStrNeedsLibrary = 6700;
constexpr char kWaitsForKeyFrame[] = "receive frame but not key frame, drop it....";
constexpr char kDecodeFailed[] = "decode failed....";

constexpr CodedKind kCodedKinds[] = {
    {{wire::kZ264, wire::kZ264, wire::kZ264},
     "DecodeZ264Frame",
     MakeVideoMaker,
     true,
     true,
     true,
     kWaitsForKeyFrame,
     kDecodeFailed,
     0},
    {{wire::kZMP4, wire::kAVM4, wire::kZMP4},
     "DecodeZMP4Frame",
     MakeVideoMaker,
     true,
     false,
     true,
     kWaitsForKeyFrame,
     kDecodeFailed,
     0},
    {{wire::kZXPG, wire::kZXPG, wire::kZXPG},
     "DecodeMXPGFrame",
     MakeMxpegMaker,
     false,
     false,
     false,
     kWaitsForKeyFrame,
     kDecodeFailed,
     20},
    {{wire::kZV7K, wire::kZV6K, wire::kZV3K},
     "DecodeVivotekFrame",
     MakeVivotekMaker,
     false,
     false,
     false,
     nullptr,
     "VideoDecode failed....",
     0},
};

bool Handles(const CodedKind& kind, std::uint32_t code) {
    return std::find(std::begin(kind.codes), std::end(kind.codes), code) != std::end(kind.codes);
}

// The head of a wrapped frame; all zero, and so of no known code, if there is none.
KELVARA_FRAME_HDR HeadOf(const CBuffer& frame) {
    if (frame.m_nType != FrameType::Wrapped || frame.GetLength() < wire::kFrameHeaderSize) {
        return {};
    }
    return ReadFrameHead(frame.Bytes().first<wire::kFrameHeaderSize>());
}

void TraceFrame(const ChannelCore& core, const CodedKind& kind, std::uint32_t dwIdx,
                const std::string& text) {
    const std::string index = kind.tracesIndex ? FormatText(" dwIdx=0x%08x,", dwIdx) : std::string();
    Trace("CBaseCamera::%s: m_uCHInMainDlg=%u,%s %s\n", kind.function, core.m_uCHInMainDlg.load(),
          index.c_str(), text.c_str());
}

}  // namespace

std::uint32_t DecodeLoop::DecodeFrame() {
    auto frame = m_core.m_frames.TakeDecodeFrame();
    if (!frame) {
        return 0;
    }
    if (frame->m_nType == FrameType::Jpeg) {
        m_core.m_picture.SetSubString(SubString::FrameType, "Frame Type: MJPG");
        return DecodeJpegFrame(std::move(frame));
    }
    const std::uint32_t code = HeadOf(*frame).dwFourccCode;
    for (const CodedKind& kind : kCodedKinds) {
        if (Handles(kind, code)) {
            m_core.m_picture.SetSubString(SubString::FrameType,
                                          std::string("Frame Type: ") + GetVideoCodeName(code));
            return DecodeCodedFrame(kind, std::move(frame));
        }
    }
    Recycle(std::move(frame));
    return 0;
}

std::uint32_t DecodeLoop::DecodeCodedFrame(const CodedKind& kind, std::unique_ptr<CBuffer> frame) {
    const auto maker = kind.make(m_core.factories, [this] { return HasToStop() || m_control.exit.IsSet(); });
    std::uint32_t count = 0;
    for (;;) {
        if (TakeReset(kind.function)) {
            maker->Close();
        }
        while (frame && !HasToStop()) {
            const KELVARA_FRAME_HDR hdr = HeadOf(*frame);
            if (!Handles(kind, hdr.dwFourccCode)) {
                Recycle(std::move(frame));
                return count;
            }
            count += ShowCoded(kind, *maker, hdr, *frame) ? 1 : 0;
            Recycle(std::move(frame));
            if (!HasToStop()) {
                frame = m_core.m_frames.TakeDecodeFrame();
            }
        }
        if (!WaitNextDecodeFrame()) {
            Leave(std::move(frame));
            return count;
        }
        Recycle(std::move(frame));
        frame = m_core.m_frames.TakeDecodeFrame();
    }
}

bool DecodeLoop::ShowCoded(const CodedKind& kind, PictureMaker& maker, const KELVARA_FRAME_HDR& hdr,
                           const CBuffer& frame) {
    const auto publishInfo = [&] {
        if (const auto info = maker.TakeBitmapInfo()) {
            m_core.SetBitmapInfo(*info);
        }
    };
    const auto payload = frame.Bytes().subspan(wire::kFrameHeaderSize);
    if (hdr.IsKeyFrame()) {
        KELVARA_FRAME_HDR head = hdr;
        maker.CorrectSize(head, payload);
        maker.OnKeyFrame(head, kind.usesThreads ? GetDecoderThreads() : 1);
        publishInfo();
        m_core.m_bNeedsLibrary = !maker.IsOpen() && maker.NeedsLibrary();
        if (m_core.m_bNeedsLibrary) {
            m_core.m_picture.SetMainOsdCameraString(LoadString(kStrNeedsLibrary), true);
        }
    }
    if (!maker.IsOpen()) {
        if (kind.closedText != nullptr) {
            TraceFrame(m_core, kind, frame.dwIdx, kind.closedText);
        }
        return false;
    }
    auto picture = m_core.m_frames.NewBmpFrame(frame.dwIdx, maker.GetBitmapSize());
    if (!picture) {
        TraceFrame(m_core, kind, frame.dwIdx, "create CVideoBmpFrame failed...");
        return false;
    }
    const int status = maker.Decode(payload, *picture);
    if (status != 0) {
        TraceFrame(m_core, kind, frame.dwIdx,
                   kind.tracesStatus ? FormatText("rStatus=%d, %s", status, kind.failedText)
                                     : std::string(kind.failedText));
        Fail(std::move(picture));
        return false;
    }
    m_core.NoteDecoded();
    if (m_nThrownAway < kind.thrownAway) {
        ++m_nThrownAway;
        m_core.m_frames.AddRecycleFrame(std::move(picture));
        return false;
    }
    publishInfo();
    m_core.AddDecodeFrame(m_control, std::move(picture));
    return true;
}

std::uint32_t DecodeLoop::DecodeJpegFrame(std::unique_ptr<CBuffer> frame) {
    std::uint32_t count = 0;
    for (;;) {
        TakeReset("DecodeJpegFrame");
        while (frame && !HasToStop()) {
            if (frame->m_nType != FrameType::Jpeg) {
                Recycle(std::move(frame));
                return count;
            }
            count += ShowJpeg(*frame) ? 1 : 0;
            Recycle(std::move(frame));
            if (!HasToStop()) {
                frame = m_core.m_frames.TakeDecodeFrame();
            }
        }
        if (!WaitNextDecodeFrame()) {
            Leave(std::move(frame));
            return count;
        }
        Recycle(std::move(frame));
        frame = m_core.m_frames.TakeDecodeFrame();
    }
}

bool DecodeLoop::ShowJpeg(const CBuffer& frame) {
    const std::uint32_t uCH = m_core.m_uCHInMainDlg;
    if (!frame.IsJpeg()) {
        Trace("CBaseCamera::DecodeJpegFrame: m_uCHInMainDlg=%u, the frame is not a well jpeg format....\n",
              uCH);
    }
    int width = 0;
    int height = 0;
    std::uint32_t size = 0;
    if (!GetJpegInfo(frame.Bytes(), &width, &height, &size)) {
        Trace("CBaseCamera::DecodeJpegFrame: m_uCHInMainDlg=%u, get frame info failed....\n", uCH);
        Fail(nullptr);
        return false;
    }
    auto picture = m_core.m_frames.NewBmpFrame(frame.dwIdx, size);
    if (!picture) {
        Trace("CBaseCamera::DecodeJpegFrame: m_uCHInMainDlg=%u, create CVideoBmpFrame failed...\n", uCH);
        Fail(nullptr);
        return false;
    }
    BITMAPINFOHEADER info = MakeBitmapInfo(width, height);
    const PictureView planes = DecodeJpegPlanes(frame.Bytes(), picture->PlaneStorage());
    if (!planes.IsEmpty()) {
        picture->SetPlanes(info, planes);
    } else if (!picture->Reserve(size) ||
               DecodeJpeg(frame.Bytes(), {picture->Begin(), picture->GetCapacity()}, &info) != nullptr ||
               !picture->SetBitmap(info)) {
        Trace("CBaseCamera::DecodeJpegFrame: m_uCHInMainDlg=%u, decode failed....\n", uCH);
        Fail(std::move(picture));
        return false;
    }
    m_core.NoteDecoded();
    m_core.SetBitmapInfo(info);
    m_core.AddDecodeFrame(m_control, std::move(picture));
    return true;
}

bool DecodeLoop::TakeReset(const char* lpszFunction) {
    if (m_control.reset == 0) {
        return false;
    }
    Trace("CBaseCamera::%s: m_uCHInMainDlg=%u, user aborted....\n", lpszFunction,
          m_core.m_uCHInMainDlg.load());
    m_control.reset = 0;
    return true;
}

bool DecodeLoop::WaitNextDecodeFrame() {
    if (m_control.leave != 0) {
        return false;
    }
    m_core.m_frames.ResetWhenEmpty(m_control.run);
    Event* const events[] = {&m_control.exit, &m_control.run};
    // A frame that came together with the word to leave stays for the decoder that follows: it may be
    // the key frame of a new stream.
    return m_core.clock.WaitAny(events, std::nullopt) == 1 && m_control.leave == 0;
}

// The word to leave comes before the first frame of a new stream, but may be seen after it: a frame that
// was not decoded yet stays for the decoder that follows, or that stream would begin without its key
// frame. A pause wants none of them.
void DecodeLoop::Leave(std::unique_ptr<CBuffer> frame) {
    if (m_control.leave != 0 && m_core.m_bDecodePlaying) {
        m_core.m_frames.PutBackDecodeFrame(std::move(frame));
    } else {
        Recycle(std::move(frame));
    }
}

void DecodeLoop::Fail(std::unique_ptr<CVideoBmpFrame> picture) {
    ++m_core.m_nFailed;
    m_core.m_frames.AddRecycleFrame(std::move(picture));
}

void DoDecodeLoop(const std::shared_ptr<ChannelCore>& core, ThreadControl& control) {
    while (WaitForRun("DoDecodeLoop", *core, control)) {
        if (core->m_bDecodePlaying) {
            try {
                DecodeLoop loop(*core, control);
                core->IsStreamFromCamera() ? core->kind.DecodeCameraFrame(loop) : loop.DecodeFrame();
            } catch (const std::bad_alloc&) {
                Trace("CBaseCamera::DoDecodeLoop: m_uCHInMainDlg=%u, out of memory....\n",
                      core->m_uCHInMainDlg.load());
            }
        } else {
            core->m_frames.FlushDecodeFrames(true);
        }
        core->m_frames.ResetWhenEmpty(control.run);
    }
}

}  // namespace kvmon
