// The web host: the process that serves pages, and the process of a page's session.
#pragma once

#include "app/app_options.h"

namespace kvmon {

int RunWebHost(const AppOptions& options, int argc, char** argv);
int RunSession(char* program);

}  // namespace kvmon
