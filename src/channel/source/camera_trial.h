// How long a camera that is to give its own pictures is waited for. Inside this folder and its tests only.
#pragma once

#include <atomic>
#include <cstdint>

#include "platform/clock.h"

namespace kvmon {

struct ChannelCounters;

// Whether the camera is worth a try. One that keeps the wall waiting gives way to the recorder and is looked
// at again from time to time, behind the recorder's pictures. Any thread.
class CameraTrial {
public:
    static constexpr std::uint64_t kPatienceMs = 3000;
    static constexpr std::uint64_t kAgainMs = 600'000;

    // The camera has given way to the recorder's pictures.
    bool IsGone() const { return m_bGone; }
    // The camera failed: the next look is due in kAgainMs.
    void Fail(Clock& clock);
    // The user's word, another camera, or a look that found pictures: it gets its time anew.
    void Reset();
    // Milliseconds until the next look is due.
    std::uint64_t GetWait(Clock& clock) const;

    // For the store: seconds since 1970 of the failure, 0 for a camera that is not gone.
    std::uint32_t GetStored() const { return m_bGone ? m_nFailedAt.load() : 0; }
    // A time of the future counts as long past.
    void Restore(std::uint32_t nFailedAt, Clock& clock);

    // The start of the present wait for a first picture, which goes on over new connections.
    std::uint64_t BeginWait(Clock& clock);
    void EndWait() { m_nWaitStart = 0; }
    // Counts a way that failed within the present wait. Gives how many have.
    unsigned CountWay() { return ++m_nWays; }
    bool HasTriedAWay() const { return m_nWays != 0; }

private:
    std::atomic<bool> m_bGone{false};
    std::atomic<std::uint32_t> m_nFailedAt{0};
    std::atomic<std::uint64_t> m_nNextLook{0};   // a tick
    std::atomic<std::uint64_t> m_nWaitStart{0};  // a tick, 0 for none
    std::atomic<unsigned> m_nWays{0};
};

// Ends the waits of one connection to a camera. The first picture must have been decoded in time, and from
// then on a picture must come in each span of that length. Reception thread.
class CameraPatience {
public:
    // How many ways to the camera are to be tried within the time.
    enum class Ways { One, Two };
    CameraPatience(const ChannelCounters& counters, CameraTrial& trial, Clock& clock, Ways ways);

    // Asked during waits, with the nominal time that passed in them since the question before.
    bool IsOver(std::uint64_t nIdleMs);
    // A picture of this connection has been decoded, or was kept undecoded as nobody saw it.
    bool HasDelivered();
    // The camera went silent, as against one that closed the connection.
    bool HasEnded() const { return m_bEnded; }
    // How long pictures came.
    std::uint64_t GetDeliveredMs() const;

private:
    const ChannelCounters& m_counters;
    CameraTrial& m_trial;
    Clock& m_clock;
    const std::uint64_t m_nTakenBefore;
    const std::uint64_t m_nLimit;
    std::uint64_t m_nReceived;
    std::uint64_t m_nSince;
    std::uint64_t m_nIdle = 0;
    std::uint64_t m_nDeliveredSince = 0;
    bool m_bDelivered = false;
    bool m_bEnded = false;
};

}  // namespace kvmon
