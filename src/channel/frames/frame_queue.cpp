#include "channel/frames/frame_queue.h"

#include <algorithm>
#include <new>

#include "persist/log_file.h"

namespace kvmon {

namespace {

constexpr std::uint64_t kMuchMore = 4;

}  // namespace

std::unique_ptr<CBuffer> FrameQueue::NewDecodeFrame(std::uint32_t dwIdx, std::uint64_t dwSize) {
    // A size that no camera sends must not cost the pool.
    if (dwSize > kMaxFrameSize) {
        return nullptr;
    }
    const auto size = static_cast<std::uint32_t>(dwSize);
    while (auto frame = m_RecycleDecodeFrames.RemoveHead()) {
        if (frame->GetCapacity() >= size) {
            frame->dwIdx = dwIdx;
            frame->m_capturedMs = 0;
            return frame;
        }
    }
    // One beyond what is kept says nothing of the others.
    if (size <= kMostKept) {
        m_dwMaxDecodeFrameSize = std::max(m_dwMaxDecodeFrameSize, size);
    }
    // Many that are kept for their whole group are as large as they have to be.
    auto frame = MakeDecodeFrame(m_bUnseen ? size : std::max(m_dwMaxDecodeFrameSize, size));
    if (!frame) {
        DropSpent();
        frame = MakeDecodeFrame(size);
    }
    if (!frame && m_bUnseen) {
        // What nobody sees must not end the stream.
        FlushDecodeFrames(Next::KeyFrame);
        DropSpent();
        frame = MakeDecodeFrame(size);
    }
    if (!frame) {
        if (!m_bRefusalTold) {
            m_bRefusalTold = true;
            Trace(
                "CBaseCamera::NewDecodeFrame: m_uCHInMainDlg=%u, no memory for a frame of %u bytes: this "
                "channel holds %llu, all hold %llu of %llu...\n",
                m_uCHInMainDlg.load(), size, static_cast<unsigned long long>(m_share->Held()),
                static_cast<unsigned long long>(m_budget->Held()),
                static_cast<unsigned long long>(m_budget->Most()));
        }
        return nullptr;
    }
    m_bRefusalTold = false;
    frame->dwIdx = dwIdx;
    return frame;
}

std::unique_ptr<CBuffer> FrameQueue::MakeDecodeFrame(std::uint32_t size) {
    std::unique_ptr<CBuffer> frame(new (std::nothrow) CBuffer(m_share, size));
    return frame && frame->GetCapacity() >= size ? std::move(frame) : nullptr;
}

void FrameQueue::DropSpent() {
    while (m_RecycleDecodeFrames.RemoveHead()) {
    }
    while (m_RecycleBmpFrames.RemoveHead()) {
    }
}

void FrameQueue::SetPlaying(bool bPlaying) {
    m_bPlaying = bPlaying;
    m_bKeepsSpent = bPlaying;
    if (!bPlaying) {
        DropSpent();
    }
}

std::unique_ptr<CVideoBmpFrame> FrameQueue::NewBmpFrame(std::uint32_t dwIdx, std::uint64_t dwSize) {
    if (dwSize > kMaxBitmapSize) {
        return nullptr;
    }
    auto frame = m_RecycleBmpFrames.RemoveHead();
    while (frame && frame->HeldSize() > kMuchMore * CBuffer::RoundedCapacity(dwSize)) {
        frame = m_RecycleBmpFrames.RemoveHead();  // of larger pictures that came before
    }
    if (!frame) {
        frame.reset(new (std::nothrow) CVideoBmpFrame(m_share));
    }
    if (frame) {
        frame->dwIdx = dwIdx;
    }
    return frame;
}

bool FrameQueue::AddRecycleDecodeFrame(std::unique_ptr<CBuffer> frame) {
    if (!frame) {
        return false;
    }
    if (frame->GetLength() > kMostKept || frame->GetCapacity() > CBuffer::RoundedCapacity(kMostKept) ||
        !m_bKeepsSpent || (frame->m_bUnseen && m_RecycleDecodeFrames.GetCount() >= kMaxQueued)) {
        return true;
    }
    frame->SetLength(0);
    const std::size_t count = m_RecycleDecodeFrames.AddTail(std::move(frame)) - 1;
    if (count > kManySpent) {
        Trace(
            "CBaseCamera::AddRecycleDecodeFrame: m_uCHInMainDlg=%u, recycle decode frame count is "
            "%u...\n",
            m_uCHInMainDlg.load(), static_cast<unsigned>(count));
    }
    return true;
}

bool FrameQueue::AddRecycleFrame(std::unique_ptr<CVideoBmpFrame> frame) {
    if (!frame) {
        return false;
    }
    if (!m_bKeepsSpent) {
        return true;
    }
    frame->Clear();
    const std::size_t count = m_RecycleBmpFrames.AddTail(std::move(frame)) - 1;
    if (count > kManySpent) {
        Trace("CBaseCamera::AddRecycleDecodeFrame: m_uCHInMainDlg=%u, recycle frame count is %u...\n",
              m_uCHInMainDlg.load(), static_cast<unsigned>(count));
    }
    return true;
}

bool FrameQueue::AddDecodeFrameToQueue(FrameType nType, std::unique_ptr<CBuffer> frame, Event* hEvent) {
    if (!frame || hEvent == nullptr) {
        return false;
    }
    frame->m_nType = nType;
    frame->m_head = nType == FrameType::Wrapped ? HeadOfFrame(frame->Bytes()) : KELVARA_FRAME_HDR();
    if (nType == FrameType::Wrapped) {
        frame->m_capturedMs = frame->m_head.capturedMs;
    }
    return Admit(std::move(frame), *hEvent);
}

bool FrameQueue::AddWrappedFrame(const KELVARA_FRAME_HDR& head, std::unique_ptr<CBuffer> frame,
                                 Event* hEvent) {
    if (!frame || hEvent == nullptr) {
        return false;
    }
    frame->m_nType = FrameType::Wrapped;
    frame->m_head = head;
    frame->m_capturedMs = head.capturedMs;
    return Admit(std::move(frame), *hEvent);
}

bool FrameQueue::HasRoomFor(const CBuffer& frame) const {
    if (frame.m_bUnseen) {
        return m_nQueuedUnseen < kMostUnseen &&
               m_nQueuedUnseenBytes + frame.GetCapacity() <= kMostUnseenBytes;
    }
    // What came unseen is on its way to the decoder.
    return m_DecodeQueue.GetCount() < kMaxQueued + m_nQueuedUnseen &&
           m_nQueuedBytes + frame.GetLength() <= kMaxQueuedBytes;
}

bool FrameQueue::Admit(std::unique_ptr<CBuffer> frame, Event& event) {
    frame->m_receivedMs = m_nReceivedMs;
    const bool bUnseen = frame->m_bUnseen = m_bUnseen;
    if (bUnseen && frame->m_nType != FrameType::Wrapped) {
        FlushDecodeFrames(Next::Any);
    }
    if (!m_bWaitKeyFrame && HasRoomFor(*frame)) {
        CountWaiting(*frame, true);
        m_DecodeQueue.AddTail(std::move(frame));
        // Looked at again: the pictures may be seen since, and the decoder have looked already.
        const bool bSeen = !bUnseen || !m_bUnseen;
        if (bSeen && (GetCount() != 1 || !m_seat.Decode())) {
            event.Set();
        }
        return true;
    }
    // A decoder of pictures that build on each other can go on only at a key frame.
    FlushDecodeFrames(frame->m_nType == FrameType::Wrapped ? Next::KeyFrame : Next::Any);
    Discard(std::move(frame));
    return true;
}

void FrameQueue::CountWaiting(const CBuffer& frame, bool bComes) {
    const std::uint64_t sign = bComes ? 1 : ~std::uint64_t{0};
    m_nQueuedBytes += sign * frame.GetLength();
    if (frame.m_bUnseen) {
        m_nQueuedUnseen += sign;
        m_nQueuedUnseenBytes += sign * frame.GetCapacity();
    }
}

void FrameQueue::Discard(std::unique_ptr<CBuffer> frame) {
    ++(frame->m_bUnseen ? m_nUnseen : m_nRefused);
    AddRecycleDecodeFrame(std::move(frame));
}

void FrameQueue::FlushDecodeFrames(Next next) {
    m_bWaitKeyFrame = next == Next::KeyFrame;
    while (auto frame = RemoveHead()) {
        Discard(std::move(frame));
    }
}

std::unique_ptr<CBuffer> FrameQueue::RemoveHead() {
    auto frame = m_DecodeQueue.RemoveHead();
    if (frame) {
        CountWaiting(*frame, false);
    }
    return frame;
}

std::unique_ptr<CBuffer> FrameQueue::TakeDecodeFrame() {
    return m_bUnseen ? nullptr : RemoveHead();
}

void FrameQueue::PutBackDecodeFrame(std::unique_ptr<CBuffer> frame) {
    if (frame) {
        CountWaiting(*frame, true);
        m_DecodeQueue.AddHead(std::move(frame));
    }
}

void FrameQueue::ResetWhenEmpty(Event& event) const {
    if (HasWork()) {
        return;
    }
    event.Reset();
    if (HasWork()) {
        event.Set();
    }
}

}  // namespace kvmon
