// Reads the configuration again, on a thread of its own: a folder that hangs holds nothing else up.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "service/config_keeper.h"

namespace kvrecorder {

class ConfigReader {
public:
    // `tell` gets lines for the user, on the thread.
    ConfigReader(ConfigKeeper& keeper, std::function<void(const std::string& line)> tell,
                 std::function<void()> ended = {});
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

    ConfigKeeper& m_keeper;
    const std::function<void(const std::string& line)> m_tell;
    const std::function<void()> m_ended;
    std::mutex m_mutex;
    std::condition_variable m_wake;
    bool m_asked = false;
    bool m_stop = false;
    std::thread m_thread;  // last
};

}  // namespace kvrecorder
