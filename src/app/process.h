// What every process with a console needs before it and, with its exit status, after it.
#pragma once

namespace kvmon {

void PrepareProcess();
int EndProcess(int status);

}  // namespace kvmon
