// A child process that goes on in the test's own code.
#pragma once

#include <sys/types.h>

namespace kvtest {

// fork(), once the calling thread is the only one of its process. A thread that is just ending may hold the
// allocator's lock, and a child that allocates would wait for that one without end. -1 when other threads
// stay for ten seconds, or the system refuses.
pid_t ForkAlone();

}  // namespace kvtest
