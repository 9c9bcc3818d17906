#include "service/config_reader.h"

#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <sstream>
#include <utility>
#include <vector>

#include "service/file_limit.h"

namespace kvrecorder {
namespace {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;

constexpr milliseconds kSettled{1'000};
// A file that is written to for longer is not waited for.
constexpr int kMostPauses = 30;

// Which file it is and when it was changed last; no writer can set that time back.
struct Stamp {
    dev_t device = 0;
    ino_t number = 0;
    off_t size = 0;
    nanoseconds changed{};

    bool operator==(const Stamp&) const = default;
};

Stamp StampOf(const std::string& path) {
    struct stat found {};
    if (::stat(path.c_str(), &found) != 0) {
        return {};
    }
    return {found.st_dev, found.st_ino, found.st_size,
            std::chrono::seconds(found.st_ctim.tv_sec) + nanoseconds(found.st_ctim.tv_nsec)};
}

std::vector<Stamp> StampsOf(const std::vector<std::string>& files) {
    std::vector<Stamp> stamps;
    stamps.reserve(files.size());
    for (const std::string& file : files) {
        stamps.push_back(StampOf(file));
    }
    return stamps;
}

}  // namespace

ConfigReader::ConfigReader(Options options, RecorderConfig taken, std::size_t files, RecorderModel& model,
                           std::function<void(const std::string& line)> tell)
    : m_options(std::move(options)),
      m_files(files),
      m_model(model),
      m_tell(std::move(tell)),
      m_taken(std::move(taken)),
      m_thread([this] { Run(); }) {}

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
                Take();
            }
        } catch (const std::exception& failure) {
            m_tell(failure.what());
        }
    }
}

bool ConfigReader::Pause(milliseconds time) {
    std::unique_lock lock(m_mutex);
    return !m_wake.wait_for(lock, time, [this] { return m_stop; });
}

bool ConfigReader::WaitSettled() {
    const std::vector<std::string>& files = m_taken.secretFiles;
    std::vector<Stamp> stamps = StampsOf(files);
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    if (std::all_of(stamps.begin(), stamps.end(),
                    [&](const Stamp& stamp) { return now - stamp.changed > kSettled; })) {
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
    throw ConfigError(m_options.configFile + ": it does not stop changing; nothing of it was taken");
}

void ConfigReader::Take() {
    const std::vector<Stamp> before = StampsOf(m_taken.secretFiles);
    std::vector<std::string> told;
    RecorderConfig config = MakeConfig(m_options, &m_taken, &told);
    if (StampsOf(m_taken.secretFiles) != before) {
        throw ConfigError(m_options.configFile + ": it changed while it was read; nothing of it was taken");
    }
    if (const std::string words = FitConnections(config, m_files); !words.empty()) {
        told.push_back(words);
    }
    for (const std::string& line : told) {
        m_tell(line);
    }
    std::istringstream problems(m_model.Reload(config));
    m_taken = std::move(config);
    bool any = false;
    for (std::string line; std::getline(problems, line); any = true) {
        m_tell(line);
    }
    if (!any) {
        m_tell("configuration read again");
    }
}

}  // namespace kvrecorder
