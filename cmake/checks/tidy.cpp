// kv-tidy BUILD_FOLDER CACHE_FOLDER: clang-tidy over all sources that the build folder's
// compile_commands.json names.
//
// What was found clean is kept by content, of the source, all of the tree's headers that it reaches, its
// command and the rules; only what is new is looked at again. Ends with 1 when anything was found.
#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <mutex>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "includes.h"

namespace {

namespace fs = std::filesystem;

constexpr const char* kTidy = "clang-tidy-14";

struct Unit {
    fs::path source;
    std::string command;
};

std::string Read(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

// The text behind `"key": "` in a line; the file has one key a line.
std::string ValueOf(const std::string& line, const std::string& key) {
    const auto at = line.find("\"" + key + "\": \"");
    if (at == std::string::npos) {
        return {};
    }
    const auto begin = at + key.size() + 5;
    return line.substr(begin, line.rfind('"') - begin);
}

// What the build makes itself is not ours to read.
std::vector<Unit> ReadUnits(const fs::path& build) {
    std::vector<Unit> units;
    std::ifstream stream(build / "compile_commands.json");
    std::string command;
    for (std::string line; std::getline(stream, line);) {
        if (auto value = ValueOf(line, "command"); !value.empty()) {
            command = std::move(value);
        } else if (const auto file = ValueOf(line, "file");
                   !file.empty() && !file.starts_with(build.string())) {
            units.push_back({file, command});
        }
    }
    std::sort(units.begin(), units.end(), [](const Unit& a, const Unit& b) { return a.source < b.source; });
    const auto same = [](const Unit& a, const Unit& b) { return a.source == b.source; };
    units.erase(std::unique(units.begin(), units.end(), same), units.end());
    return units;
}

// FNV-1a in two lanes.
class Digest {
public:
    void Add(const std::string& text) {
        for (const char c : text) {
            m_low = (m_low ^ static_cast<unsigned char>(c)) * 1099511628211U;
            m_high = (m_high ^ static_cast<unsigned char>(c)) * 1099511628211U + 1;
        }
        m_low = (m_low ^ text.size()) * 1099511628211U;
    }
    std::string Text() const {
        std::array<char, 33> text;
        std::snprintf(text.data(), text.size(), "%016llx%016llx", static_cast<unsigned long long>(m_low),
                      static_cast<unsigned long long>(m_high));
        return text.data();
    }

private:
    std::uint64_t m_low = 14695981039346656037U;
    std::uint64_t m_high = 1469598103934665603U;
};

void AddFile(const fs::path& file, const std::vector<fs::path>& folders, std::set<fs::path>& seen,
             Digest& digest) {
    if (!seen.insert(file).second) {
        return;
    }
    digest.Add(Read(file));
    for (const auto& name : IncludedNames(file)) {
        if (const auto header = FindInclude(name, file, folders)) {
            AddFile(*header, folders, seen, digest);
        }
    }
}

// Paths of this copy of the tree stay out, so that another copy finds the same.
std::string Without(std::string text, const std::string& path) {
    for (auto at = text.find(path); at != std::string::npos; at = text.find(path, at)) {
        text.erase(at, path.size());
    }
    return text;
}

std::string KeyOf(const Unit& unit, const fs::path& top, const std::string& rules) {
    std::vector<fs::path> folders;
    std::istringstream words(unit.command);
    for (std::string word; words >> word;) {
        if (word.starts_with("-I")) {
            folders.emplace_back(word.substr(2));
        }
    }
    Digest digest;
    digest.Add(rules);
    digest.Add(Without(unit.command, top.string()));
    std::set<fs::path> seen;
    AddFile(unit.source, folders, seen, digest);
    return digest.Text();
}

struct Outcome {
    int status = -1;
    std::string said;
};

Outcome Run(const std::string& command) {
    Outcome outcome;
    FILE* const pipe = ::popen(command.c_str(), "r");
    if (!pipe) {
        return outcome;
    }
    std::array<char, 4096> buffer;
    while (const auto got = std::fread(buffer.data(), 1, buffer.size(), pipe)) {
        outcome.said.append(buffer.data(), got);
    }
    outcome.status = ::pclose(pipe);
    return outcome;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "usage: kv-tidy BUILD_FOLDER CACHE_FOLDER\n";
        return 2;
    }
    const fs::path build = fs::canonical(argv[1]);
    const fs::path cache = argv[2];
    const fs::path top = build.parent_path();
    fs::create_directories(cache);
    const auto version = Run(std::string(kTidy) + " --version");
    const auto units = ReadUnits(build);
    if (version.status != 0 || units.empty()) {
        std::cerr << "kv-tidy: no " << kTidy << ", or nothing to look at in " << build << "\n";
        return 2;
    }
    const std::string rules = version.said + Read(top / ".clang-tidy");

    std::atomic<std::size_t> next = 0;
    std::atomic<int> looked = 0;
    std::atomic<int> found = 0;
    std::mutex output;
    const auto work = [&] {
        for (std::size_t i = next++; i < units.size(); i = next++) {
            const fs::path clean = cache / KeyOf(units[i], top, rules);
            if (fs::exists(clean)) {
                continue;
            }
            ++looked;
            const auto outcome = Run(std::string(kTidy) + " --quiet -p '" + build.string() + "' '" +
                                     units[i].source.string() + "' 2>/dev/null");
            if (outcome.status == 0) {
                std::ofstream(clean).flush();
                continue;
            }
            ++found;
            const std::lock_guard lock(output);
            std::cerr << units[i].source.string() << ":\n" << outcome.said;
        }
    };
    std::vector<std::thread> workers;
    for (unsigned i = 0; i < std::max(1U, std::thread::hardware_concurrency()); ++i) {
        workers.emplace_back(work);
    }
    for (auto& worker : workers) {
        worker.join();
    }
    std::cerr << "kv-tidy: " << looked << " of " << units.size() << " sources are new, " << found
              << " with findings\n";
    return found == 0 ? 0 : 1;
}
