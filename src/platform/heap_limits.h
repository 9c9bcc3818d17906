// How the process's memory is kept for many threads that come and go.
#pragma once

namespace kvmon {

// At the start of a program, before its first thread. A wall has a few threads a channel, and with a heap for
// each of them what a storm of pictures once took stays spread over all heaps for good: large blocks go back
// to the system at once, and few heaps share what is left.
void KeepHeapsFew();

}  // namespace kvmon
