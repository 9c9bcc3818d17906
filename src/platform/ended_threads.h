// The threads of workers, at the end of a program.
#pragma once

namespace kvmon {

// Waits until the system has let go of all threads whose workers waited for them or abandoned them. A thread
// whose body has ended may still be in a library's clean-up of what was kept for it, which must not meet
// that of exit(). Only while Worker::AbandonedCount() is 0. Any thread but a worker's.
void JoinEndedThreads();

}  // namespace kvmon
