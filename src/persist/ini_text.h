// The text of an ini file.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kvmon {

struct IniEntry {
    std::string section;
    std::string name;
    std::string value;

    friend bool operator==(const IniEntry&, const IniEntry&) = default;
};

// Lines that are neither a section's head nor an entry, nor a comment, are left out.
std::vector<IniEntry> ParseIni(std::string_view file);
// Section by section.
std::string FormatIni(std::vector<IniEntry> entries);

// False for names that would read back as something else.
bool CanIniKeep(std::string_view section, std::string_view name);
// A line end would begin an entry of its own.
std::string KeptIniValue(std::string value);

}  // namespace kvmon
