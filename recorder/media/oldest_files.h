// A folder of files that come by themselves and must not fill the disk.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace kvrecorder {

inline constexpr std::uint64_t kMegabyte = 1024 * 1024;

// Deletes the oldest of the folder's files that begin and end so, until all of them together are no larger
// than that; but none that was written to within the last ten seconds. Any thread.
void DeleteOldest(const std::string& folder, std::string_view prefix, std::string_view suffix,
                  std::uint64_t mostBytes);

}  // namespace kvrecorder
