// Pictures and sound that wait for one watcher's socket.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <mutex>
#include <span>

#include "media/media_hub.h"
#include "wire/frame_header.h"

namespace kvrecorder {

// The source's thread puts pictures in, the connection takes them out; both may call at any time. A watcher
// that falls behind loses whole groups of pictures: it goes on with a key picture, never with the middle of
// a group whose beginning it did not get.
class RecordQueue {
public:
    static constexpr std::size_t kMaxBytes = 4 * 1024 * 1024;
    static constexpr std::size_t kMaxRecords = 1024;
    // A key picture throws away what waits before it when that reaches back further than this, unless told
    // otherwise.
    static constexpr std::int64_t kMaxLagMs = 1500;
    // Of more sound that waits the oldest is lost: a second of it.
    static constexpr std::size_t kMaxSounds = 25;

    explicit RecordQueue(std::int64_t maxLagMs = kMaxLagMs) : m_maxLagMs(maxLagMs) {}

    // True if the taker found the queue empty before and must be woken.
    bool Push(const PacketPtr& packet);
    // Push says nothing until Pop has found nothing.
    void TakerIsAtWork();
    // The taker could not be woken; the next Push says so again.
    void NotWoken();
    // Another source follows: drops what waits, and goes on with its first key picture.
    void Restart();
    // Null if nothing waits; the next Push then says so.
    PacketPtr Pop();

    std::size_t Bytes() const;
    // Pictures that the watcher did not get since the queue began.
    std::uint64_t Dropped() const;

private:
    void Clear();
    bool PushSound(const PacketPtr& packet);
    bool Take(const PacketPtr& packet);

    const std::int64_t m_maxLagMs;
    mutable std::mutex m_mutex;
    std::deque<PacketPtr> m_packets;
    std::size_t m_bytes = 0;
    std::size_t m_sounds = 0;
    std::uint64_t m_dropped = 0;
    bool m_begun = false;  // had a picture: no sound goes out before
    bool m_waitKey = true;
    bool m_idle = true;
};

// The head that stands before a picture's bytes on the wire. Of the eight words that clients do not read,
// the first two carry the picture's time in milliseconds and the third its number on this connection.
std::array<char, wire::kFrameHeaderSize> MakeRecordHead(const Packet& packet, std::uint32_t number);
// What stands between the head of a sound and its bytes.
std::array<char, wire::kAudioReserved> MakeSoundBlock(const Packet& packet);

}  // namespace kvrecorder
