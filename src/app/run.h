// The whole program but for main().
#pragma once

namespace kvmon {

int Run(int argc, char** argv);

// What every process with a console needs before it and, with its exit status, after it.
void PrepareProcess();
int EndProcess(int status);

}  // namespace kvmon
