#include "platform/heap_limits.h"

#include <malloc.h>

namespace kvmon {

namespace {

constexpr int kHeaps = 4;
// Frames and pictures are larger, and are kept in pools while a stream runs.
constexpr int kLargeBlock = 256 * 1024;
constexpr int kFreeAtTheEnd = 4 * 1024 * 1024;

}  // namespace

void KeepHeapsFew() {
    mallopt(M_ARENA_MAX, kHeaps);
    mallopt(M_MMAP_THRESHOLD, kLargeBlock);
    mallopt(M_TRIM_THRESHOLD, kFreeAtTheEnd);
    // Else each larger block that is asked for gathers the small free ones first; each thread has a few at
    // hand anyway.
    mallopt(M_MXFAST, 0);
}

}  // namespace kvmon
