// Writes snapshots to the disk beside the user interface.
#pragma once

#include <array>
#include <chrono>
#include <memory>
#include <string>

#include "channel/picture/snapshot.h"
#include "platform/worker.h"
#include "skin/window_base.h"

namespace kvmon {

class Desk;

// A picture, and what its file says about the moment when it was taken.
struct SnapshotOrder {
    std::shared_ptr<const Snapshot> picture;
    std::chrono::system_clock::time_point taken;
    std::string path;
    SnapshotFormat format = SnapshotFormat::Jpeg;
    bool bOpenAfter = false;  // with the desktop's program for such files
};

// User interface thread only. The writing has threads of its own; a failure is told in a box.
class SnapshotWriter : public WindowBase {
public:
    explicit SnapshotWriter(Desk& desk) : m_desk(desk) {}
    // Waits until files that are being written are whole.
    ~SnapshotWriter() override;

    void Write(const SnapshotOrder& order);
    void TellFailure(const SnapshotFailure& failure, bool bOpenAfter);

protected:
    LParam OnMessage(std::uint32_t message, WParam wParam, LParam lParam) override;

private:
    // Shared with its thread.
    struct Job {
        SnapshotOrder order;
        SnapshotFailure failure;  // belongs to the thread until its message
    };
    struct Slot {
        std::shared_ptr<Job> job;  // null: free
        Worker writer;
    };

    void OnDone(std::size_t nSlot);

    Desk& m_desk;
    std::array<Slot, 4> m_slots;
};

}  // namespace kvmon
