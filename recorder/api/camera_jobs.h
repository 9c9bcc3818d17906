// Searches and tests of cameras, each on a thread of its own: one search and four tests at a time.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "api/camera_tools.h"

namespace kvrecorder {

inline constexpr std::size_t kMostTests = 4;

enum class JobState { Idle, Running, Done, Failed };

struct SearchOutcome {
    JobState state = JobState::Idle;
    std::vector<SeenCamera> found;
};

struct TestOutcome {
    JobState state = JobState::Running;
    TestedCamera camera;
};

// Any thread.
class CameraJobs {
public:
    explicit CameraJobs(CameraTools tools) : m_tools(std::move(tools)) {}
    // Tells all to end and waits for them.
    ~CameraJobs() { Stop(); }
    CameraJobs(const CameraJobs&) = delete;
    CameraJobs& operator=(const CameraJobs&) = delete;

    bool CanSearch() const { return m_tools.search != nullptr; }
    bool CanTest() const { return m_tools.test != nullptr; }

    // Begins a search unless one runs. Throws ApiError.
    void Search();
    SearchOutcome Found() const;

    // Begins a test and gives its number. Throws ApiError.
    int Test(const NetworkCamera& camera);
    // Nothing for one that there is not, or no more: the last 16 are kept.
    std::optional<TestOutcome> Tested(int number) const;
    // Ends it and forgets it; false if there is no such one.
    bool Drop(int number);

    void Stop();

private:
    struct Job {
        explicit Job(bool forTest) : test(forTest) {}
        const bool test;
        std::atomic<bool> ended{false};
        std::atomic<bool> over{false};  // the thread is about to end
        std::thread thread;
    };
    struct TestJob {
        std::shared_ptr<Job> job;
        TestOutcome outcome;
    };
    // With the mutex: runs `work` on a thread of its own.
    std::shared_ptr<Job> Begin(bool test, std::function<void(const std::function<bool()>& ended)> work);
    void Clear();

    const CameraTools m_tools;
    mutable std::mutex m_mutex;
    bool m_stopped = false;
    SearchOutcome m_search;
    std::map<int, TestJob> m_tests;
    int m_last = 0;
    std::vector<std::shared_ptr<Job>> m_jobs;  // all whose threads were not waited for yet
};

}  // namespace kvrecorder
