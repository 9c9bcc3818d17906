// Tries of several recorders, some at a time.
#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <memory>
#include <vector>

#include "console/dialogs/recorder_trial.h"

namespace kvmon {

// User interface thread only.
class RecorderTrials {
public:
    // `tested` is told of each, by its place among those that were started, in the order in which they end.
    // Each try ends after `limit`.
    RecorderTrials(Milliseconds limit, std::function<void(std::size_t, const RecorderTestReport&)> tested);

    // Begins anew.
    void Start(std::vector<SavedServer> recorders);
    // No end of those that run is told then.
    void Stop();
    std::size_t Done() const { return m_done; }
    std::size_t All() const { return m_recorders.size(); }
    bool IsRunning() const { return m_done < m_recorders.size(); }

private:
    static constexpr std::size_t kAtOnce = 4;

    void StartNext(std::size_t lane);
    void OnEnded(std::size_t lane, const RecorderTestReport& report);

    const std::function<void(std::size_t, const RecorderTestReport&)> m_tested;
    std::vector<SavedServer> m_recorders;
    std::size_t m_next = 0;
    std::size_t m_done = 0;
    std::array<std::size_t, kAtOnce> m_places{};
    std::array<std::unique_ptr<RecorderTrial>, kAtOnce> m_trials;
};

}  // namespace kvmon
