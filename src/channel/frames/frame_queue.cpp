#include "channel/frames/frame_queue.h"

#include <algorithm>
#include <new>

#include "persist/log_file.h"

namespace kvmon {

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
    m_dwMaxDecodeFrameSize = std::max(m_dwMaxDecodeFrameSize, size);
    std::unique_ptr<CBuffer> frame(new (std::nothrow) CBuffer(m_dwMaxDecodeFrameSize));
    if (!frame || frame->GetCapacity() < size) {
        return nullptr;
    }
    frame->dwIdx = dwIdx;
    return frame;
}

std::unique_ptr<CVideoBmpFrame> FrameQueue::NewBmpFrame(std::uint32_t dwIdx, std::uint64_t dwSize) {
    if (dwSize > kMaxBitmapSize) {
        return nullptr;
    }
    auto frame = m_RecycleBmpFrames.RemoveHead();
    if (!frame) {
        frame.reset(new (std::nothrow) CVideoBmpFrame);
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
    if (frame->GetLength() > kMostKept) {
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
