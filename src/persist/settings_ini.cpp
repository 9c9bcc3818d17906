#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <mutex>
#include <thread>
#include <vector>

#include "persist/settings_backend.h"
#include "persist/utilities.h"

namespace kvmon {

namespace {

// A file that grew beyond this is no settings file.
constexpr std::size_t kMaxFile = 4u << 20;

bool SameName(std::string_view a, std::string_view b) {
    return a.size() == b.size() && stristr(a, b) == 0;
}

struct Entry {
    std::string section;
    std::string name;
    std::string value;
};

std::string_view Trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t\r");
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

std::vector<Entry> ParseIni(std::string_view file) {
    std::vector<Entry> entries;
    std::string section;
    while (!file.empty()) {
        const std::size_t end = std::min(file.find('\n'), file.size());
        const std::string_view text = Trimmed(file.substr(0, end));
        file.remove_prefix(std::min(end + 1, file.size()));
        if (text.empty() || text.front() == ';') {
            continue;
        }
        if (text.front() == '[') {
            section = text.substr(1, text.find(']') - 1);
            continue;
        }
        const auto equals = text.find('=');
        if (equals != std::string_view::npos) {
            entries.push_back({section, std::string(Trimmed(text.substr(0, equals))),
                               std::string(Trimmed(text.substr(equals + 1)))});
        }
    }
    return entries;
}

// Names that would read back as something else.
bool CanBeKept(std::string_view section, std::string_view name) {
    return section.find_first_of("]\r\n") == std::string_view::npos && !name.empty() &&
           name.find_first_of("=\r\n") == std::string_view::npos && name.front() != '[' &&
           name.front() != ';' && Trimmed(name) == name;
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
        for (const Entry& each : Load().value_or(std::vector<Entry>())) {
            if (SameName(each.section, path) && SameName(each.name, entry)) {
                return SettingsValue(each.value);
            }
        }
        return std::nullopt;
    }

    bool Write(const std::string& path, std::string_view entry, const SettingsValue& value) override {
        if (!CanBeKept(path, entry)) {
            return false;
        }
        std::string text = std::get<std::string>(value);
        // A line end would begin an entry of its own.
        for (char& c : text) {
            c = c == '\n' || c == '\r' ? ' ' : c;
        }
        return Change([&](std::vector<Entry>& entries) {
            for (Entry& each : entries) {
                if (SameName(each.section, path) && SameName(each.name, entry)) {
                    each.value = text;
                    return;
                }
            }
            entries.push_back({path, std::string(entry), text});
        });
    }

    bool Delete(const std::string& path, std::string_view subSection) override {
        return Change([&](std::vector<Entry>& entries) {
            std::erase_if(entries, [&](const Entry& each) {
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
    std::optional<std::vector<Entry>> Load() const {
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

    bool Store(std::vector<Entry>& entries) const {
        std::stable_sort(entries.begin(), entries.end(),
                         [](const Entry& a, const Entry& b) { return a.section < b.section; });
        std::string text;
        const std::string* section = nullptr;
        for (const Entry& each : entries) {
            if (section == nullptr || *section != each.section) {
                section = &each.section;
                text.append("[").append(each.section).append("]\n");
            }
            text.append(each.name).append("=").append(each.value).append("\n");
        }
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
