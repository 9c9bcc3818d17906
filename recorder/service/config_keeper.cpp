#include "service/config_keeper.h"

#include <algorithm>
#include <sstream>
#include <string_view>
#include <utility>

#include "api/api_error.h"
#include "service/changed_file.h"
#include "service/file_limit.h"
#include "service/file_stamp.h"

namespace kvrecorder {
namespace {

std::size_t SumOf(std::string_view text) {
    return std::hash<std::string_view>{}(text);
}

// Of a file that cannot be read: none that any text has, most likely.
std::size_t SumOfFile(const std::string& path) {
    try {
        std::string text = ReadConfigText(path);
        const std::size_t sum = SumOf(text);
        Wipe(text);
        return sum;
    } catch (const ConfigError&) {
        return 0;
    }
}

}  // namespace

ConfigKeeper::ConfigKeeper(Options options, RecorderConfig taken, std::size_t files, RecorderModel& model,
                           std::function<void(const std::string& line)> tell)
    : m_options(std::move(options)),
      m_files(files),
      m_model(model),
      m_tell(std::move(tell)),
      m_taken(std::move(taken)) {
    if (!m_options.configFile.empty()) {
        m_sum = SumOfFile(m_options.configFile);
    }
}

std::vector<std::string> ConfigKeeper::Files() const {
    const std::lock_guard lock(m_mutex);
    return m_taken.secretFiles;
}

void ConfigKeeper::Take() {
    const std::lock_guard lock(m_mutex);
    TakeLocked();
}

void ConfigKeeper::TakeLocked() {
    const std::vector<FileStamp> before = StampsOf(m_taken.secretFiles);
    std::vector<std::string> told;
    const std::size_t sum = m_options.configFile.empty() ? 0 : SumOfFile(m_options.configFile);
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
    std::istringstream problems(Serve(std::move(config)));
    m_sum = sum;
    bool any = false;
    for (std::string line; std::getline(problems, line); any = true) {
        m_tell(line);
    }
    if (!any) {
        m_tell("configuration read again");
    }
}

std::string ConfigKeeper::Serve(RecorderConfig config) {
    std::string problems = m_model.Reload(config);
    m_taken = std::move(config);
    return problems;
}

Fault ConfigKeeper::Obstacle() const {
    if (m_options.configFile.empty()) {
        return FaultCode::NoConfigFile;
    }
    if (m_options.channels > 0 || !m_options.cameras.empty()) {
        return {FaultCode::ToldByOption, {{"option", m_options.channels > 0 ? "--channels" : "--camera"}}};
    }
    return {};
}

std::string ConfigKeeper::Change(const std::function<void(ConfigText& text)>& edit) {
    const std::lock_guard lock(m_mutex);
    const std::string& path = m_options.configFile;
    try {
        std::string present = ReadConfigText(path);
        if (SumOf(present) != m_sum) {
            // Somebody else has changed it.
            Wipe(present);
            TakeLocked();
            present = ReadConfigText(path);
            if (SumOf(present) != m_sum) {
                throw ConfigError(Fault(FaultCode::ConfigUnsteady));
            }
        }
        ConfigText text(std::move(present));
        edit(text);
        RecorderConfig config = CompleteConfig(m_options, ParseConfig(text.Text(), path));
        // What somebody else took out of the file a moment ago stays for one reading more.
        for (const User& user : m_taken.users) {
            const bool there = std::any_of(config.users.begin(), config.users.end(),
                                           [&](const User& other) { return other.name == user.name; });
            if (user.origin == Origin::Vanished && !there) {
                config.users.push_back(user);
            }
        }
        FitConnections(config, m_files);
        try {
            WriteChangedFile(path, text.Text());
        } catch (const std::runtime_error& failure) {
            throw ApiError(507, {FaultCode::ConfigNotWritten, {{"reason", failure.what()}}});
        }
        m_sum = SumOf(text.Text());
        return Serve(std::move(config));
    } catch (const ConfigError& failure) {
        throw ApiError(409, failure.Told());
    }
}

}  // namespace kvrecorder
