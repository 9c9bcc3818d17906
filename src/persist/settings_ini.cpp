#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <mutex>
#include <thread>
#include <vector>

#include "persist/ini_text.h"
#include "persist/settings_backend.h"
#include "persist/utilities.h"

namespace kvmon {

namespace {

// A file that grew beyond this is no settings file.
constexpr std::size_t kMaxFile = 4u << 20;

bool SameName(std::string_view a, std::string_view b) {
    return a.size() == b.size() && stristr(a, b) == 0;
}

// The lock of the file, waited for a short while only: who holds it may have been stopped.
bool LockInTime(int fd) {
    constexpr int kRounds = 100;
    for (int round = 0; round < kRounds; ++round) {
        if (::flock(fd, LOCK_EX | LOCK_NB) == 0) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return false;
}

// The values of an ini file. The file is read anew for each use, since others may write it too, and
// written to a neighbour that then takes its name.
class SettingsIni final : public SettingsBackend {
public:
    explicit SettingsIni(std::string path) : m_path(std::move(path)) {}

    std::optional<SettingsValue> Read(const std::string& path, std::string_view entry) override {
        const std::lock_guard lock(m_mutex);
        for (const IniEntry& each : Load().value_or(std::vector<IniEntry>())) {
            if (SameName(each.section, path) && SameName(each.name, entry)) {
                return SettingsValue(each.value);
            }
        }
        return std::nullopt;
    }

    std::vector<std::string> Sections(const std::string& path) override {
        const std::lock_guard lock(m_mutex);
        const std::string top = path + '\\';
        std::vector<std::string> names;
        for (const IniEntry& each : Load().value_or(std::vector<IniEntry>())) {
            const bool bBelow = each.section.size() > top.size() &&
                                SameName(std::string_view(each.section).substr(0, top.size()), top);
            const std::string name =
                bBelow ? each.section.substr(top.size(), each.section.find('\\', top.size()) - top.size())
                       : std::string();
            if (bBelow && std::none_of(names.begin(), names.end(),
                                       [&](const std::string& old) { return SameName(old, name); })) {
                names.push_back(name);
            }
        }
        return names;
    }

    bool Write(const std::string& path, std::string_view entry, const SettingsValue& value) override {
        if (!CanIniKeep(path, entry)) {
            return false;
        }
        const std::string text = KeptIniValue(std::get<std::string>(value));
        return Change([&](std::vector<IniEntry>& entries) {
            for (IniEntry& each : entries) {
                if (SameName(each.section, path) && SameName(each.name, entry)) {
                    each.value = text;
                    return;
                }
            }
            entries.push_back({path, std::string(entry), text});
        });
    }

    bool Delete(const std::string& path, std::string_view subSection) override {
        return Change([&](std::vector<IniEntry>& entries) {
            std::erase_if(entries, [&](const IniEntry& each) {
                return SameName(each.section, path) &&
                       (subSection.empty() || SameName(each.name, subSection));
            });
        });
    }

    void BeginBatch() override {}
    void EndBatch() override {}
    // A write is on the disk when it returns.
    bool Close(Milliseconds) override {
        const std::lock_guard lock(m_mutex);
        m_closed = true;
        return true;
    }

private:
    // Nothing for a file that is too large: it is somebody else's, and not to be written over.
    std::optional<std::vector<IniEntry>> Load() const {
        if (m_closed) {
            return std::nullopt;
        }
        std::ifstream in(m_path, std::ios::binary);
        std::string file;
        char block[4096];
        while (in.read(block, sizeof block), in.gcount() > 0) {
            file.append(block, static_cast<std::size_t>(in.gcount()));
            if (file.size() > kMaxFile) {
                return std::nullopt;
            }
        }
        return ParseIni(file);
    }

    template <typename Edit>
    bool Change(Edit edit) {
        const std::lock_guard lock(m_mutex);
        const int guard = ::open((m_path + ".lock").c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0600);
        if (guard < 0) {
            return false;
        }
        bool stored = false;
        if (LockInTime(guard)) {
            if (auto entries = Load()) {
                edit(*entries);
                stored = Store(*entries);
            }
        }
        ::close(guard);
        return stored;
    }

    bool Store(const std::vector<IniEntry>& entries) const {
        const std::string text = FormatIni(entries);
        const std::string neighbour = m_path + ".new";
        const int fd = ::open(neighbour.c_str(), O_CREAT | O_TRUNC | O_WRONLY | O_CLOEXEC, 0600);
        if (fd < 0) {
            return false;
        }
        const bool written = ::write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
        const bool synced = ::fsync(fd) == 0;
        ::close(fd);
        if (!written || !synced || std::rename(neighbour.c_str(), m_path.c_str()) != 0) {
            ::unlink(neighbour.c_str());
            return false;
        }
        return true;
    }

    const std::string m_path;
    std::mutex m_mutex;
    bool m_closed = false;
};

}  // namespace

std::unique_ptr<SettingsBackend> OpenSettingsIni(const std::string& path) {
    return std::make_unique<SettingsIni>(path);
}

}  // namespace kvmon
