#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <mutex>
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

std::vector<Entry> ParseIni(std::istream& in) {
    std::vector<Entry> entries;
    std::string section;
    std::string line;
    std::size_t total = 0;
    while (std::getline(in, line) && (total += line.size()) < kMaxFile) {
        const std::string_view text = Trimmed(line);
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

// The values of an ini file. The file is read anew for each use, since others may write it too, and
// written to a neighbour that then takes its name.
class SettingsIni final : public SettingsBackend {
public:
    explicit SettingsIni(std::string path) : path_(std::move(path)) {}

    std::optional<SettingsValue> Read(const std::string& path, std::string_view entry) override {
        const std::lock_guard lock(mutex_);
        for (const Entry& each : Load()) {
            if (SameName(each.section, path) && SameName(each.name, entry)) {
                return SettingsValue(each.value);
            }
        }
        return std::nullopt;
    }

    bool Write(const std::string& path, std::string_view entry, const SettingsValue& value) override {
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

private:
    std::vector<Entry> Load() const {
        std::ifstream in(path_);
        return ParseIni(in);
    }

    template <typename Edit>
    bool Change(Edit edit) {
        const std::lock_guard lock(mutex_);
        const int guard = ::open((path_ + ".lock").c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0600);
        if (guard < 0) {
            return false;
        }
        ::flock(guard, LOCK_EX);
        std::vector<Entry> entries = Load();
        edit(entries);
        const bool stored = Store(entries);
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
        const std::string neighbour = path_ + ".new";
        const int fd = ::open(neighbour.c_str(), O_CREAT | O_TRUNC | O_WRONLY | O_CLOEXEC, 0600);
        if (fd < 0) {
            return false;
        }
        const bool written = ::write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
        const bool synced = ::fsync(fd) == 0;
        ::close(fd);
        if (!written || !synced || std::rename(neighbour.c_str(), path_.c_str()) != 0) {
            ::unlink(neighbour.c_str());
            return false;
        }
        return true;
    }

    const std::string path_;
    std::mutex mutex_;
};

}  // namespace

std::unique_ptr<SettingsBackend> OpenSettingsIni(const std::string& path) {
    return std::make_unique<SettingsIni>(path);
}

}  // namespace kvmon
