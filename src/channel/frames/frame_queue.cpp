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
            return frame;
        }
    }
    // One beyond what is kept says nothing of the others.
    if (size <= kMostKept) {
        m_dwMaxDecodeFrameSize = std::max(m_dwMaxDecodeFrameSize, size);
    }
    auto frame = MakeDecodeFrame(std::max(m_dwMaxDecodeFrameSize, size));
    if (!frame) {
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
        !m_bKeepsSpent) {
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
    return Admit(std::move(frame), *hEvent);
}

bool FrameQueue::AddWrappedFrame(const KELVARA_FRAME_HDR& head, std::unique_ptr<CBuffer> frame,
                                 Event* hEvent) {
    if (!frame || hEvent == nullptr) {
        return false;
    }
    frame->m_nType = FrameType::Wrapped;
    frame->m_head = head;
    return Admit(std::move(frame), *hEvent);
}

bool FrameQueue::Admit(std::unique_ptr<CBuffer> frame, Event& event) {
    frame->m_receivedMs = m_nReceivedMs;
    const std::uint64_t bytes = m_nQueuedBytes + frame->GetLength();
    if (!m_bWaitKeyFrame && m_DecodeQueue.GetCount() < kMaxQueued && bytes <= kMaxQueuedBytes) {
        m_nQueuedBytes += frame->GetLength();
        m_DecodeQueue.AddTail(std::move(frame));
        event.Set();
        return true;
    }
    // A decoder of pictures that build on each other can go on only at a key frame.
    FlushDecodeFrames(frame->m_nType == FrameType::Wrapped ? Next::KeyFrame : Next::Any);
    ++m_nRefused;
    AddRecycleDecodeFrame(std::move(frame));
    return true;
}

void FrameQueue::FlushDecodeFrames(Next next) {
    m_bWaitKeyFrame = next == Next::KeyFrame;
    while (auto frame = TakeDecodeFrame()) {
        ++m_nRefused;
        AddRecycleDecodeFrame(std::move(frame));
    }
}

std::unique_ptr<CBuffer> FrameQueue::TakeDecodeFrame() {
    auto frame = m_DecodeQueue.RemoveHead();
    if (frame) {
        m_nQueuedBytes -= frame->GetLength();
    }
    return frame;
}

void FrameQueue::PutBackDecodeFrame(std::unique_ptr<CBuffer> frame) {
    if (frame) {
        m_nQueuedBytes += frame->GetLength();
        m_DecodeQueue.AddHead(std::move(frame));
    }
}

void FrameQueue::ResetWhenEmpty(Event& event) const {
    if (m_DecodeQueue.GetCount() != 0) {
        return;
    }
    event.Reset();
    if (m_DecodeQueue.GetCount() != 0) {
        event.Set();
    }
}

}  // namespace kvmon
