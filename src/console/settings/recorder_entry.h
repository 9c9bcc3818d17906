// What a user enters about a recorder, and what is wrong with it.
#pragma once

#include <string>
#include <vector>

#include "console/settings/multi_server_list.h"
#include "server/recorder_test.h"

namespace kvmon {

// The words for what is wrong with the entry; empty if it can be kept. `others` are listed already.
std::string FindEntryFault(const SavedServer& entry, const std::vector<SavedServer>& others);

// The words for what a try found.
std::string RecorderTestText(const RecorderTestReport& report);

// "address:port".
std::string PlaceText(const SavedServer& server);

}  // namespace kvmon
