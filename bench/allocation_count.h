// Counts the program's allocations by who asks for them.
#pragma once

#include <cstdint>

namespace kvbench {

struct AllocationCount {
    std::uint64_t codec = 0;    // libavcodec, libavutil, libjpeg
    std::uint64_t scaling = 0;  // libyuv
    std::uint64_t other = 0;    // our own code, Qt and all else
};

// Allocations of all threads between the two calls. Not to be nested.
void StartCounting();
AllocationCount StopCounting();

}  // namespace kvbench
