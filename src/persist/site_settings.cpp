#include "persist/site_settings.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "persist/utilities.h"

namespace kvmon {

namespace {

constexpr std::size_t kMaxSiteFile = 1u << 20;
constexpr std::string_view kRoot = "main";
constexpr std::string_view kEach = "*";

bool SameKey(std::string_view a, std::string_view b) {
    return a.size() == b.size() && stristr(a, b) == 0;
}

}  // namespace

std::string SiteSettingsPath() {
    const char* const told = std::getenv("KVMON_SITE_SETTINGS");
    return told != nullptr ? told : KV_SITE_SETTINGS;
}

SiteSettings SiteSettings::Load(const std::string& path, std::string& problem) {
    SiteSettings settings;
    std::error_code error;
    // A pipe or a device would keep the start waiting.
    if (!std::filesystem::exists(path, error)) {
        return settings;
    }
    std::ifstream in;
    if (std::filesystem::is_regular_file(path, error)) {
        in.open(path, std::ios::binary);
    }
    if (!in || std::filesystem::file_size(path, error) > kMaxSiteFile) {
        problem = path + " cannot be read; the site's settings are not used";
        return settings;
    }
    settings.m_entries = ParseIni(std::string(std::istreambuf_iterator<char>(in), {}));
    return settings;
}

std::optional<std::string> SiteSettings::Find(std::string_view section, std::string_view entry) const {
    const std::string_view name = section.empty() ? kRoot : section;
    for (const std::string_view wanted : {name, kEach}) {
        const auto found = std::find_if(m_entries.begin(), m_entries.end(), [&](const IniEntry& each) {
            return SameKey(each.section, wanted) && SameKey(each.name, entry);
        });
        if (found != m_entries.end()) {
            return found->value;
        }
    }
    return std::nullopt;
}

}  // namespace kvmon
