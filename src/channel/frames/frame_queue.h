// The pools of a channel and the queue between its reception and its decode thread.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "channel/frames/decode_seat.h"
#include "channel/frames/frame_pool.h"
#include "platform/event.h"
#include "platform/worker.h"

namespace kvmon {

// Any thread, unless a comment names one.
class FrameQueue {
public:
    // Frames that wait for the decoder at the most, and their bytes. Only frames far beyond any camera's
    // come near the second bound.
    static constexpr std::size_t kMaxQueued = 16;
    static constexpr std::uint64_t kMaxQueuedBytes = kMaxFrameSize;
    // While nobody sees the channel so much of a group of pictures is kept undecoded: some ten seconds of
    // most cameras. Of a longer group nothing is.
    static constexpr std::size_t kMostUnseen = 300;
    static constexpr std::uint64_t kMostUnseenBytes = 8u << 20;
    // More spent frames than this are reported, though kept.
    static constexpr std::size_t kManySpent = 64;
    // The memory of a frame of more bytes goes back to the system: damaged sizes would fill the whole pool.
    static constexpr std::uint32_t kMostKept = 4u << 20;

    // The number is the channel's in the console, for the trace.
    explicit FrameQueue(const std::atomic<std::uint32_t>& uCHInMainDlg,
                        std::shared_ptr<FrameBudget> budget = std::make_shared<FrameBudget>())
        : m_uCHInMainDlg(uCHInMainDlg), m_budget(std::move(budget)) {}

    // A frame with room for dwSize bytes, spent or new; null if there is no memory, the budget has no more or
    // the size is beyond kMaxFrameSize. Reception thread.
    std::unique_ptr<CBuffer> NewDecodeFrame(std::uint32_t dwIdx, std::uint64_t dwSize);
    // A picture whose bitmap may have dwSize bytes; its memory is taken when the bitmap is made. Null if
    // that is beyond kMaxBitmapSize. Decode thread. A spent one that held much more is not taken.
    std::unique_ptr<CVideoBmpFrame> NewBmpFrame(std::uint32_t dwIdx, std::uint64_t dwSize);
    // Keep a spent frame, but for one of more than kMostKept bytes. False for null.
    bool AddRecycleDecodeFrame(std::unique_ptr<CBuffer> frame);
    bool AddRecycleFrame(std::unique_ptr<CVideoBmpFrame> frame);

    // By the channel's clock: what is added next came off the wire then. Reception thread.
    void SetReceiveTime(std::uint64_t ms) { m_nReceivedMs = ms; }
    // The admission rule: takes the frame and sets hEvent, or, when the queue is full or a key frame is
    // waited for, throws away all that waits together with the frame. A single frame may be decoded here at
    // once, with no event. False for null. Reception thread.
    bool AddDecodeFrameToQueue(FrameType nType, std::unique_ptr<CBuffer> frame, Event* hEvent);
    // A wrapped frame whose head has been read already.
    bool AddWrappedFrame(const KELVARA_FRAME_HDR& head, std::unique_ptr<CBuffer> frame, Event* hEvent);
    // Nobody sees the pictures: what comes since the last key frame waits, to be decoded at once when they
    // are seen again, and wakes nobody. Of plain pictures the last one does.
    void SetUnseen(bool bUnseen) { m_bUnseen = bUnseen; }
    bool IsUnseen() const { return m_bUnseen; }
    // Behind a frame that came unseen there are others: its picture is old already. Decode thread.
    bool IsOvertaken(const CBuffer& frame) const { return frame.m_bUnseen && GetCount() > 0; }
    // Throws away all that waits. What comes next may be told to enter with the next key frame alone.
    enum class Next { Any, KeyFrame };
    void FlushDecodeFrames(Next next);
    void SetWaitKeyFrame(bool bWaitKeyFrame) { m_bWaitKeyFrame = bWaitKeyFrame; }
    // The frame to decode next; null if there is none, or nobody sees the pictures. Decode thread.
    std::unique_ptr<CBuffer> TakeDecodeFrame();
    // Back to its place before all others. Decode thread.
    void PutBackDecodeFrame(std::unique_ptr<CBuffer> frame);
    // Resets the event if there is nothing to decode, without losing a frame that comes at the same time.
    void ResetWhenEmpty(Event& event) const;

    // Where the decode thread sits while there is nothing to do.
    DecodeSeat& Seat() { return m_seat; }

    // Pictures are wanted of what comes. While they are not, the decode thread throws it away.
    // Neither are spent frames kept then.
    void SetPlaying(bool bPlaying);
    bool IsPlaying() const { return m_bPlaying; }
    std::uint32_t GetCHInMainDlg() const { return m_uCHInMainDlg; }
    std::size_t GetCount() const { return m_DecodeQueue.GetCount(); }
    // What this channel may hold of the budget.
    const std::shared_ptr<FrameShare>& Share() const { return m_share; }
    const std::shared_ptr<FrameBudget>& Budget() const { return m_budget; }
    // Gives the memory of the spent frames back.
    void DropSpent();
    // Frames that were thrown away undecoded: there were too many, or nobody saw them.
    std::uint64_t GetRefused() const { return m_nRefused; }
    std::uint64_t GetUnseen() const { return m_nUnseen; }

private:
    bool Admit(std::unique_ptr<CBuffer> frame, Event& event);
    bool HasRoomFor(const CBuffer& frame) const;
    bool HasWork() const { return !m_bUnseen && m_DecodeQueue.GetCount() != 0; }
    std::unique_ptr<CBuffer> RemoveHead();
    void CountWaiting(const CBuffer& frame, bool bComes);
    void Discard(std::unique_ptr<CBuffer> frame);
    std::unique_ptr<CBuffer> MakeDecodeFrame(std::uint32_t size);

    const std::atomic<std::uint32_t>& m_uCHInMainDlg;
    const std::shared_ptr<FrameBudget> m_budget;
    const std::shared_ptr<FrameShare> m_share = std::make_shared<FrameShare>(m_budget);
    DecodeSeat m_seat;
    CFrameList<CBuffer> m_DecodeQueue;
    CFrameList<CBuffer> m_RecycleDecodeFrames;
    CFrameList<CVideoBmpFrame> m_RecycleBmpFrames;
    std::atomic<std::uint64_t> m_nQueuedBytes{0};
    std::atomic<std::size_t> m_nQueuedUnseen{0};  // frames that came unseen, of those that wait
    std::atomic<std::uint64_t> m_nQueuedUnseenBytes{0};
    std::atomic<std::uint64_t> m_nRefused{0};
    std::atomic<std::uint64_t> m_nUnseen{0};
    std::atomic<bool> m_bUnseen{false};
    std::atomic<std::uint64_t> m_nReceivedMs{0};
    std::atomic<bool> m_bWaitKeyFrame{false};
    std::atomic<bool> m_bPlaying{false};
    std::atomic<bool> m_bKeepsSpent{true};
    bool m_bRefusalTold = false;  // reception thread
    std::uint32_t m_dwMaxDecodeFrameSize = 0;
};

}  // namespace kvmon
