// Finds out whether something moves in a stream that is passed on.
#pragma once

#include <chrono>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "media/media_clock.h"
#include "media/motion_judge.h"
#include "media/packet.h"

namespace kvrecorder {

class PacketDecoder;

// Key pictures alone are decoded where they come often; else all, as long as that costs little.
class StreamMotion {
public:
    // The share is measured for so long at a time.
    explicit StreamMotion(const MotionSetup& setup,
                          std::chrono::milliseconds measured = std::chrono::seconds(10));
    ~StreamMotion();
    StreamMotion(const StreamMotion&) = delete;
    StreamMotion& operator=(const StreamMotion&) = delete;

    // The thread of the stream's packets.
    void Offer(const PacketPtr& packet);
    // Looks at what has come; tells a beginning (true) or an end (false) of motion. One thread at a time.
    std::optional<bool> Look(MediaTime now);
    // For the log, each told once; empty: nothing. Any thread.
    std::string Word();
    // Of a processor, in percent; nothing until it was measured. Any thread.
    std::optional<double> Share() const;

private:
    struct Small;
    bool NeedsAll() const;  // under the lock
    std::deque<PacketPtr> TakeQueue(bool& all);
    bool Decode(const std::deque<PacketPtr>& packets, bool all);
    void Measure(std::chrono::nanoseconds spent);

    const std::chrono::milliseconds m_measured;
    MotionJudge m_judge;
    std::unique_ptr<PacketDecoder> m_decoder;
    std::unique_ptr<Small> m_small;
    bool m_begun = false;     // the decoder has had a key picture and all since
    MediaTime m_notBefore{};  // the next look
    std::chrono::nanoseconds m_spent{};
    std::optional<std::chrono::steady_clock::time_point> m_since;
    bool m_told = false;
    bool m_wasAll = false;  // when the measuring began

    mutable std::mutex m_mutex;  // of what follows
    std::deque<PacketPtr> m_queue;
    std::size_t m_bytes = 0;
    bool m_gap = true;  // until the next key picture
    bool m_costly = false;
    std::optional<std::int64_t> m_lastKeyMs;
    std::int64_t m_keyMs = 0;  // from key to key picture
    std::string m_word;
    std::optional<double> m_share;
};

}  // namespace kvrecorder
