#include "console/camera/snapshot_writer.h"

#include <algorithm>

#include "platform/caught.h"

namespace kvmon {

namespace {

// From a thread: wParam its slot.
constexpr std::uint32_t kMsgSnapshotDone = 11500;
constexpr Milliseconds kWriterLastMoment{3000};

}  // namespace

SnapshotWriter::~SnapshotWriter() {
    for (Slot& slot : m_slots) {
        slot.writer.Wait(kWriterLastMoment);
    }
}

void SnapshotWriter::Write(const SnapshotOrder& order) {
    const auto slot = std::find_if(m_slots.begin(), m_slots.end(), [](const Slot& s) { return !s.job; });
    if (slot == m_slots.end()) {
        m_ended(order, {SnapshotStep::Queue, 0});
        return;
    }
    const auto job = std::make_shared<Job>(Job{order, {}});
    const auto number = static_cast<WParam>(slot - m_slots.begin());
    slot->job = job;
    const bool bStarted = slot->writer.Start("kv-snapshot", [window = Handle(), number, job] {
        SnapshotOrder& todo = job->order;
        if (!TryStep("SnapshotWriter::Write", [&] {
                if (todo.picture->whole) {
                    const auto complete = std::make_shared<Snapshot>(*todo.picture);
                    CompleteSnapshot(*complete);
                    todo.picture = complete;
                }
                job->failure = WriteSnapshot(*todo.picture, todo.path, todo.format, todo.taken);
            })) {
            job->failure = {SnapshotStep::Queue, 0};
        }
        window.Post(kMsgSnapshotDone, number, 0);
    });
    if (!bStarted) {
        slot->job.reset();
        m_ended(order, {SnapshotStep::Queue, 0});
    }
}

void SnapshotWriter::OnDone(std::size_t nSlot) {
    if (nSlot >= m_slots.size() || !m_slots[nSlot].job) {
        return;
    }
    m_slots[nSlot].writer.Wait(kWriterLastMoment);  // the message was the last thing it did
    const auto job = std::move(m_slots[nSlot].job);
    m_slots[nSlot].job.reset();
    m_ended(job->order, job->failure);
}

LParam SnapshotWriter::OnMessage(std::uint32_t message, WParam wParam, LParam lParam) {
    if (message == kMsgSnapshotDone) {
        OnDone(static_cast<std::size_t>(wParam));
        return 0;
    }
    return WindowBase::OnMessage(message, wParam, lParam);
}

}  // namespace kvmon
