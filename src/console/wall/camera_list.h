// The flat list of showable cameras; its positions are the channel numbers.
#pragma once

#include <memory>
#include <vector>

namespace kvmon {

class CBaseCamera;
class RecorderList;
struct ConsoleOptions;

// The camera with this position at a server; null when there is none.
std::shared_ptr<CBaseCamera> GetServerCamera(const RecorderList& recorders, int nServer, int nCamera);

class CameraList {
public:
    explicit CameraList(const RecorderList& recorders) : m_recorders(recorders) {}

    struct Entry {
        int server = -1;
        int camera = -1;
    };

    // Builds the list anew: all servers' cameras that the options show. Each is told its number.
    void UpdateCameraList(const ConsoleOptions& options);
    void Clear() { m_entries.clear(); }

    int GetCount() const { return static_cast<int>(m_entries.size()); }
    bool IsChannel(int n) const { return n >= 0 && n < GetCount(); }
    Entry Get(int n) const { return IsChannel(n) ? m_entries[static_cast<std::size_t>(n)] : Entry{}; }
    std::shared_ptr<CBaseCamera> GetCameraByChannel(int n) const;
    // -1 for a camera that is not in the list.
    int FindChannel(const CBaseCamera* camera) const;
    // The recorder knows an address of the channel's camera.
    bool IsConfigured(int n) const;

private:
    const RecorderList& m_recorders;
    std::vector<Entry> m_entries;
};

}  // namespace kvmon
