// One figure for the memory that recorders and cameras can make all channels of the process take together.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>

namespace kvmon {

// Bytes of frames and pictures: in queues, in pools, on show. Any thread.
class FrameBudget {
public:
    // A quarter of the computer's memory, at most 1 GiB: a wall of large pictures takes half of that.
    static std::uint64_t Usual();

    explicit FrameBudget(std::uint64_t most = Usual()) : m_most(most) {}
    FrameBudget(const FrameBudget&) = delete;
    FrameBudget& operator=(const FrameBudget&) = delete;

    std::uint64_t Most() const { return m_most; }
    std::uint64_t Held() const;

private:
    friend class FrameShare;

    // Three quarters are for whoever comes first. The last one is divided among all, so that a recorder whose
    // channels take what they can get leaves the other recorders' channels theirs.
    bool Take(std::uint64_t held, std::uint64_t bytes);
    void Give(std::uint64_t bytes);
    void Join();
    void Leave();

    const std::uint64_t m_most;
    mutable std::mutex m_cs;
    std::uint64_t m_held = 0;
    std::uint64_t m_shares = 0;
};

// What one channel holds of it. Buffers keep it alive. Any thread.
class FrameShare {
public:
    explicit FrameShare(std::shared_ptr<FrameBudget> budget) : m_budget(std::move(budget)) {
        m_budget->Join();
    }
    ~FrameShare() { m_budget->Leave(); }
    FrameShare(const FrameShare&) = delete;
    FrameShare& operator=(const FrameShare&) = delete;

    // False, and nothing taken, beyond the bounds.
    bool Take(std::uint64_t bytes);
    void Give(std::uint64_t bytes);
    std::uint64_t Held() const;

private:
    const std::shared_ptr<FrameBudget> m_budget;
    mutable std::mutex m_cs;
    std::uint64_t m_held = 0;
};

// Bytes that somebody holds of a share, given back at the end. Without a share nothing is counted.
class HeldBytes {
public:
    HeldBytes() = default;
    explicit HeldBytes(std::shared_ptr<FrameShare> share) : m_share(std::move(share)) {}
    ~HeldBytes() { Change(0); }
    HeldBytes(const HeldBytes&) = delete;
    HeldBytes& operator=(const HeldBytes&) = delete;

    // Takes what is missing to so many bytes, or gives the rest back. False, and as it was, beyond the
    // bounds.
    bool Change(std::uint64_t bytes);
    std::uint64_t Get() const { return m_bytes; }
    const std::shared_ptr<FrameShare>& Share() const { return m_share; }
    // Before the first bytes.
    void SetShare(const std::shared_ptr<FrameShare>& share);

private:
    std::shared_ptr<FrameShare> m_share;
    std::uint64_t m_bytes = 0;
};

}  // namespace kvmon
