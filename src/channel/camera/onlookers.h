// Who looks at a channel's pictures. Inside this folder and its tests only.
#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <vector>

namespace kvmon {

class ChannelWindows;
class FrameQueue;

// Decides whether what comes is decoded. A channel whose view can be seen is, and so is one whose next
// picture somebody waits for: before its first, or for a snapshot. Any thread.
class Onlookers {
public:
    Onlookers(FrameQueue& frames, const ChannelWindows& windows, const std::atomic<bool>& bStreamRunning)
        : m_frames(frames), m_windows(windows), m_bStreamRunning(bStreamRunning) {}

    void SetSeen(bool bSeen);
    // `call` comes behind the next picture that takes the screen with none behind it, on the thread that
    // shows it; never if none does.
    void WaitForPicture(std::function<void()> call);
    // The newest picture has taken the screen: who waited for it is told. False if nobody did.
    bool OnPicture();
    // To be called after each change of what is decided by. True if what was kept is to be decoded now.
    bool Refresh();

private:
    FrameQueue& m_frames;
    const ChannelWindows& m_windows;
    const std::atomic<bool>& m_bStreamRunning;
    std::atomic<bool> m_bWaiting{false};
    std::mutex m_cs;
    bool m_bSeen = true;
    std::vector<std::function<void()>> m_waiting;
};

}  // namespace kvmon
