// What a site has set for all users of a machine: a file that is only read, under each user's own settings.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "persist/ini_text.h"

namespace kvmon {

// $KVMON_SITE_SETTINGS, else kvmon/settings.ini in the system's folder of configurations.
std::string SiteSettingsPath();

class SiteSettings {
public:
    // Nothing is set where there is no such file, or one that is too large. `problem` gets words for a file
    // that is there and cannot be taken.
    static SiteSettings Load(const std::string& path, std::string& problem);

    // The section as COrvoRegistry names it; that of the root is "main" in the file, and one of the name "*"
    // stands for each section. Without regard to ASCII case.
    std::optional<std::string> Find(std::string_view section, std::string_view entry) const;

private:
    std::vector<IniEntry> m_entries;
};

}  // namespace kvmon
