// Reads the configuration again, on a thread of its own: a folder that hangs holds nothing else up.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "service/options.h"
#include "state/recorder_model.h"

namespace kvrecorder {

class ConfigReader {
public:
    // `taken` is what the model has begun with, `files` the limit of open files. `tell` gets lines for the
    // user, on the thread.
    ConfigReader(Options options, RecorderConfig taken, std::size_t files, RecorderModel& model,
                 std::function<void(const std::string& line)> tell);
    // Waits for the reading that is under way.
    ~ConfigReader();
    ConfigReader(const ConfigReader&) = delete;
    ConfigReader& operator=(const ConfigReader&) = delete;

    // Asks for a reading. Any thread.
    void Read();

private:
    void Run();
    // Until the files have not changed for a second. False at the object's end.
    bool WaitSettled();
    bool Pause(std::chrono::milliseconds time);
    void Take();

    const Options m_options;
    const std::size_t m_files;
    RecorderModel& m_model;
    const std::function<void(const std::string& line)> m_tell;
    RecorderConfig m_taken;  // used by the thread alone
    std::mutex m_mutex;
    std::condition_variable m_wake;
    bool m_asked = false;
    bool m_stop = false;
    std::thread m_thread;  // last
};

}  // namespace kvrecorder
