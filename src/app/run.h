// The whole program but for main().
#pragma once

namespace kvmon {

int Run(int argc, char** argv);

}  // namespace kvmon
