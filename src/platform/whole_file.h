// Files that are there whole or not at all.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace kvmon {

// Writes a file that appears under its name only when it is whole, and then with this date; nothing of it
// stays on failure, whose reason is in errno. Any thread; takes the disk's time. A file system without dates
// keeps the file.
bool SaveWholeFile(const std::string& path, std::span<const std::uint8_t> data,
                   std::optional<std::chrono::system_clock::time_point> date = std::nullopt);

}  // namespace kvmon
