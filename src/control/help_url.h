// Where the help pages are.
#pragma once

#include <cstdint>
#include <string>

namespace kvmon {

// Empty for an empty path. A path with both "http://" and "file:" in it is taken as it stands, any other is
// one on the recorder.
std::string MakeHelpURL(std::string path, const std::string& server, std::uint32_t port,
                        std::uint16_t langid);

}  // namespace kvmon
