// kv-tidy BUILD_FOLDER CACHE_FOLDER: clang-tidy over all sources that the build folder's
// compile_commands.json names.
//
// Most of the time goes into the headers of the libraries, so many sources are looked at as one; if they do
// not compile together, each half is tried alone. That a source was found clean is kept by content, of it,
// all of the tree's headers that it reaches, its command and the rules; only what is new is looked at again.
// Ends with 1 when anything was found.
#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <mutex>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "grouping.h"
#include "includes.h"

namespace {

namespace fs = std::filesystem;

constexpr const char* kTidy = "clang-tidy-14";

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

// JSON writes a quote or a backslash of the command behind a backslash.
std::string Unescaped(const std::string& text) {
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\\' && i + 1 < text.size()) {
            ++i;
        }
        plain += text[i];
    }
    return plain;
}

// What stands in a command between the compiler and the file that it writes.
std::string FlagsOf(const std::string& command) {
    static constexpr std::string_view kCompiler = "clang++-14 ";
    const auto begin = command.find(kCompiler);
    const auto end = command.find(" -o ");
    if (begin == std::string::npos || end == std::string::npos) {
        return {};
    }
    const auto from = begin + kCompiler.size();
    return command.substr(from, end - from);
}

// What the build makes itself is not ours to read.
std::vector<Unit> ReadUnits(const fs::path& build) {
    std::vector<Unit> units;
    std::ifstream stream(build / "compile_commands.json");
    std::string flags;
    for (std::string line; std::getline(stream, line);) {
        if (const auto command = ValueOf(line, "command"); !command.empty()) {
            flags = FlagsOf(Unescaped(command));
        } else if (const auto file = ValueOf(line, "file");
                   !file.empty() && !file.starts_with(build.string())) {
            units.push_back({file, flags});
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
    std::istringstream words(unit.flags);
    for (std::string word; words >> word;) {
        if (word.starts_with("-I")) {
            folders.emplace_back(word.substr(2));
        }
    }
    Digest digest;
    digest.Add(rules);
    digest.Add(Without(unit.flags, top.string()));
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

struct Findings {
    int groups = 0;
    std::string said;
};

// Keeps of each source by itself that it was found clean, whichever others it was looked at with.
class Looker {
public:
    Looker(fs::path top, fs::path cache, std::string rules)
        : m_top(std::move(top)), m_cache(std::move(cache)), m_rules(std::move(rules)) {}

    // Before Look.
    bool IsNew(const Unit& unit) {
        const std::string key = KeyOf(unit, m_top, m_rules);
        m_keys[unit.source] = key;
        return !fs::exists(m_cache / key);
    }

    // Of sources that are new. Any thread.
    Findings Look(const Group& group) {
        const fs::path together = m_cache / (m_keys.at(group.sources.front()) + ".cpp");
        std::ofstream(together) << IncludingAll(group);
        const auto outcome = Run(std::string(kTidy) + " --quiet" + ChecksFor(group) + " --config-file='" +
                                 (m_top / ".clang-tidy").string() + "' '" + together.string() + "' -- " +
                                 group.flags + " 2>/dev/null");
        fs::remove(together);
        ++m_looked;
        if (outcome.status == 0) {
            for (const auto& source : group.sources) {
                std::ofstream(m_cache / m_keys.at(source)).flush();
            }
            return {};
        }
        if (group.sources.size() > 1 && outcome.said.find("[clang-diagnostic-") != std::string::npos) {
            const auto middle = group.sources.begin() + static_cast<std::ptrdiff_t>(group.sources.size() / 2);
            const Findings first = Look({{group.sources.begin(), middle}, group.flags});
            const Findings second = Look({{middle, group.sources.end()}, group.flags});
            return {first.groups + second.groups, first.said + second.said};
        }
        return {1, outcome.said};
    }
    int Looked() const { return m_looked; }

private:
    // How fast a test or a tool is, and how it puts up with a number that is none, concerns nobody.
    std::string ChecksFor(const Group& group) const {
        const fs::path folder = *group.sources.front().lexically_relative(m_top).begin();
        const bool isProduct = folder == "src" || folder == "recorder" || folder == "wire";
        return isProduct ? ""
                         : " --checks=-performance-*,-cert-err34-c,-bugprone-integer-division,"
                           "-bugprone-misplaced-widening-cast";
    }

    fs::path m_top;
    fs::path m_cache;
    std::string m_rules;
    std::map<fs::path, std::string> m_keys;  // of sources
    std::atomic<int> m_looked = 0;
};

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
    const auto unknown =
        std::count_if(units.begin(), units.end(), [](const Unit& unit) { return unit.flags.empty(); });
    if (version.status != 0 || units.empty() || unknown > 0) {
        std::cerr << "kv-tidy: no " << kTidy << ", or nothing that it could look at in " << build << "\n";
        return 2;
    }
    Looker looker(top, cache, version.said + Read(top / ".clang-tidy"));
    std::vector<Unit> fresh;
    std::copy_if(units.begin(), units.end(), std::back_inserter(fresh),
                 [&](const Unit& unit) { return looker.IsNew(unit); });
    const auto groups = Grouped(fresh, top);

    std::atomic<std::size_t> next = 0;
    std::atomic<int> found = 0;
    std::mutex output;
    const auto work = [&] {
        for (std::size_t i = next++; i < groups.size(); i = next++) {
            const Findings findings = looker.Look(groups[i]);
            if (findings.groups > 0) {
                found += findings.groups;
                const std::lock_guard lock(output);
                std::cerr << findings.said;
            }
        }
    };
    std::vector<std::thread> workers;
    for (unsigned i = 0; i < std::max(1U, std::thread::hardware_concurrency()); ++i) {
        workers.emplace_back(work);
    }
    for (auto& worker : workers) {
        worker.join();
    }
    std::cerr << "kv-tidy: " << fresh.size() << " of " << units.size() << " sources in " << groups.size()
              << " groups, clang-tidy ran " << looker.Looked() << " times, " << found << " with findings\n";
    return found == 0 ? 0 : 1;
}
