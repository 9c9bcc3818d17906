#include "console/camera/snapshot_writer.h"

#include <QtCore/QUrl>
#include <QtGui/QDesktopServices>
#include <algorithm>

#include "console/ports/desk.h"
#include "console/settings/fill_pattern.h"
#include "persist/string_table.h"
#include "platform/caught.h"

namespace kvmon {

namespace {

// From a thread: wParam its slot.
constexpr std::uint32_t kMsgSnapshotDone = 11500;
constexpr Milliseconds kLastMoment{3000};
constexpr std::uint32_t kStrError = 4005;
constexpr std::uint32_t kStrFailed = 57426;

}  // namespace

SnapshotWriter::~SnapshotWriter() {
    for (Slot& slot : m_slots) {
        slot.writer.Wait(kLastMoment);
    }
}

void SnapshotWriter::Write(const SnapshotOrder& order) {
    const auto slot = std::find_if(m_slots.begin(), m_slots.end(), [](const Slot& s) { return !s.job; });
    if (slot == m_slots.end()) {
        TellFailure({SnapshotStep::Queue, 0}, order.bOpenAfter);
        return;
    }
    const auto job = std::make_shared<Job>(Job{order, {}});
    const auto number = static_cast<WParam>(slot - m_slots.begin());
    slot->job = job;
    const bool bStarted = slot->writer.Start("kv-snapshot", [window = Handle(), number, job] {
        const SnapshotOrder& todo = job->order;
        if (!TryStep("SnapshotWriter::Write", [&] {
                job->failure = WriteSnapshot(*todo.picture, todo.path, todo.format, todo.taken);
            })) {
            job->failure = {SnapshotStep::Queue, 0};
        }
        window.Post(kMsgSnapshotDone, number, 0);
    });
    if (!bStarted) {
        slot->job.reset();
        TellFailure({SnapshotStep::Queue, 0}, order.bOpenAfter);
    }
}

void SnapshotWriter::OnDone(std::size_t nSlot) {
    if (nSlot >= m_slots.size() || !m_slots[nSlot].job) {
        return;
    }
    m_slots[nSlot].writer.Wait(kLastMoment);  // the message was the last thing it did
    const auto job = std::move(m_slots[nSlot].job);
    m_slots[nSlot].job.reset();
    if (job->failure) {
        TellFailure(job->failure, job->order.bOpenAfter);
    } else if (job->order.bOpenAfter) {
        m_desk.MakeRoom();
        QDesktopServices::openUrl(QUrl::fromLocalFile(QString::fromStdString(job->order.path)));
    }
}

void SnapshotWriter::TellFailure(const SnapshotFailure& failure, bool bOpenAfter) {
    // Users have always been told no number for a file whose name the program chose.
    const SnapshotFailure told = bOpenAfter ? SnapshotFailure{} : failure;
    m_desk.ShowMessage(FillPattern(LoadString(kStrFailed), {std::to_string(static_cast<int>(told.step)),
                                                            std::to_string(told.nError)}),
                       LoadString(kStrError));
}

LParam SnapshotWriter::OnMessage(std::uint32_t message, WParam wParam, LParam lParam) {
    if (message == kMsgSnapshotDone) {
        OnDone(static_cast<std::size_t>(wParam));
        return 0;
    }
    return WindowBase::OnMessage(message, wParam, lParam);
}

}  // namespace kvmon
