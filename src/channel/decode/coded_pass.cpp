#include "channel/decode/coded_pass.h"

#include <algorithm>

#include "channel/base/channel_globals.h"
#include "codec/video_decoder.h"
#include "persist/log_file.h"
#include "persist/string_table.h"
#include "platform/text.h"

namespace kvmon {

namespace {

// "Needs its maker's library"
constexpr std::uint32_t kStrNeedsLibrary = 6700;
constexpr char kWaitsForKeyFrame[] = "receive frame but not key frame, drop it....";
constexpr char kDecodeFailed[] = "decode failed....";

constexpr CodedKind kCodedKinds[] = {
    {{wire::kZ264, wire::kZ265, wire::kZ264},
     "DecodeZ264Frame",
     MakeVideoMaker,
     true,
     false,
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
     false,
     true,
     kWaitsForKeyFrame,
     kDecodeFailed,
     0},
    {{wire::kZXPG, wire::kZXPG, wire::kZXPG},
     "DecodeMXPGFrame",
     MakeMxpegMaker,
     false,
     true,
     false,
     false,
     kWaitsForKeyFrame,
     kDecodeFailed,
     20},
    {{wire::kZV7K, wire::kZV6K, wire::kZV3K},
     "DecodeVivotekFrame",
     MakeVivotekMaker,
     false,
     true,
     false,
     false,
     nullptr,
     "VideoDecode failed....",
     0},
};

}  // namespace

bool CodedKind::Handles(std::uint32_t code) const {
    return std::find(std::begin(codes), std::end(codes), code) != std::end(codes);
}

const CodedKind* FindCodedKind(std::uint32_t code) {
    const auto* const found = std::find_if(std::begin(kCodedKinds), std::end(kCodedKinds),
                                           [code](const CodedKind& kind) { return kind.Handles(code); });
    return found == std::end(kCodedKinds) ? nullptr : found;
}

CodedPass::CodedPass(const DecodeParts& parts, ThreadControl& control, const CodedKind& kind)
    : DecodePass(parts, control),
      m_kind(kind),
      m_maker(kind.make(
          m_parts.factories, [this] { return HasToStop() || m_control.exit.IsSet(); },
          m_parts.frames.Share())) {
    m_maker->SetShownSize([this] { return m_parts.sink.GetShownSize(); });
}

void CodedPass::TraceFrame(std::uint32_t dwIdx, const std::string& text) const {
    const std::string index = m_kind.tracesIndex ? FormatText(" dwIdx=0x%08x,", dwIdx) : std::string();
    Trace("CBaseCamera::%s: m_uCHInMainDlg=%u,%s %s\n", m_kind.function, m_parts.frames.GetCHInMainDlg(),
          index.c_str(), text.c_str());
}

void CodedPass::PublishInfo() {
    if (const auto info = m_maker->TakeBitmapInfo()) {
        m_parts.sink.SetBitmapInfo(*info);
    }
}

void CodedPass::OnKeyFrame(const CBuffer& frame, std::span<const std::uint8_t> payload) {
    KELVARA_FRAME_HDR head = frame.m_head;
    m_maker->CorrectSize(head, payload);
    m_maker->OnKeyFrame(head, m_kind.usesThreads ? GetDecoderThreads() : 1);
    PublishInfo();
    const bool bNeedsLibrary = !m_maker->IsOpen() && m_maker->NeedsLibrary();
    m_parts.counters.SetNeedsLibrary(bNeedsLibrary);
    if (bNeedsLibrary) {
        m_parts.sink.SetCaption(LoadString(kStrNeedsLibrary));
    }
}

bool CodedPass::Show(const CBuffer& frame) {
    const auto payload = frame.Bytes().subspan(wire::kFrameHeaderSize);
    if (frame.m_head.IsKeyFrame()) {
        OnKeyFrame(frame, payload);
    }
    if (!m_maker->IsOpen()) {
        if (m_kind.closedText != nullptr) {
            TraceFrame(frame.dwIdx, m_kind.closedText);
        }
        return false;
    }
    auto picture = m_parts.frames.NewBmpFrame(frame.dwIdx, m_maker->GetBitmapSize());
    if (!picture) {
        TraceFrame(frame.dwIdx, "create CVideoBmpFrame failed...");
        return false;
    }
    const bool bLeavesOut = m_parts.sink.TakesFewer();
    m_maker->SetLeavesOut(bLeavesOut);
    const int status = m_maker->Decode(payload, *picture);
    if (bLeavesOut && status == kDecodeNeedMoreData) {
        m_parts.frames.AddRecycleFrame(std::move(picture));
        return false;
    }
    if (status != 0) {
        TraceFrame(frame.dwIdx, m_kind.tracesStatus ? FormatText("rStatus=%d, %s", status, m_kind.failedText)
                                                    : std::string(m_kind.failedText));
        return Fail(std::move(picture));
    }
    m_parts.counters.NoteDecoded();
    if (m_nThrownAway < m_kind.thrownAway) {
        ++m_nThrownAway;
        m_parts.frames.AddRecycleFrame(std::move(picture));
        return false;
    }
    PublishInfo();
    if (m_parts.frames.IsOvertaken(frame)) {
        // Of a group that was kept the newest picture is shown, not a film run fast.
        m_parts.frames.AddRecycleFrame(std::move(picture));
        return true;
    }
    Present(frame, std::move(picture));
    return true;
}

}  // namespace kvmon
