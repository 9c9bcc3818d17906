// What went wrong with a request, for the user.
#pragma once

#include <string>

#include "console/admin/api_caller.h"

namespace kvmon {

// In words, with what to do next where there is something; empty for one that went well.
std::string FailureWords(const ApiAnswer& answer);

}  // namespace kvmon
