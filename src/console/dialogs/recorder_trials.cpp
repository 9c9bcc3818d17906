#include "console/dialogs/recorder_trials.h"

#include <utility>

#include "platform/secret_memory.h"

namespace kvmon {

RecorderTrials::RecorderTrials(Milliseconds limit,
                               std::function<void(std::size_t, const RecorderTestReport&)> tested)
    : m_tested(std::move(tested)) {
    for (std::size_t lane = 0; lane < kAtOnce; ++lane) {
        m_trials[lane] = std::make_unique<RecorderTrial>(
            limit, [this, lane](const RecorderTestReport& report) { OnEnded(lane, report); });
    }
}

void RecorderTrials::Start(std::vector<SavedServer> recorders) {
    Stop();
    m_recorders = std::move(recorders);
    for (std::size_t lane = 0; lane < kAtOnce; ++lane) {
        StartNext(lane);
    }
}

void RecorderTrials::Stop() {
    for (const auto& trial : m_trials) {
        trial->Stop();
    }
    for (SavedServer& each : m_recorders) {
        Wipe(each.password);
    }
    m_recorders.clear();
    m_next = m_done = 0;
}

// One that cannot be begun, since the system has no more threads, has had no answer.
void RecorderTrials::StartNext(std::size_t lane) {
    while (m_next < m_recorders.size()) {
        m_places[lane] = m_next++;
        if (m_trials[lane]->Start(m_recorders[m_places[lane]])) {
            return;
        }
        ++m_done;
        m_tested(m_places[lane], {});
    }
}

void RecorderTrials::OnEnded(std::size_t lane, const RecorderTestReport& report) {
    ++m_done;
    const std::size_t place = m_places[lane];
    StartNext(lane);
    m_tested(place, report);
}

}  // namespace kvmon
