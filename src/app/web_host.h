// The web host: the process that serves pages. It starts kvmon-session for each.
#pragma once

#include "app/app_options.h"

namespace kvmon {

int RunWebHost(const AppOptions& options, int argc, char** argv);

}  // namespace kvmon
