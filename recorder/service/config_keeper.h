// The configuration file and what of it is served: read again, and rewritten for changes that users ask for.
#pragma once

#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "api/config_changes.h"
#include "service/options.h"
#include "state/recorder_model.h"

namespace kvrecorder {

// Any thread, one at a time: who comes meanwhile waits.
class ConfigKeeper : public ConfigChanges {
public:
    // `taken` is what the model has begun with, `files` the limit of open files. `tell` gets lines for the
    // user, on the calling thread.
    ConfigKeeper(Options options, RecorderConfig taken, std::size_t files, RecorderModel& model,
                 std::function<void(const std::string& line)> tell);

    // The files that the configuration was read from.
    std::vector<std::string> Files() const;
    // Has the model serve the file as it is now. Throws ConfigError; then nothing of it was taken.
    void Take();

    Fault Obstacle() const override;
    std::string Change(const std::function<void(ConfigText& text)>& edit) override;

private:
    void TakeLocked();
    std::string Serve(RecorderConfig config);

    const Options m_options;
    const std::size_t m_files;
    RecorderModel& m_model;
    const std::function<void(const std::string& line)> m_tell;
    mutable std::mutex m_mutex;
    RecorderConfig m_taken;
    std::size_t m_sum = 0;  // of the file's text as it was taken
};

}  // namespace kvrecorder
