#include "api/camera_jobs.h"

#include <algorithm>
#include <system_error>

#include "api/api_error.h"

namespace kvrecorder {
namespace {

constexpr std::chrono::milliseconds kSearchTime{5'000};
constexpr std::chrono::milliseconds kTestTime{15'000};
constexpr std::size_t kKeptTests = 16;
// A larger picture is none that a test makes.
constexpr std::size_t kMostPictureBytes = 1024 * 1024;
constexpr std::size_t kMostFound = 256;

}  // namespace

// With the mutex. Joins those that are over, which takes no time.
void CameraJobs::Clear() {
    std::erase_if(m_jobs, [](const std::shared_ptr<Job>& job) {
        if (job->over) {
            job->thread.join();
        }
        return job->over.load();
    });
}

std::shared_ptr<CameraJobs::Job> CameraJobs::Begin(
    bool test, std::function<void(const std::function<bool()>& ended)> work) {
    Clear();
    auto job = std::make_shared<Job>(test);
    m_jobs.push_back(job);
    try {
        job->thread = std::thread([job, work = std::move(work)] {
            work([job] { return job->ended.load(); });
            job->over = true;
        });
    } catch (const std::system_error&) {
        m_jobs.pop_back();
        throw ApiError(503, FaultCode::NoThread);
    }
    return job;
}

void CameraJobs::Search() {
    if (!CanSearch()) {
        throw ApiError(501, FaultCode::CannotSearch);
    }
    const std::lock_guard lock(m_mutex);
    if (m_stopped || m_search.state == JobState::Running) {
        return;
    }
    Begin(false, [this](const std::function<bool()>& ended) {
        SearchOutcome outcome{JobState::Failed, {}};
        try {
            outcome.found = m_tools.search(kSearchTime, ended);
            outcome.found.resize(std::min(outcome.found.size(), kMostFound));
            outcome.state = JobState::Done;
        } catch (const std::exception&) {
            // Failed.
        }
        const std::lock_guard done(m_mutex);
        m_search = std::move(outcome);
    });
    m_search = {JobState::Running, {}};
}

SearchOutcome CameraJobs::Found() const {
    const std::lock_guard lock(m_mutex);
    return m_search;
}

int CameraJobs::Test(const NetworkCamera& camera) {
    if (!CanTest()) {
        throw ApiError(501, FaultCode::CannotTest);
    }
    const std::lock_guard lock(m_mutex);
    Clear();
    // A thread that was told to end counts until it has.
    const auto running = std::count_if(m_jobs.begin(), m_jobs.end(),
                                       [](const std::shared_ptr<Job>& job) { return job->test; });
    if (m_stopped || running >= static_cast<std::ptrdiff_t>(kMostTests)) {
        throw ApiError(503, {FaultCode::TestsFull, {{"limit", kMostTests}}});
    }
    const int number = ++m_last;
    TestJob& entry = m_tests[number];
    try {
        entry.job = Begin(true, [this, number, camera](const std::function<bool()>& ended) {
            TestOutcome outcome{JobState::Failed, {}};
            try {
                outcome.camera = m_tools.test(camera, kTestTime, ended);
                outcome.state = JobState::Done;
                if (outcome.camera.picture.size() > kMostPictureBytes) {
                    outcome.camera.picture.clear();
                }
            } catch (const std::exception&) {
                // Failed.
            }
            const std::lock_guard done(m_mutex);
            if (const auto found = m_tests.find(number); found != m_tests.end()) {
                found->second.outcome = std::move(outcome);
            }
        });
    } catch (const ApiError&) {
        m_tests.erase(number);
        throw;
    }
    while (m_tests.size() > kKeptTests) {
        m_tests.begin()->second.job->ended = true;
        m_tests.erase(m_tests.begin());
    }
    return number;
}

std::optional<TestOutcome> CameraJobs::Tested(int number) const {
    const std::lock_guard lock(m_mutex);
    const auto found = m_tests.find(number);
    return found == m_tests.end() ? std::nullopt : std::optional(found->second.outcome);
}

bool CameraJobs::Drop(int number) {
    const std::lock_guard lock(m_mutex);
    const auto found = m_tests.find(number);
    if (found == m_tests.end()) {
        return false;
    }
    found->second.job->ended = true;
    m_tests.erase(found);
    return true;
}

void CameraJobs::Stop() {
    std::vector<std::shared_ptr<Job>> jobs;
    {
        const std::lock_guard lock(m_mutex);
        m_stopped = true;
        jobs.swap(m_jobs);
    }
    for (const auto& job : jobs) {
        job->ended = true;
    }
    for (const auto& job : jobs) {
        job->thread.join();
    }
}

}  // namespace kvrecorder
