#include "grouping.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string_view>

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kTogether = 40;
const std::array<std::string, 3> kEntries = {"main", "LLVMFuzzerTestOneInput", "LLVMFuzzerInitialize"};

bool IsEntry(const std::string& name) {
    return std::find(kEntries.begin(), kEntries.end(), name) != kEntries.end();
}

// What a line at the left edge defines; nothing for others, and for members.
std::string DefinedName(const std::string& line) {
    static const std::regex kType(
        R"(^(?:class|struct|enum class|enum|union|#define|using(?= \w+ =))\s+(\w+)\b(?!\s*;).*)");
    static const std::regex kOther(R"(^[A-Za-z_][^(={;]*?(\w+)(?:\[[^\]]*\])*\s*[(={;].*)");
    static const std::regex kMember(R"(^[^(={;]*\w+(?:<[^(]*>)?::~?\w+\s*\(.*)");
    std::smatch found;
    if (line.empty() || line.front() == ' ' || line.front() == '/' || line.front() == '}') {
        return {};
    }
    if (std::regex_match(line, found, kType)) {
        return found[1];
    }
    if (line.starts_with("using ") || line.starts_with("namespace") || line.starts_with("TEST") ||
        std::regex_match(line, kMember) || !std::regex_match(line, found, kOther)) {
        return {};
    }
    return found[1];
}

std::set<std::string> DefinedNames(const fs::path& source) {
    std::set<std::string> names;
    std::ifstream stream(source);
    for (std::string line; std::getline(stream, line);) {
        if (const auto name = DefinedName(line); !name.empty() && !IsEntry(name)) {
            names.insert(name);
        }
    }
    return names;
}

// All of a part may be seen by each of its sources.
std::string PartOf(const Unit& unit, const fs::path& top) {
    const bool hasWindows = unit.flags.find("QtWidgets") != std::string::npos;
    return unit.source.lexically_relative(top).begin()->string() + (hasWindows ? " with windows" : "");
}

// A test that joins all fuzz targets gives their entries other names by flags.
bool NamesAnEntry(const std::string& flag) {
    return std::any_of(kEntries.begin(), kEntries.end(),
                       [&](const std::string& entry) { return flag.starts_with("-D" + entry + "="); });
}

std::string Joined(const std::string& flags, const std::string& more) {
    std::set<std::string> known;
    std::istringstream present(flags);
    for (std::string word; present >> word;) {
        known.insert(word);
    }
    std::string joined = flags;
    std::istringstream others(more);
    std::string before;
    for (std::string word; others >> word; before = word) {
        const bool isFirstOfTwo = word == "-isystem";
        if (!isFirstOfTwo && !NamesAnEntry(word) && known.insert(word).second) {
            joined += (before == "-isystem" ? " -isystem " : " ") + word;
        }
    }
    return joined;
}

struct OpenGroup {
    Group group;
    std::set<std::string> names;
};

bool HasAny(const std::set<std::string>& names, const std::set<std::string>& of) {
    for (const auto& name : of) {
        if (names.count(name) > 0) {
            return true;
        }
    }
    return false;
}

}  // namespace

std::vector<Group> Grouped(const std::vector<Unit>& units, const fs::path& top) {
    std::map<std::string, std::vector<OpenGroup>> parts;
    for (const auto& unit : units) {
        auto& groups = parts[PartOf(unit, top)];
        const auto names = DefinedNames(unit.source);
        OpenGroup* place = nullptr;
        for (auto& open : groups) {
            if (!place && open.group.sources.size() < kTogether && !HasAny(open.names, names)) {
                place = &open;
            }
        }
        if (!place) {
            place = &groups.emplace_back();
        }
        place->group.sources.push_back(unit.source);
        place->group.flags = Joined(place->group.flags, unit.flags);
        place->names.insert(names.begin(), names.end());
    }
    std::vector<Group> all;
    for (auto& [part, groups] : parts) {
        for (auto& open : groups) {
            all.push_back(std::move(open.group));
        }
    }
    return all;
}

std::string IncludingAll(const Group& group) {
    std::string text;
    int number = 0;
    for (const auto& source : group.sources) {
        ++number;
        if (group.sources.size() > 1) {
            for (const auto& entry : kEntries) {
                text +=
                    "#undef " + entry + "\n#define " + entry + " " + entry + std::to_string(number) + "\n";
            }
        }
        text += "#include \"" + source.string() + "\"  // NOLINT\n";
    }
    return text;
}
