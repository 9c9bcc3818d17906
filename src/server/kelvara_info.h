// One recorder, as the client sees it.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/clock.h"
#include "platform/retry_pause.h"
#include "platform/window_handle.h"
#include "platform/worker.h"
#include "server/documents/nvr_status.h"
#include "server/http/link_failure.h"
#include "server/server_camera.h"
#include "server/stop_wait.h"

namespace kvmon {

// How a thread is started while one runs: that one is stopped first (500 ms), or gives up its present
// transaction and goes on with the new data.
enum class StartMode { Anew, GoOn };

// Which channels are shown beside the configured ones that the user may watch.
struct ShowRules {
    bool bUnconfigured = false;
    bool bNoRight = false;
};

class ServerWorker;  // what the thread owns and works on

// Owns a thread that logs in, reads the recorder's documents and keeps the notification connection,
// and the channel objects of that recorder. Used from the console's thread; tells it of news by
// WM_UPDATEVSINFO and WM_GETVSINFO_FAILED. The clock must outlive the thread, also an abandoned one.
class CKelvaraInfo {
public:
    explicit CKelvaraInfo(Clock& clock);
    ~CKelvaraInfo();
    CKelvaraInfo(const CKelvaraInfo&) = delete;
    CKelvaraInfo& operator=(const CKelvaraInfo&) = delete;

    // Stores the connection data and clears the published status.
    void SetConnectInfo(int nIdx, const std::string& host, std::uint32_t nPort, const std::string& user,
                        const std::string& password);
    void StartGetKelvaraInfo(StartMode mode);
    void StartGetKelvaraInfo(int nIdx, const std::string& host, std::uint32_t nPort, const std::string& user,
                             const std::string& password, StartMode mode);
    // Now and then: a thread that the system had no place for, or that has ended unasked, is started again, 1
    // s later, from the third time in a row 5 s, from the eighth 15 s.
    void KeepThreads();
    // True if no thread is left. Waits 100 ms, or 3000 ms, after which the thread is abandoned.
    bool StopGetKelvaraInfo(StopWait wait);
    // A null handle: nothing is posted.
    void SetNotifyWnd(WindowHandle hWnd);
    // A thread runs, or is to be started again.
    bool IsRunning() const;
    // The last round of queries was answered.
    bool IsConnected() const;

    int GetIdx() const;
    void SetIdx(int nIdx);
    std::string GetHost() const;
    std::uint32_t GetPort() const;
    std::string GetUser() const;
    std::string GetPassword() const;
    std::string GetUserAtHost() const;  // "user@host:port"
    // Texts of the recorder's come without the CR that a recorder of CR LF lines leaves in the status: they
    // are shown, and are parts of settings keys and file names.
    std::string GetServerName() const;
    void SetServerName(const std::string& name);
    // It is a kvrecorder, which can be asked for what others have not.
    bool IsOwnRecorder() const;
    std::string GetServerNameAndVersion() const;  // "name(version)"
    void GetDiskInfo(int* pnStatus, int* pnUsed, std::string& strSize, std::string& strUnit) const;
    bool GetCameraSetting(int nCh, CameraSettings* pSetting) const;
    std::vector<CameraSettings> GetAllCameraSettings() const;
    int GetChannelCount() const;
    void SetChannelCount(int nCount);
    bool IsChannelVisible(int nCh, ShowRules rules) const;
    int CountChannels(ShowRules rules) const;
    std::string GetChannelName(int nCh) const;
    // One status word; 0 when out of range.
    std::uint32_t GetStatus(int nCh, std::uint32_t nMask) const;
    // All of them, as they were at one time.
    StatusWords GetStatusWords(int nCh) const;

    // What a channel can do; nothing until the recorder has told (WM_UPDATEVSINFO_CAPABILITIES), which
    // many never do.
    ChannelCapabilities GetCapabilities(int nCh) const;

    // The channel objects, by position; null allowed.
    std::shared_ptr<ServerCamera> GetCamera(int nCh) const;
    bool SetCamera(int nCh, std::shared_ptr<ServerCamera> pCamera);
    int GetCameraCount() const;
    void SetCameraCount(int nCount);

    std::uint32_t GetErrorCount() const;
    // Why there is no answer at present.
    LinkFailure GetFailure() const;
    // Until the thread's next try, begun seconds counted whole; 0 while it tries.
    std::uint32_t GetRetrySeconds() const;
    void RaiseErrorCount();
    bool IsNoRightReported() const;
    void SetNoRightReported(bool bReported);

    // Reads the recorder's clock and keeps its difference to the local one. Blocking, for a thread of the
    // caller's that may outlive this object.
    std::function<bool()> ServerTimeTask() const;
    bool IsServerTimeKnown() const;
    // Seconds that the recorder's clock is ahead of the local one, as the task found it.
    std::int64_t GetServerTimeOffset() const;

private:
    std::shared_ptr<ServerWorker> Shared() const;
    bool WaitForEnd(Milliseconds limit);
    void AbandonThread(const char* method);
    void StartThreads();

    Clock& m_clock;
    mutable std::mutex m_csWorker;
    std::shared_ptr<ServerWorker> m_worker;  // guarded by m_csWorker; a new one when a thread is abandoned
    Worker m_hGetKelvaraInfoThread;
    Worker m_hCapabilityThread;
    bool m_bStarted = false;  // and not stopped since
    RestartPause m_restart;
    mutable std::mutex m_csCameras;
    std::vector<std::shared_ptr<ServerCamera>> m_Cameras;
};

}  // namespace kvmon
