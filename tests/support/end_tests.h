// The end of a test program.
#pragma once

namespace kvtest {

// Waits for the threads that the tests left to themselves: one that still runs while exit() takes down the
// libraries that it uses crashes at random. The status to return from main(). Does not return, and fails the
// program, if one of them does not end.
int EndTests(int status);

}  // namespace kvtest
