// Whether the recorder answers and takes the login, told on standard output.
#pragma once

#include "app/app_options.h"

namespace kvmon {

// Gives the program's exit status. Needs no display.
int CheckConnection(const AppOptions& options);

}  // namespace kvmon
