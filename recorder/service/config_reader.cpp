#include "service/config_reader.h"

#include <algorithm>
#include <chrono>
#include <utility>
#include <vector>

#include "service/file_stamp.h"

namespace kvrecorder {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kSettled{1'000};
// A file that is written to for longer is not waited for.
constexpr int kMostPauses = 30;

}  // namespace

ConfigReader::ConfigReader(ConfigKeeper& keeper, std::function<void(const std::string& line)> tell,
                           std::function<void()> ended)
    : m_keeper(keeper), m_tell(std::move(tell)), m_ended(std::move(ended)), m_thread([this] { Run(); }) {}

ConfigReader::~ConfigReader() {
    {
        const std::lock_guard lock(m_mutex);
        m_stop = true;
    }
    m_wake.notify_all();
    m_thread.join();
}

void ConfigReader::Read() {
    {
        const std::lock_guard lock(m_mutex);
        m_asked = true;
    }
    m_wake.notify_all();
}

void ConfigReader::Run() {
    while (true) {
        {
            std::unique_lock lock(m_mutex);
            m_wake.wait(lock, [this] { return m_asked || m_stop; });
            if (m_stop) {
                return;
            }
            m_asked = false;
        }
        try {
            if (WaitSettled()) {
                m_keeper.Take();
            }
        } catch (const std::exception& failure) {
            m_tell(failure.what());
        }
        if (m_ended) {
            m_ended();
        }
    }
}

bool ConfigReader::Pause(milliseconds time) {
    std::unique_lock lock(m_mutex);
    return !m_wake.wait_for(lock, time, [this] { return m_stop; });
}

bool ConfigReader::WaitSettled() {
    const std::vector<std::string> files = m_keeper.Files();
    std::vector<FileStamp> stamps = StampsOf(files);
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    if (std::all_of(stamps.begin(), stamps.end(),
                    [&](const FileStamp& stamp) { return now - stamp.changed > kSettled; })) {
        return true;
    }
    for (int i = 0; i < kMostPauses; ++i) {
        if (!Pause(kSettled)) {
            return false;
        }
        if (const auto before = std::exchange(stamps, StampsOf(files)); before == stamps) {
            return true;
        }
    }
    throw ConfigError((files.empty() ? "" : files[0]) +
                      ": it does not stop changing; nothing of it was taken");
}

}  // namespace kvrecorder
