// The options of the session, and where they are stored.
#pragma once

#include <cstdint>
#include <string>

#include "console/settings/console_options.h"

namespace kvmon {

struct ConsoleSettings {
    ConsoleOptions options;
    // The settings key of this session; empty until the first server told its name.
    std::string key;
    std::uint16_t language = 0;
    // In front of what a wall keeps for itself: nothing for the program's first one.
    std::string ownFolder;

    // What is on this wall; the options are those of all.
    std::string ViewKey() const { return key.empty() ? key : ownFolder + key; }
    bool IsFirstWall() const { return ownFolder.empty(); }
};

}  // namespace kvmon
