// Writes snapshots to the disk beside the user interface.
#pragma once

#include <array>
#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include "channel/picture/snapshot.h"
#include "platform/worker.h"
#include "skin/window_base.h"

namespace kvmon {

// A picture, and what its file says about the moment when it was taken.
struct SnapshotOrder {
    std::shared_ptr<const Snapshot> picture;
    std::chrono::system_clock::time_point taken;
    std::string path;
    SnapshotFormat format = SnapshotFormat::Jpeg;
    bool bOpenAfter = false;  // with the desktop's program for such files
};

// User interface thread only. The writing has threads of its own.
class SnapshotWriter : public WindowBase {
public:
    using Ended = std::function<void(const SnapshotOrder&, const SnapshotFailure&)>;
    using Ready = std::function<void(const SnapshotOrder&)>;

    explicit SnapshotWriter(Ended ended) : m_ended(std::move(ended)) {}
    // Waits until files that are being written are whole.
    ~SnapshotWriter() override;

    void Write(const SnapshotOrder& order);
    // Reads the whole picture where a device holds it, and gives the order back, at once if there is nothing
    // to read. For what is written much later: till then the device would lack its place, and may be gone.
    void Fetch(const SnapshotOrder& order, const Ready& ready);

protected:
    LParam OnMessage(std::uint32_t message, WParam wParam, LParam lParam) override;

private:
    // Shared with its thread.
    struct Job {
        // Belong to the thread until its message.
        SnapshotOrder order;
        SnapshotFailure failure;
        Ready ready{};  // of what is read alone
    };
    struct Slot {
        std::shared_ptr<Job> job;  // null: free
        Worker writer;
    };

    static void Run(Job& job);
    // False with every slot taken, or no thread.
    bool Start(std::shared_ptr<Job> job);
    void OnDone(std::size_t nSlot);

    const Ended m_ended;
    std::array<Slot, 4> m_slots;
};

}  // namespace kvmon
