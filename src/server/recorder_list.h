// The recorders that are watched, and what is under removal.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "server/kelvara_info.h"

namespace kvmon {

// For those who keep something by a recorder's object.
class RecorderListener {
public:
    // The object has left the list. It goes when its threads have ended, and another recorder may have its
    // place in memory then.
    virtual void OnRecorderRemoved(const CKelvaraInfo& server) = 0;

protected:
    ~RecorderListener() = default;
};

// Owns them. For the thread of the user interface alone.
class RecorderList {
public:
    // The clock of all recorders; it must outlive their threads, also abandoned ones.
    explicit RecorderList(Clock& clock) : m_clock(clock) {}
    RecorderList(const RecorderList&) = delete;
    RecorderList& operator=(const RecorderList&) = delete;

    // The listener must outlive the list's changes. The end of the list, DeleteAllKelvara, is no news to it.
    void AddListener(RecorderListener& listener) { m_listeners.push_back(&listener); }

    // Creates an object with the next index; -1 on failure.
    int AddServer(const std::string& host, std::uint32_t nPort, const std::string& user,
                  const std::string& password);
    // -1 if none has this address. Kept for hosts that name a recorder by it.
    int FindServer(const std::string& host, std::uint32_t nPort) const;
    int GetServerCount() const { return static_cast<int>(m_servers.size()); }
    // Null when out of range.
    CKelvaraInfo* GetServer(int nIdx) const;
    // Stops a server with its cameras and parks it. Those behind it move up by one and are told so.
    void RemoveServer(int nIdx);
    // Parks a server, no longer in the list, with those under removal.
    void ParkServer(std::unique_ptr<CKelvaraInfo> pServer);
    // Stops one camera and parks it with those under removal.
    void StopAndRemoveCamera(int nIdx, int nCameraIdx);
    // Kept beside StopAndRemoveCamera, whose effect it tells.
    bool IsCameraInUse(const ServerCamera* pCamera) const;
    void DeleteAllKelvara();
    // Frees those that have ended; with ToTheEnd all of them.
    void ReapRemovedServers(StopWait wait);
    void ReapRemovedCameras(StopWait wait);

private:
    Clock& m_clock;
    std::vector<RecorderListener*> m_listeners;
    std::vector<std::unique_ptr<CKelvaraInfo>> m_servers;
    std::vector<std::unique_ptr<CKelvaraInfo>> m_removedServers;
    std::vector<std::shared_ptr<ServerCamera>> m_removedCameras;
};

}  // namespace kvmon
