// The parts of a resource's address.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace kvmon {

// A resource that is told to be longer than this is not fetched.
inline constexpr std::size_t kMaxResourceBytes = 32u << 20;

struct SplitUrl {
    std::string server;
    std::uint32_t port = 80;
    std::string object;
};
// False for anything but an HTTP address.
bool SplitHttpUrl(const std::string& url, SplitUrl* pSplit);

}  // namespace kvmon
