// Files that are read whole.
#pragma once

#include <cstddef>
#include <string>

namespace kvrecorder {

// At most `most` bytes from the file's beginning. Pipes, devices and folders are refused, as they could hold
// the reader up for ever. Throws std::runtime_error with the reason in words, without the path.
std::string ReadPlainFile(const std::string& path, std::size_t most);

}  // namespace kvrecorder
