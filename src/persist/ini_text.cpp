#include "persist/ini_text.h"

#include <algorithm>

namespace kvmon {

namespace {

std::string_view Trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t\r");
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

}  // namespace

std::vector<IniEntry> ParseIni(std::string_view file) {
    std::vector<IniEntry> entries;
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

std::string FormatIni(std::vector<IniEntry> entries) {
    std::stable_sort(entries.begin(), entries.end(),
                     [](const IniEntry& a, const IniEntry& b) { return a.section < b.section; });
    std::string text;
    const std::string* section = nullptr;
    for (const IniEntry& each : entries) {
        if (section == nullptr || *section != each.section) {
            section = &each.section;
            text.append("[").append(each.section).append("]\n");
        }
        text.append(each.name).append("=").append(each.value).append("\n");
    }
    return text;
}

bool CanIniKeep(std::string_view section, std::string_view name) {
    return section.find_first_of("]\r\n") == std::string_view::npos && !name.empty() &&
           name.find_first_of("=\r\n") == std::string_view::npos && name.front() != '[' &&
           name.front() != ';' && Trimmed(name) == name;
}

std::string KeptIniValue(std::string value) {
    std::replace_if(
        value.begin(), value.end(), [](char c) { return c == '\n' || c == '\r'; }, ' ');
    return value;
}

}  // namespace kvmon
