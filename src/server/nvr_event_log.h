// The event log of one recorder, fetched on request.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/clock.h"
#include "platform/window_handle.h"
#include "platform/worker.h"
#include "server/documents/nvr_event.h"
#include "server/stop_wait.h"

namespace kvmon {

class COrvoRegistry;

// Posted after each fetch: wParam 0 and lParam the recorder's index, or wParam 1 and lParam 0 when it failed.
inline constexpr std::uint32_t WM_GETNVREVENT = 11224;

// The seconds of log to ask for: those since the last good fetch, with a margin. Both are counts of
// milliseconds that wrap; a last one of 0 means that there was none.
std::uint32_t EventLogSeconds(std::uint32_t dwThisTick, std::uint32_t dwLastTick);

// Owns a thread that fetches what is new, at its start and at each DoNow, and by itself 3 seconds after a
// failure. The list is kept in the settings, and comes back when it is not older than 5 seconds. Used from
// one thread; the clock and the registry must outlive the thread, also an abandoned one.
class CGetNVREventLog {
public:
    explicit CGetNVREventLog(COrvoRegistry& registry, Clock& clock = SystemClock());
    // Stops the thread (500 ms) and saves the list.
    ~CGetNVREventLog();
    CGetNVREventLog(const CGetNVREventLog&) = delete;
    CGetNVREventLog& operator=(const CGetNVREventLog&) = delete;

    // The section is one key of the settings; it also names the recorder in each entry. Before StartWork.
    void SetThreadArg(int nIdx, const std::string& regSection, const std::string& host, std::uint32_t nPort,
                      const std::string& user, const std::string& password, WindowHandle hWnd);
    // Starts the thread; one that runs is stopped first.
    void StartWork();
    // Waits up to 500 ms, or 5000. True if no thread is left.
    bool StopWork(StopWait wait);
    // Asks the thread to end and does not wait; IsEnded says when none is left.
    void RequestStop();
    bool IsEnded();
    // The thread is not in its pause.
    bool IsFetching() const;
    void DoNow();

    // Copies the list. Gives the number of entries.
    std::size_t GetEvents(CNvrEventList& list) const;
    // Replaces the list and saves it.
    void SetEvents(const CNvrEventList& list);
    std::size_t GetEventCount() const;
    void ClearEvents();
    void LoadEvents();
    void SaveEvents();

private:
    struct Shared;  // what the thread owns and works on

    void EndThread(const char* lpszMethod);

    COrvoRegistry& m_registry;
    Clock& m_clock;
    std::shared_ptr<Shared> m_shared;
    Worker m_hGetThread;
};

}  // namespace kvmon
