// Where a snapshot goes and what it is called.
#pragma once

#include <ctime>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "channel/picture/snapshot.h"
#include "persist/utilities.h"

namespace kvmon {

// "Snapshot" below the user's documents, empty if there are none; of low integrity the data folder.
std::string DefaultSnapshotFolder(bool bLowIntegrity = IsLowIntegrity());

// The ending of such a file, without its dot.
const char* SnapshotExtension(SnapshotFormat format);

// The server's name if it may stand in a file name, else nothing.
std::string LegalNamePart(std::string_view serverName);

// The full path of a new snapshot. `exists` tells which paths are taken: then a shorter name with a number is
// tried, up from 1. Cameras count from 1.
std::string MakeSnapshotName(const std::string& folder, std::string_view serverName, unsigned uCamera,
                             const std::tm& now, SnapshotFormat format,
                             const std::function<bool(const std::string&)>& exists);

// Gives names that no snapshot of the running second has, also while their files are still being written.
// User interface thread only.
class SnapshotNames {
public:
    // As MakeSnapshotName.
    std::string Make(const std::string& folder, std::string_view serverName, unsigned uCamera,
                     const std::tm& now, SnapshotFormat format,
                     const std::function<bool(const std::string&)>& exists);

private:
    std::tm m_second{};
    std::vector<std::string> m_given;  // in m_second
};

}  // namespace kvmon
