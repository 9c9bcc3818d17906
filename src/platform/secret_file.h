// Files that hold what only their user may know.
#pragma once

#include <string>

namespace kvmon {

// Whether another user of the machine can read it: by its own rights and those of its folder.
bool OthersCanRead(const std::string& path);

}  // namespace kvmon
