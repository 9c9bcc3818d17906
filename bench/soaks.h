// The ways in which a wall is watched for long.
#pragma once

#include <cstdint>
#include <string>

#include "child_process.h"
#include "soak_wall.h"

namespace kvbench {

struct SoakPrograms {
    std::string recorder;
    std::string config;  // that knows admin:admin
    std::string hostile;
};

// Before a recorder that is well. True if the wall went on and nothing grew.
bool SoakSteadily(const SoakPrograms& programs, int minutes);
// A guard's wall: 16 cells, full screen, views in sequence. True if every camera was shown in every minute,
// nothing grew after the tenth, and the user interface's thread was never kept for more than 50 ms.
bool SoakNight(const std::string& recorder, int minutes);
struct HostilePlan {
    int seconds = 0;
    std::uint64_t seed = 0;
    int badSeconds = 12;  // of each mood
    // The moods that it goes through, again and again: words of the hostile recorder, with ">" between those
    // that follow each other at once and "," where it is well in between. None: all of them, by the seed.
    std::string moods;
};
// Before a recorder that lies and is well in the end. True if every channel is live then, and the client
// holds no more than before.
bool SoakHostile(const SoakPrograms& programs, const HostilePlan& plan);

}  // namespace kvbench
