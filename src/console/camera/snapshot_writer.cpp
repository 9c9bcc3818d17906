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
    if (!Start(std::make_shared<Job>(Job{order, {}}))) {
        m_ended(order, {SnapshotStep::Queue, 0});
    }
}

void SnapshotWriter::Fetch(const SnapshotOrder& order, const Ready& ready) {
    // Who writes it reads it, if it cannot be read now.
    if (!order.picture->whole || !Start(std::make_shared<Job>(Job{order, {}, ready}))) {
        ready(order);
    }
}

void SnapshotWriter::Run(Job& job) {
    SnapshotOrder& order = job.order;
    if (order.picture->whole) {
        const auto complete = std::make_shared<Snapshot>(*order.picture);
        CompleteSnapshot(*complete);
        order.picture = complete;
    }
    if (!job.ready) {
        job.failure = WriteSnapshot(*order.picture, order.path, order.format, order.taken);
    }
}

bool SnapshotWriter::Start(std::shared_ptr<Job> job) {
    const auto slot = std::find_if(m_slots.begin(), m_slots.end(), [](const Slot& s) { return !s.job; });
    if (slot == m_slots.end()) {
        return false;
    }
    const auto number = static_cast<WParam>(slot - m_slots.begin());
    const bool bStarted = slot->writer.Start("kv-snapshot", [window = Handle(), number, job] {
        if (!TryStep("SnapshotWriter::Run", [&] { Run(*job); })) {
            job->failure = {SnapshotStep::Queue, 0};
        }
        window.Post(kMsgSnapshotDone, number, 0);
    });
    if (bStarted) {
        slot->job = std::move(job);
    }
    return bStarted;
}

void SnapshotWriter::OnDone(std::size_t nSlot) {
    if (nSlot >= m_slots.size() || !m_slots[nSlot].job) {
        return;
    }
    m_slots[nSlot].writer.Wait(kWriterLastMoment);  // the message was the last thing it did
    const auto job = std::move(m_slots[nSlot].job);
    m_slots[nSlot].job.reset();
    if (job->ready) {
        job->ready(job->order);
    } else {
        m_ended(job->order, job->failure);
    }
}

LParam SnapshotWriter::OnMessage(std::uint32_t message, WParam wParam, LParam lParam) {
    if (message == kMsgSnapshotDone) {
        OnDone(static_cast<std::size_t>(wParam));
        return 0;
    }
    return WindowBase::OnMessage(message, wParam, lParam);
}

}  // namespace kvmon
